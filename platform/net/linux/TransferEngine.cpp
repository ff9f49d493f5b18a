#include "platform/net/linux/TransferEngine.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <pthread.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/DispatchQueue.h"
#include "platform/PlatformLog.h"
#include "platform/net/HTTPCookieStorage.h"
#include "platform/net/URLError.h"
#include "platform/net/URLSession.h"
#include "platform/net/URLSessionTask.h"

namespace bdx::net::detail {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr long kMaximumRedirects = 16;
constexpr std::size_t kUploadBufferSize = 256 * 1024;

bool isRedirectStatus(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::int64_t urlErrorCodeFor(CURLcode code) {
    switch (code) {
        case CURLE_UNSUPPORTED_PROTOCOL:
            return URLErrorCode::unsupportedURL;
        case CURLE_URL_MALFORMAT:
            return URLErrorCode::badURL;
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
            return URLErrorCode::cannotFindHost;
        case CURLE_COULDNT_CONNECT:
            return URLErrorCode::cannotConnectToHost;
        case CURLE_OPERATION_TIMEDOUT:
            return URLErrorCode::timedOut;
        case CURLE_GOT_NOTHING:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_PARTIAL_FILE:
        case CURLE_SEND_FAIL_REWIND:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return URLErrorCode::networkConnectionLost;
        case CURLE_TOO_MANY_REDIRECTS:
            return URLErrorCode::httpTooManyRedirects;
        case CURLE_WEIRD_SERVER_REPLY:
            return URLErrorCode::badServerResponse;
        case CURLE_BAD_CONTENT_ENCODING:
            return URLErrorCode::cannotDecodeContentData;
        case CURLE_READ_ERROR:
            return URLErrorCode::requestBodyStreamExhausted;
        case CURLE_PEER_FAILED_VERIFICATION:
            return URLErrorCode::serverCertificateUntrusted;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_SSL_SHUTDOWN_FAILED:
        case CURLE_USE_SSL_FAILED:
            return URLErrorCode::secureConnectionFailed;
        default:
            return URLErrorCode::unknown;
    }
}

// The folder of hashed system authorities, kept trusted next to a host's own authority file (which
// takes the place of the system bundle in curl's settings).
const char* systemCertificateFolder() {
    static const std::string folder = [] {
        const curl_version_info_data* info = curl_version_info(CURLVERSION_NOW);
        if (info && info->age >= CURLVERSION_SEVENTH && info->capath) {
            return std::string(info->capath);
        }
        return std::string("/etc/ssl/certs");
    }();
    return folder.c_str();
}

}  // namespace

// One transfer in progress. Lives on the transfer thread only.
struct TransferEngine::Transfer {
    std::shared_ptr<URLSessionTask> task;
    std::shared_ptr<URLSession> session;
    CURL* easy = nullptr;
    curl_slist* headers = nullptr;
    std::string url;
    std::string caFile;
    char errorBuffer[CURL_ERROR_SIZE] = {};

    // Body.
    const Data* memory = nullptr;
    std::size_t memoryOffset = 0;
    int fd = -1;
    std::int64_t bodySize = 0;
    std::int64_t reportedSent = 0;
    bool readFailed = false;

    // Response being parsed (each response of a redirect chain in turn).
    long status = 0;
    std::string httpVersion;
    HTTPHeaderFields fields;
    std::string lastField;
    std::shared_ptr<const URLResponse> lastResponse;
    // The jar this transfer reads and fills (none when the session sets no cookies), and the
    // "Set-Cookie" values of the response being parsed, each on its own: joined, the commas in their
    // dates could not be told from the joins.
    std::shared_ptr<HTTPCookieStorage> cookieStorage;
    std::vector<std::string> setCookies;
    bool responsePublished = false;
    std::optional<Data> collected;  // for completion handlers

    // Idle timing: the clock starts at the transfer's first progress report, so that a transfer
    // waiting for a free connection does not time out.
    double idleTimeout = 60;
    bool started = false;
    SteadyClock::time_point lastActivity;
    curl_off_t lastDownloaded = 0;
    curl_off_t lastUploaded = 0;

    ~Transfer() {
        if (easy) {
            curl_easy_cleanup(easy);
        }
        if (headers) {
            curl_slist_free_all(headers);
        }
        if (fd >= 0) {
            ::close(fd);
        }
    }

