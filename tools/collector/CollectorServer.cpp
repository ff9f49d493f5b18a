#include "CollectorServer.h"

#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <system_error>
#include <thread>

namespace bdx::collector {

namespace fs = std::filesystem;

namespace {

// The server library would undo a gzip body, split a multipart body and compress its answers on its own, and
// would refuse a malformed body before any handler saw it. The collector must keep such a body and say what
// is wrong with it, so these headers are taken out of the library's sight before the body is read (the
// pre-routing hook runs first, on the thread that then runs the handler) and put back into the stored record.
const char* const kHiddenHeaders[] = {"Content-Encoding", "Content-Type", "Accept-Encoding"};
thread_local httplib::Headers hiddenHeaders;

// Headers the server library adds to a request itself; they were never on the wire.
const std::set<std::string> kPseudoHeaders = {"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR", "LOCAL_PORT"};

const std::set<std::string> kReportCollections = {"crashes", "bugs", "feedbacks"};

std::string dump(const Json& value, int indent = -1) {
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool carriesBody(int status) {
    return status >= 200 && status != 204 && status != 304;
}

bool isServedPath(const std::string& path) {
    return path == "/api/sdk/v3" || startsWith(path, "/api/sdk/v3/") || path == "/api/sdk/latest_version";
}

bool isReportPath(const std::string& method, const std::string& path) {
    return method == "POST" && kReportCollections.count(path.substr(path.rfind('/') + 1)) > 0;
}

std::string hiddenHeader(const std::string& name) {
    auto found = hiddenHeaders.find(name);
    return found == hiddenHeaders.end() ? std::string() : found->second;
}

int portOf(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET) {
        return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    }
    if (address.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    }
    return -1;
}

// Closes the connection a request came on without a word. The server library hands handlers no socket, so the
// socket is found among the process's descriptors by the two ends of the connection.
void dropConnection(const httplib::Request& request) {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd", ec)) {
        const int fd = std::atoi(entry.path().filename().c_str());
        sockaddr_storage peer{}, local{};
        socklen_t peerLength = sizeof peer, localLength = sizeof local;
        if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerLength) != 0 ||
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localLength) != 0) {
            continue;
        }
        if (portOf(peer) == request.remote_port && portOf(local) == request.local_port) {
            ::shutdown(fd, SHUT_RDWR);
            return;
        }
    }
}

// A file name for a received file inside its request's folder: no folders, nothing that hides or clashes with
// what the collector writes there itself.
std::string storedFileName(const std::string& filename, size_t number, const std::set<std::string>& taken) {
    std::string name = filename.substr(filename.find_last_of('/') + 1);
    if (name.empty() || name == "." || name == "..") {
        name = "file.bin";
    }
    if (taken.count(name)) {
        name = "part-" + std::to_string(number) + "-" + name;
    }
    return name;
}

void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string numbered(int index) {
    char name[16];
    std::snprintf(name, sizeof name, "%06d", index);
    return name;
}

// The server library listens with a backlog of 5, fixed when it was built. The library under test starts any
// number of requests at once, and connections beyond the backlog would wait out a retransmission (a second)
// each; listening again on the bound socket widens the backlog.
template <class Base>
class WideBacklog : public Base {
  public:
    using Base::Base;
    bool widenBacklog() { return ::listen(this->svr_sock_, SOMAXCONN) == 0; }
};