    void touch() { lastActivity = SteadyClock::now(); }
    std::shared_ptr<URLSessionDataTask> dataTask() const {
        return std::static_pointer_cast<URLSessionDataTask>(task);
    }
};

struct TransferEngine::Impl {
    enum class CommandKind { Start, Cancel };
    struct Command {
        CommandKind kind;
        std::shared_ptr<URLSessionTask> task;
        std::shared_ptr<URLSession> session;
    };

    std::mutex mutex;
    std::deque<Command> commands;
    bool stopping = false;
    CURLM* multi = nullptr;
    std::thread thread;
    long hostConnectionLimit = 0;

    // Transfer thread only.
    std::map<URLSessionTask*, std::unique_ptr<Transfer>> transfers;

    void post(Command command) {
        {
            std::lock_guard lock(mutex);
            commands.push_back(std::move(command));
        }
        curl_multi_wakeup(multi);
    }

    void run() noexcept;
    void runOnce();
    void begin(const std::shared_ptr<URLSessionTask>& task, std::shared_ptr<URLSession> session);
    std::optional<Error> configure(Transfer& transfer);
    void finish(URLSessionTask* key, std::optional<Error> error);
    void finishWithCode(URLSessionTask* key, CURLcode code);
    void expireIdleTransfers();
    long pollTimeoutMilliseconds();
    void abandonAll();
    static void publishResponse(Transfer& transfer, std::shared_ptr<const URLResponse> response);
    static void reportUpload(Transfer& transfer, curl_off_t uploaded);

    // curl callbacks.
    static size_t onHeader(char* buffer, size_t size, size_t count, void* context) noexcept;
    static size_t onBody(char* buffer, size_t size, size_t count, void* context) noexcept;
    static size_t onRead(char* buffer, size_t size, size_t count, void* context) noexcept;
    static int onProgress(void* context, curl_off_t downloadTotal, curl_off_t downloaded,
                          curl_off_t uploadTotal, curl_off_t uploaded) noexcept;
};

void TransferEngine::Impl::publishResponse(Transfer& transfer, std::shared_ptr<const URLResponse> response) {
    transfer.responsePublished = true;
    {
        std::lock_guard lock(transfer.task->mutex_);
        transfer.task->response_ = response;
    }
    if (transfer.task->completion_) {
        return;
    }
    transfer.session->delegateQueue()->async(
        [session = transfer.session, task = transfer.dataTask(), response = std::move(response)] {
            if (auto delegate = session->delegate()) {
                delegate->didReceiveResponse(session, task, response);
            }
        });
}

size_t TransferEngine::Impl::onHeader(char* buffer, size_t size, size_t count, void* context) noexcept {
    auto& transfer = *static_cast<Transfer*>(context);
    const size_t length = size * count;
    try {
        transfer.touch();
        std::string_view line(buffer, length);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
            line.remove_suffix(1);
        }
        if (line.starts_with("HTTP/")) {
            // The status line of a new response (an interim 1xx, a redirect, or the final one).
            transfer.fields.clear();
            transfer.lastField.clear();
            transfer.setCookies.clear();
            const auto space = line.find(' ');
            transfer.httpVersion = std::string(line.substr(0, space));
            transfer.status = space == std::string_view::npos
                                  ? 0
                                  : std::atol(std::string(line.substr(space + 1, 3)).c_str());
        } else if (line.empty()) {
            if (transfer.status < 200) {
                return length;  // an interim response: the real one follows
            }
            char* effective = nullptr;
            curl_easy_getinfo(transfer.easy, CURLINFO_EFFECTIVE_URL, &effective);
            if (transfer.cookieStorage && !transfer.setCookies.empty()) {
                // Every response of a redirect chain sets cookies for its own address.
                transfer.cookieStorage->setCookiesFromSetCookieHeaders(transfer.setCookies,
                                                                       effective ? effective : transfer.url);
                transfer.setCookies.clear();
            }
            auto response = std::make_shared<const HTTPURLResponse>(
                effective ? effective : transfer.url, transfer.status, transfer.httpVersion, transfer.fields);
            transfer.lastResponse = response;
            long redirects = 0;
            curl_easy_getinfo(transfer.easy, CURLINFO_REDIRECT_COUNT, &redirects);
            const bool followed = isRedirectStatus(transfer.status) && transfer.fields.contains("Location") &&
                                  redirects < kMaximumRedirects;
            if (!followed) {
                publishResponse(transfer, std::move(response));
            }
        } else if ((line.front() == ' ' || line.front() == '\t') && !transfer.lastField.empty()) {
            // A folded continuation of the field before.
            auto& value = transfer.fields[transfer.lastField];
            value += ' ';
            value += std::string(line.substr(line.find_first_not_of(" \t")));
        } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
            std::string name(line.substr(0, colon));
            std::string_view value = line.substr(colon + 1);
            while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) {
                value.remove_prefix(1);
            }
            while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) {
                value.remove_suffix(1);
            }
            if (::strcasecmp(name.c_str(), "Set-Cookie") == 0) {
                transfer.setCookies.emplace_back(value);
            }
            auto existing = transfer.fields.find(name);
            if (existing == transfer.fields.end()) {
                transfer.fields.emplace(name, std::string(value));
            } else {
                existing->second += ", ";
                existing->second += value;
            }
            transfer.lastField = std::move(name);
        }
        return length;
    } catch (...) {
        return 0;  // curl fails the transfer with a write error
    }
}