// A thread of its own for every connection. A kept-alive connection holds its thread until the client sends
// again or the keep-alive time runs out; with a fixed pool, a client that opens many connections at once (the
// library's transfers all start together) would leave later connections waiting seconds for a free worker.
class ThreadPerConnection : public httplib::TaskQueue {
  public:
    void enqueue(std::function<void()> job) override {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            ++running_;
        }
        auto run = [this, job = std::move(job)] {
            job();
            std::lock_guard<std::mutex> lock(mutex_);
            --running_;
            finished_.notify_all();
        };
        try {
            std::thread(run).detach();
        } catch (const std::system_error&) {
            run();  // no thread to be had: serve it on the accepting thread rather than not at all
        }
    }

    void shutdown() override {
        std::unique_lock<std::mutex> lock(mutex_);
        finished_.wait(lock, [this] { return running_ == 0; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable finished_;
    size_t running_ = 0;
};

}  // namespace

CollectorServer::CollectorServer(CollectorOptions options) : options_(std::move(options)) {
    if (!options_.certificate.empty() && !options_.privateKey.empty()) {
        auto server = std::make_unique<WideBacklog<httplib::SSLServer>>(options_.certificate.c_str(),
                                                                        options_.privateKey.c_str());
        widenBacklog_ = [raw = server.get()] { return raw->widenBacklog(); };
        server_ = std::move(server);
    } else {
        auto server = std::make_unique<WideBacklog<httplib::Server>>();
        widenBacklog_ = [raw = server.get()] { return raw->widenBacklog(); };
        server_ = std::move(server);
    }
    server_->new_task_queue = [] { return new ThreadPerConnection; };
    server_->set_keep_alive_max_count(1000);
    // An answer goes out as several writes; without this each request waits out a delayed acknowledgement.
    server_->set_tcp_nodelay(true);
    // The server library would also share the port with any other process (SO_REUSEPORT), so that a second
    // collector on a port in use would start and take half of the first one's connections.
    server_->set_socket_options([](int socket) {
        int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server_->set_pre_routing_handler([](const httplib::Request& request, httplib::Response&) {
        hiddenHeaders.clear();
        // The request object is the server's own, not a constant; only the view handed to hooks is.
        auto& headers = const_cast<httplib::Headers&>(request.headers);
        for (const char* name : kHiddenHeaders) {
            auto range = headers.equal_range(name);
            hiddenHeaders.insert(range.first, range.second);
            headers.erase(range.first, range.second);
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    auto handler = [this](const httplib::Request& request, httplib::Response& response) {
        handle(request, response);
    };
    server_->Get(".*", handler);
    server_->Post(".*", handler);
    server_->Put(".*", handler);
    server_->Patch(".*", handler);
    server_->Delete(".*", handler);
    server_->Options(".*", handler);
}

CollectorServer::~CollectorServer() = default;

bool CollectorServer::bind(std::string* error) {
    if (!server_->is_valid()) {
        *error = "the server cannot start (is the certificate or the key unreadable?)";
        return false;
    }
    if (options_.port == 0) {
        port_ = server_->bind_to_any_port("127.0.0.1");
    } else if (server_->bind_to_port("127.0.0.1", options_.port)) {
        port_ = options_.port;
    } else {
        port_ = -1;
    }
    if (port_ <= 0) {
        *error = "cannot listen on 127.0.0.1" +
                 (options_.port ? ":" + std::to_string(options_.port) : std::string());
        return false;
    }
    if (!widenBacklog_()) {
        *error = std::string("cannot widen the listening backlog: ") + std::strerror(errno);
        return false;
    }
    return true;
}

std::string CollectorServer::rootURL() const {
    const bool secure = !options_.certificate.empty() && !options_.privateKey.empty();
    return std::string(secure ? "https" : "http") + "://127.0.0.1:" + std::to_string(port_);
}

void CollectorServer::run() {
    server_->listen_after_bind();
}

void CollectorServer::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    server_->stop();
}

void CollectorServer::waitForHandlers(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return handlersRunning_ == 0; });
}

bool CollectorServer::pause(long ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    return !changed_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return stopping_; });
}

void CollectorServer::printLine(const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex_);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

std::string CollectorServer::addScripts(const Json& entries) {
    std::vector<std::pair<ScriptKey, std::vector<Answer>>> parsed;
    for (const auto& entry : entries.is_array() ? entries : Json::array({entries})) {
        ScriptKey key;
        std::vector<Answer> answers;
        auto error = parseScript(entry, &key, &answers);
        if (!error.empty()) {
            return error;
        }
        parsed.emplace_back(std::move(key), std::move(answers));
    }
    // Nothing is queued unless every entry was sound, so a malformed script leaves no half behind.
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [key, answers] : parsed) {
        auto& queue = scripts_[key];
        queue.insert(queue.end(), answers.begin(), answers.end());
    }
    return "";
}

std::string CollectorServer::parseScript(const Json& entry, ScriptKey* key, std::vector<Answer>* answers) {
    if (!entry.is_object()) {
        return "a script entry must be an object";
    }
    for (const auto& [key, value] : entry.items()) {
        if (key != "path" && key != "method" && key != "responses") {
            return "unknown key '" + key + "' in a script entry";
        }
    }
    if (!entry.contains("path") || !entry["path"].is_string() ||
        !startsWith(entry["path"].get<std::string>(), "/")) {
        return "a script entry needs a \"path\" beginning with '/'";
    }
    std::string method;
    if (entry.contains("method")) {
        if (!entry["method"].is_string()) {
            return "\"method\" must be a string";
        }
        method = entry["method"].get<std::string>();
        std::transform(method.begin(), method.end(), method.begin(),
                       [](unsigned char c) { return std::toupper(c); });
    }
    if (!entry.contains("responses") || !entry["responses"].is_array()) {
        return "a script entry needs a \"responses\" array";
    }
    for (const auto& response : entry["responses"]) {
        if (!response.is_object()) {
            return "each response must be an object";
        }
        Answer answer;
        for (const auto& [key, value] : response.items()) {
            if (key == "status") {
                if (!value.is_number_integer() || value.get<int>() < 100 || value.get<int>() > 999) {
                    return "\"status\" must be a whole number from 100 to 999";
                }
                answer.status = value.get<int>();
            } else if (key == "body") {
                answer.body = value.is_string() ? value.get<std::string>() : dump(value);
            } else if (key == "headers") {
                if (!value.is_object()) {
                    return "\"headers\" must be an object of strings";
                }
                for (const auto& [name, text] : value.items()) {
                    if (!text.is_string()) {
                        return "header '" + name + "' must be a string";
                    }
                    answer.headers.emplace_back(name, text.get<std::string>());
                }
            } else if (key == "delay_ms" || key == "chunk_delay_ms") {
                if (!value.is_number() || value.get<double>() < 0) {
                    return "\"" + key + "\" must be a number of milliseconds, not negative";
                }
                (key == "delay_ms" ? answer.delayMs : answer.chunkDelayMs) = value.get<long>();
            } else if (key == "drop") {
                if (!value.is_boolean()) {
                    return "\"drop\" must be true or false";
                }
                answer.drop = value.get<bool>();
            } else if (key == "chunks") {
                if (!value.is_array() || value.empty()) {
                    return "\"chunks\" must be an array of strings";
                }
                for (const auto& chunk : value) {
                    // An empty chunk would end a chunked body early.
                    if (!chunk.is_string() || chunk.get<std::string>().empty()) {
                        return "every chunk must be a string that is not empty";
                    }
                    answer.chunks.push_back(chunk.get<std::string>());
                }
            } else {
                return "unknown key '" + key + "' in a response";
            }
        }
        if (answer.body && !answer.chunks.empty()) {
            return "a response has either \"body\" or \"chunks\"";
        }
        answers->push_back(std::move(answer));
    }
    *key = {entry["path"].get<std::string>(), method};
    return "";
}

CollectorServer::Answer CollectorServer::answerFor(const std::string& method, const std::string& path) {
    Answer answer;
    for (const auto& key : {std::make_pair(path, method), std::make_pair(path, std::string())}) {
        auto found = scripts_.find(key);
        if (found != scripts_.end() && !found->second.empty()) {
            answer = std::move(found->second.front());
            found->second.pop_front();
            break;
        }
    }
    return answer;
}

void CollectorServer::handle(const httplib::Request& request, httplib::Response& response) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++handlersRunning_;
    }
    if (startsWith(request.path, "/_collector/")) {
        handleControl(request, response);
    } else {
        handleService(request, response);
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        --handlersRunning_;
    }
    changed_.notify_all();
}