size_t TransferEngine::Impl::onBody(char* buffer, size_t size, size_t count, void* context) noexcept {
    auto& transfer = *static_cast<Transfer*>(context);
    const size_t length = size * count;
    try {
        transfer.touch();
        transfer.task->bytesReceived_ += static_cast<std::int64_t>(length);
        if (!transfer.responsePublished && transfer.lastResponse) {
            publishResponse(transfer, transfer.lastResponse);
        }
        if (transfer.task->completion_) {
            if (!transfer.collected) {
                transfer.collected.emplace();
            }
            transfer.collected->insert(transfer.collected->end(), buffer, buffer + length);
            return length;
        }
        // Each piece goes on its own, as it came.
        transfer.session->delegateQueue()->async(
            [session = transfer.session, task = transfer.dataTask(),
             chunk = Data(reinterpret_cast<const std::uint8_t*>(buffer),
                          reinterpret_cast<const std::uint8_t*>(buffer) + length)] {
                if (auto delegate = session->delegate()) {
                    delegate->didReceiveData(session, task, chunk);
                }
            });
        return length;
    } catch (...) {
        return 0;
    }
}

size_t TransferEngine::Impl::onRead(char* buffer, size_t size, size_t count, void* context) noexcept {
    auto& transfer = *static_cast<Transfer*>(context);
    const size_t capacity = size * count;
    transfer.touch();
    size_t produced = 0;
    if (transfer.memory) {
        produced = std::min(capacity, transfer.memory->size() - transfer.memoryOffset);
        std::memcpy(buffer, transfer.memory->data() + transfer.memoryOffset, produced);
        transfer.memoryOffset += produced;
    } else if (transfer.fd >= 0) {
        ssize_t got;
        do {
            got = ::read(transfer.fd, buffer, capacity);
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            transfer.readFailed = true;
            return CURL_READFUNC_ABORT;
        }
        produced = static_cast<size_t>(got);
    }
    return produced;
}

void TransferEngine::Impl::reportUpload(Transfer& transfer, curl_off_t uploaded) {
    if (uploaded <= transfer.reportedSent) {
        return;
    }
    const std::int64_t sent = uploaded - transfer.reportedSent;
    transfer.reportedSent = uploaded;
    transfer.task->bytesSent_ = uploaded;
    if (transfer.task->completion_) {
        return;
    }
    transfer.session->delegateQueue()->async([session = transfer.session, task = transfer.task, sent,
                                              total = static_cast<std::int64_t>(uploaded),
                                              expected = transfer.bodySize] {
        if (auto delegate = session->delegate()) {
            delegate->didSendBodyData(session, task, sent, total, expected);
        }
    });
}

int TransferEngine::Impl::onProgress(void* context, curl_off_t, curl_off_t downloaded, curl_off_t,
                                     curl_off_t uploaded) noexcept {
    auto& transfer = *static_cast<Transfer*>(context);
    try {
        if (!transfer.started) {
            transfer.started = true;
            transfer.touch();
        }
        if (downloaded != transfer.lastDownloaded || uploaded != transfer.lastUploaded) {
            transfer.touch();
            transfer.lastDownloaded = downloaded;
            transfer.lastUploaded = uploaded;
        }
        reportUpload(transfer, uploaded);
    } catch (...) {
        // Progress is advisory; a failure to report it must not stop the transfer.
    }
    return 0;
}

std::optional<Error> TransferEngine::Impl::configure(Transfer& transfer) {
    const URLSessionTask& task = *transfer.task;
    const URLRequest& request = task.request_;
    const URLSessionConfiguration& configuration = transfer.session->configuration();
    CURL* easy = transfer.easy;

    // The request as it goes out: the session's additional headers under the request's own.
    URLRequest current = request;
    for (const auto& [name, value] : configuration.HTTPAdditionalHeaders()) {
        if (!current.valueForHTTPHeaderField(name)) {
            current.setValueForHTTPHeaderField(value, name);
        }
    }

    // Cookies from the jar, unless the request brings its own.
    if (configuration.HTTPShouldSetCookies()) {
        transfer.cookieStorage = configuration.cookieStorage();
        if (!current.valueForHTTPHeaderField("Cookie")) {
            for (const auto& [name, value] : HTTPCookieStorage::requestHeaderFieldsWithCookies(
                     transfer.cookieStorage->cookiesForURL(request.URL()))) {
                current.setValueForHTTPHeaderField(value, name);
            }
        }
    }

    // Body.
    const TaskBody* body = task.body_.get();
    bool hasBody = false;
    if (body && body->kind == TaskBody::Kind::Memory) {
        transfer.memory = &body->bytes;
        transfer.bodySize = static_cast<std::int64_t>(body->bytes.size());
        hasBody = true;
    } else if (body && body->kind == TaskBody::Kind::File) {
        transfer.fd = ::open(body->filePath.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        if (transfer.fd < 0 || ::fstat(transfer.fd, &status) != 0 || !S_ISREG(status.st_mode)) {
            const int failure = errno;
            const bool denied = transfer.fd < 0 && (failure == EACCES || failure == EPERM);
            return makeURLError(
                denied ? URLErrorCode::noPermissionsToReadFile : URLErrorCode::fileDoesNotExist,
                request.URL(), body->filePath + ": " + std::strerror(failure));
        }
        transfer.bodySize = static_cast<std::int64_t>(status.st_size);
        hasBody = true;
    }
    transfer.task->bytesExpectedToSend_ = transfer.bodySize;

    const std::string& method = request.HTTPMethod();
    if (hasBody) {
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(transfer.bodySize));
        curl_easy_setopt(easy, CURLOPT_READFUNCTION, &Impl::onRead);
        curl_easy_setopt(easy, CURLOPT_READDATA, &transfer);
        curl_easy_setopt(easy, CURLOPT_UPLOAD_BUFFERSIZE, static_cast<long>(kUploadBufferSize));
        if (method != "POST") {
            curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
        }
    } else if (method == "HEAD") {
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else {
        curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
        if (method != "GET") {
            curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
        }
    }

    // Header fields. curl's own additions the platform does not make are taken out: the form type of
    // a body without one, and the wait for "100 Continue" before a large body.
    for (const auto& [name, value] : current.allHTTPHeaderFields()) {
        const std::string line = value.empty() ? name + ";" : name + ": " + value;
        transfer.headers = curl_slist_append(transfer.headers, line.c_str());
    }
    if (hasBody && !current.valueForHTTPHeaderField("Content-Type")) {
        transfer.headers = curl_slist_append(transfer.headers, "Content-Type:");
    }
    if (!current.valueForHTTPHeaderField("Expect")) {
        transfer.headers = curl_slist_append(transfer.headers, "Expect:");
    }
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers);

    {
        std::lock_guard lock(transfer.task->mutex_);
        transfer.task->currentRequest_ = std::move(current);
    }

    curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
    curl_easy_setopt(easy, CURLOPT_URL, transfer.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, kMaximumRedirects);
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.errorBuffer);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Impl::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Impl::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &Impl::onProgress);
    curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &transfer);

    // Timeouts: the idle one is watched by the loop; curl watches the connect and the whole.
    transfer.idleTimeout = request.hasExplicitTimeoutInterval() ? request.timeoutInterval()
                                                                : configuration.timeoutIntervalForRequest();
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(transfer.idleTimeout * 1000));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS,
                     static_cast<long>(configuration.timeoutIntervalForResource() * 1000));

    // TLS: verification is always on. A host's own authority file is trusted next to the system's
    // authorities.
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    transfer.caFile = configuration.effectiveTrustedCertificateAuthorityFile();
    if (!transfer.caFile.empty()) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, transfer.caFile.c_str());
        curl_easy_setopt(easy, CURLOPT_CAPATH, systemCertificateFolder());
    }

    const long limit = configuration.HTTPMaximumConnectionsPerHost();
    if (limit > hostConnectionLimit) {
        hostConnectionLimit = limit;
        curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, hostConnectionLimit);
    }
    return std::nullopt;
}