void CollectorServer::handleControl(const httplib::Request& request, httplib::Response& response) {
    auto answer = [&response](int status, const Json& body) {
        response.status = status;
        response.set_content(dump(body), "application/json");
    };
    if (request.path == "/_collector/requests" && request.method == "GET") {
        // With at_least, the answer waits (up to timeout_ms) until that many requests are in, so that a test
        // waits for an event rather than polling.
        const size_t atLeast =
            request.has_param("at_least") ? std::stoul(request.get_param_value("at_least")) : 0;
        const long timeoutMs =
            request.has_param("timeout_ms") ? std::stol(request.get_param_value("timeout_ms")) : 0;
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                          [&] { return stopping_ || records_.size() >= atLeast; });
        answer(200, Json(records_));
        return;
    }
    if (request.path == "/_collector/script" && request.method == "POST") {
        Json entries;
        try {
            entries = Json::parse(request.body);
        } catch (const Json::exception& e) {
            answer(400, {{"error", std::string("json: ") + e.what()}});
            return;
        }
        auto error = addScripts(entries);
        if (!error.empty()) {
            answer(400, {{"error", error}});
            return;
        }
        size_t queued = 0;
        for (const auto& entry : entries.is_array() ? entries : Json::array({entries})) {
            queued += entry["responses"].size();
        }
        answer(200, {{"queued", queued}});
        return;
    }
    if (request.path == "/_collector/reset" && request.method == "POST") {
        std::lock_guard<std::mutex> lock(mutex_);
        scripts_.clear();
        if (request.get_param_value("requests") == "1") {
            for (const auto& record : records_) {
                std::error_code ec;
                fs::remove_all(options_.folder / numbered(record["index"].get<int>()), ec);
            }
            records_.clear();
            lastIndex_ = 0;
        }
        answer(200, Json::object());
        return;
    }
    answer(404, {{"error", "unknown control request " + request.method + " " + request.path}});
}

void CollectorServer::handleService(const httplib::Request& request, httplib::Response& response) {
    const std::string contentEncoding = hiddenHeader("Content-Encoding");
    const DecodedBody body = decodeBody(request.body, contentEncoding, hiddenHeader("Content-Type"));
    Answer answer;
    int index = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        index = ++lastIndex_;
        if (!body.error.empty()) {
            // A body the service could not read is the library's fault; it is answered so whatever the script
            // says, and the script keeps its answer for the next request.
            answer.status = 400;
            answer.body = dump({{"error", body.error}});
        } else if (!isServedPath(request.path)) {
            answer.status = 404;
            answer.body = dump({{"error", "no service at " + request.path}});
        } else {
            answer = answerFor(request.method, request.path);
        }
    }
    if (!carriesBody(answer.status)) {
        // These statuses never carry a body; bytes after one would be read as the next answer on the
        // connection.
        answer.body = "";
        answer.chunks.clear();
    } else if (!answer.body && answer.chunks.empty()) {
        answer.body =
            isReportPath(request.method, request.path) ? dump({{"id", std::to_string(index)}}) : "{}";
    }
    storeRequest(request, body, contentEncoding, index, answer, body.error);

    size_t answered = answer.body && !answer.drop ? answer.body->size() : 0;
    for (const auto& chunk : answer.chunks) {
        answered += chunk.size();
    }
    std::string line = numbered(index) + " " + request.method + " " + request.target + " -> " +
                       (answer.drop ? std::string("dropped") : std::to_string(answer.status)) +
                       " (received " + std::to_string(request.body.size()) + " bytes, body " +
                       std::to_string(body.bytes.size()) + " bytes, answer " + std::to_string(answered) +
                       " bytes" +
                       (answer.delayMs ? ", after " + std::to_string(answer.delayMs) + " ms" : "") + ")";
    if (!body.error.empty()) {
        line += " " + body.error;
    }
    printLine(line);

    if (answer.delayMs > 0 && !pause(answer.delayMs)) {
        dropConnection(request);
        return;
    }
    if (answer.drop) {
        dropConnection(request);
        return;
    }
    response.status = answer.status;
    std::string contentType = "application/json";
    for (const auto& [name, value] : answer.headers) {
        if (strcasecmp(name.c_str(), "Content-Type") == 0) {
            contentType = value;
        } else {
            response.set_header(name, value);
        }
    }
    if (!carriesBody(answer.status)) {
        return;
    }
    if (answer.chunks.empty()) {
        response.set_content(*answer.body, contentType);
        return;
    }
    auto next = std::make_shared<size_t>(0);
    response.set_chunked_content_provider(
        contentType,
        [this, chunks = answer.chunks, pauseMs = answer.chunkDelayMs, next](size_t, httplib::DataSink& sink) {
            // Each chunk goes out on its own and the next one only after a pause, so that a client reads them
            // as separate pieces.
            if (*next > 0 && !pause(pauseMs)) {
                return false;
            }
            if (!sink.write(chunks[*next].data(), chunks[*next].size())) {
                return false;
            }
            if (++*next == chunks.size()) {
                sink.done();
            }
            return true;
        });
}