void TransferEngine::Impl::begin(const std::shared_ptr<URLSessionTask>& task,
                                 std::shared_ptr<URLSession> session) {
    if (task->state() != URLSessionTaskState::Running) {
        return;  // cancelled before the transfer thread came to it; the cancel completes it
    }
    auto transfer = std::make_unique<Transfer>();
    transfer->task = task;
    transfer->session = std::move(session);
    transfer->url = task->request_.URL();
    transfer->easy = curl_easy_init();
    transfer->touch();
    std::optional<Error> failure;
    if (!transfer->easy) {
        failure = makeURLError(URLErrorCode::unknown, transfer->url, "curl_easy_init failed");
    } else {
        failure = configure(*transfer);
    }
    Transfer* raw = transfer.get();
    transfers.emplace(task.get(), std::move(transfer));
    if (!failure && curl_multi_add_handle(multi, raw->easy) != CURLM_OK) {
        failure = makeURLError(URLErrorCode::unknown, raw->url, "curl_multi_add_handle failed");
        curl_easy_cleanup(raw->easy);
        raw->easy = nullptr;
    } else if (failure) {
        curl_easy_cleanup(raw->easy);
        raw->easy = nullptr;
    }
    if (failure) {
        finish(task.get(), std::move(failure));
    }
}

void TransferEngine::Impl::finish(URLSessionTask* key, std::optional<Error> error) {
    auto found = transfers.find(key);
    if (found == transfers.end()) {
        return;
    }
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    transfers.erase(found);
    if (transfer->easy) {
        // The last progress report may have come before the last bytes went out.
        curl_off_t uploaded = 0;
        if (curl_easy_getinfo(transfer->easy, CURLINFO_SIZE_UPLOAD_T, &uploaded) == CURLE_OK) {
            reportUpload(*transfer, uploaded);
        }
        curl_multi_remove_handle(multi, transfer->easy);
    }
    if (!error && !transfer->responsePublished && transfer->lastResponse) {
        publishResponse(*transfer, transfer->lastResponse);
    }
    if (transfer->task->markCompleted(error)) {
        std::optional<Data> data;
        if (!error && transfer->task->completion_) {
            data = transfer->collected ? std::move(transfer->collected) : Data();
        }
        deliverCompletion(transfer->task, std::move(data));
    }
}

void TransferEngine::Impl::finishWithCode(URLSessionTask* key, CURLcode code) {
    auto found = transfers.find(key);
    if (found == transfers.end()) {
        return;
    }
    Transfer& transfer = *found->second;
    if (code == CURLE_OK) {
        finish(key, std::nullopt);
        return;
    }
    std::int64_t urlCode = urlErrorCodeFor(code);
    if (code == CURLE_ABORTED_BY_CALLBACK && transfer.readFailed) {
        urlCode = URLErrorCode::requestBodyStreamExhausted;
    }
    std::string reason = transfer.errorBuffer[0] ? transfer.errorBuffer : curl_easy_strerror(code);
    finish(key, makeURLError(urlCode, transfer.url, reason));
}

void TransferEngine::Impl::expireIdleTransfers() {
    const auto now = SteadyClock::now();
    std::vector<URLSessionTask*> expired;
    for (const auto& [key, transfer] : transfers) {
        if (transfer->started &&
            now - transfer->lastActivity >= std::chrono::duration<double>(transfer->idleTimeout)) {
            expired.push_back(key);
        }
    }
    for (URLSessionTask* key : expired) {
        const std::string url = transfers[key]->url;
        finish(key, makeURLError(URLErrorCode::timedOut, url, "no data sent or received within the timeout"));
    }
}

long TransferEngine::Impl::pollTimeoutMilliseconds() {
    long timeout = -1;
    curl_multi_timeout(multi, &timeout);
    if (timeout < 0 || timeout > 1000) {
        timeout = 1000;
    }
    const auto now = SteadyClock::now();
    for (const auto& [key, transfer] : transfers) {
        if (!transfer->started) {
            continue;
        }
        const auto deadline =
            transfer->lastActivity + std::chrono::duration_cast<SteadyClock::duration>(
                                         std::chrono::duration<double>(transfer->idleTimeout));
        const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
        timeout = std::clamp<long>(remaining, 0, timeout);
    }
    return timeout;
}

void TransferEngine::Impl::runOnce() {
    std::deque<Command> pending;
    {
        std::lock_guard lock(mutex);
        pending.swap(commands);
    }
    for (auto& command : pending) {
        if (command.kind == CommandKind::Start) {
            begin(command.task, std::move(command.session));
        } else if (transfers.contains(command.task.get())) {
            finish(command.task.get(), makeURLError(URLErrorCode::cancelled, command.task->request_.URL()));
        } else if (command.task->markCompleted(
                       makeURLError(URLErrorCode::cancelled, command.task->request_.URL()))) {
            deliverCompletion(command.task, std::nullopt);
        }
    }

    int running = 0;
    curl_multi_perform(multi, &running);
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        Transfer* transfer = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
        const CURLcode code = message->data.result;
        if (transfer) {
            finishWithCode(transfer->task.get(), code);
        }
    }
    expireIdleTransfers();
    curl_multi_poll(multi, nullptr, 0, static_cast<int>(pollTimeoutMilliseconds()), nullptr);
}

void TransferEngine::Impl::run() noexcept {
    for (;;) {
        {
            std::lock_guard lock(mutex);
            if (stopping) {
                break;
            }
        }
        try {
            runOnce();
        } catch (const std::exception& exception) {
            platformLog("net", std::string("transfer loop: ") + exception.what());
        } catch (...) {
            platformLog("net", "transfer loop: unknown failure");
        }
    }
    abandonAll();
}

void TransferEngine::Impl::abandonAll() {
    for (auto& [key, transfer] : transfers) {
        if (transfer->easy) {
            curl_multi_remove_handle(multi, transfer->easy);
        }
    }
    transfers.clear();
}

TransferEngine::TransferEngine() : impl_(std::make_unique<Impl>()) {
    // Once per process, before any other thread of ours touches curl.
    curl_global_init(CURL_GLOBAL_DEFAULT);
    impl_->multi = curl_multi_init();
    impl_->thread = std::thread([impl = impl_.get()] {
        pthread_setname_np(pthread_self(), "bdx-transfer");
        impl->run();
    });
}

TransferEngine::~TransferEngine() {
    {
        std::lock_guard lock(impl_->mutex);
        impl_->stopping = true;
    }
    curl_multi_wakeup(impl_->multi);
    if (impl_->thread.joinable()) {
        impl_->thread.join();
    }
    curl_multi_cleanup(impl_->multi);
}

TransferEngine& TransferEngine::shared() {
    static TransferEngine engine;
    return engine;
}

void TransferEngine::start(std::shared_ptr<URLSessionTask> task, std::shared_ptr<URLSession> session) {
    impl_->post({Impl::CommandKind::Start, std::move(task), std::move(session)});
}

void TransferEngine::cancel(std::shared_ptr<URLSessionTask> task) {
    impl_->post({Impl::CommandKind::Cancel, std::move(task), nullptr});
}

void TransferEngine::deliverCompletion(const std::shared_ptr<URLSessionTask>& task,
                                       std::optional<Data> data) {
    auto session = task->session_.lock();
    if (!session) {
        return;
    }
    session->delegateQueue()->async([session, task, data = std::move(data)]() mutable {
        if (task->completion_) {
            task->completion_(std::move(data), task->response(), task->error());
        } else if (auto delegate = session->delegate()) {
            delegate->didCompleteWithError(session, task, task->error());
        }
        session->taskDidFinish(task);
    });
}

}  // namespace bdx::net::detail