Json CollectorServer::storeRequest(const httplib::Request& request, const DecodedBody& body,
                                   const std::string& contentEncoding, int index, const Answer& answer,
                                   const std::string& error) {
    const fs::path folder = options_.folder / numbered(index);
    std::error_code ec;
    fs::create_directories(folder, ec);

    Json headers = Json::object();
    auto addHeader = [&headers](const std::string& name, const std::string& value) {
        if (!headers.contains(name)) {
            headers[name] = value;
            return;
        }
        // A header sent twice stays visible as such: a list of its values in order.
        if (!headers[name].is_array()) {
            headers[name] = Json::array({headers[name]});
        }
        headers[name].push_back(value);
    };
    for (const auto& [name, value] : request.headers) {
        if (!kPseudoHeaders.count(name)) {
            addHeader(name, value);
        }
    }
    for (const auto& [name, value] : hiddenHeaders) {
        addHeader(name, value);
    }

    // The query in the order of the wire (the server library's own map sorts it), decoded by the library's
    // own routine. A key given twice keeps its last value.
    const auto questionMark = request.target.find('?');
    const std::string rawQuery =
        questionMark == std::string::npos ? "" : request.target.substr(questionMark + 1);
    Json query = Json::object();
    for (size_t from = 0; from < rawQuery.size();) {
        auto end = rawQuery.find('&', from);
        if (end == std::string::npos) {
            end = rawQuery.size();
        }
        const std::string pair = rawQuery.substr(from, end - from);
        const auto equals = pair.find('=');
        if (!pair.empty()) {
            query[httplib::detail::decode_url(pair.substr(0, equals), true)] =
                equals == std::string::npos ? "" : httplib::detail::decode_url(pair.substr(equals + 1), true);
        }
        from = end + 1;
    }

    Json parts = Json::array();
    Json fields = Json::object();
    std::set<std::string> taken = {"request.json", "body.bin", "body.raw"};
    size_t number = 0;
    for (const auto& part : body.multipart.parts) {
        ++number;
        Json entry = {{"name", part.name}};
        if (part.filename) {
            const std::string stored = storedFileName(*part.filename, number, taken);
            taken.insert(stored);
            writeFile(folder / stored, part.content);
            entry["filename"] = *part.filename;
            entry["content_type"] = *part.contentType;
            entry["file"] = (folder / stored).string();
            entry["size"] = part.content.size();
        } else {
            entry["value"] = part.content;
            fields[part.name] = part.content;
        }
        parts.push_back(std::move(entry));
    }

    writeFile(folder / "body.bin", body.bytes);
    if (!body.bytes.empty() && body.bytes != request.body) {
        writeFile(folder / "body.raw", request.body);
    }

    Json record = {
        {"index", index},
        {"method", request.method},
        {"path", request.path},
        {"query", query},
        {"raw_query", rawQuery},
        {"headers", headers},
        {"content_encoding", contentEncoding.empty() ? Json() : Json(contentEncoding)},
        {"body_kind", body.kind},
        {"json", body.kind == "json" && error.empty() ? body.json : Json()},
        {"fields", fields},
        {"parts", parts},
        {"status", answer.drop ? 0 : answer.status},
        {"dropped", answer.drop},
        {"error", error.empty() ? Json() : Json(error)},
        {"raw_size", request.body.size()},
        {"body_size", body.bytes.size()},
        {"folder", folder.string()},
    };
    // request.json comes last, so that whoever sees it finds every other file of the request complete.
    writeFile(folder / "request.json", dump(record, 2) + "\n");

    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto at = std::upper_bound(records_.begin(), records_.end(), index, [](int value, const Json& other) {
            return value < other["index"].get<int>();
        });
        records_.insert(at, record);
    }
    changed_.notify_all();
    return record;
}

}  // namespace bdx::collector
