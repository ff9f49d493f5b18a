#include <gtest/gtest.h>

#include <dirent.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "foundation/DispatchQueue.h"
#include "foundation/OperationQueue.h"
#include "platform/net/URLConnection.h"
#include "platform/net/URLError.h"
#include "platform/net/URLSession.h"
#include "testing/Collector.h"
#include "testing/TemporaryDirectory.h"
#include "tests/net/NetTestSupport.h"

namespace bdx::net {
namespace {

using bdx::testing::Collector;
using bdx::testing::RecordingDelegate;

// The value of a header the collector recorded, looked up in any case.
std::string recordedHeader(const Value& request, std::string_view name) {
    for (const auto& [key, value] : request["headers"].items()) {
        if (!CaseInsensitiveLess()(key, name) && !CaseInsensitiveLess()(name, key)) {
            return value.get<std::string>();
        }
    }
    return {};
}

Data readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string text(const Data& data) {
    return std::string(data.begin(), data.end());
}

// Threads of this process whose name is `name`, from /proc.
int threadsNamed(const std::string& name) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(entry.path() / "comm");
        std::string line;
        std::getline(comm, line);
        count += line == name ? 1 : 0;
    }
    return count;
}

int threadCount() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                          std::filesystem::directory_iterator()));
}

class URLSessionTransferTest : public ::testing::Test {
  protected:
    void SetUp() override {
        collector = std::make_unique<Collector>();
        delegate = std::make_shared<RecordingDelegate>();
        delegateQueue = DispatchQueue::create("test.session.delegate");
        session = makeSession(URLSessionConfiguration::defaultSessionConfiguration());
    }
    void TearDown() override {
        // Everything started has completed or is cancelled here, so nothing of this test reaches the next.
        session->invalidateAndCancel();
        EXPECT_TRUE(delegate->waitFor([&] { return delegate->invalidated.contains(session.get()); }));
        std::lock_guard lock(delegate->mutex);
        EXPECT_FALSE(delegate->onMainThread) << "a delegate event arrived on the main thread";
        EXPECT_EQ(delegate->labels, std::set<std::string>{"test.session.delegate"});
        for (const auto& [task, count] : delegate->completionsOf) {
            EXPECT_EQ(count, 1) << "task " << task << " completed " << count << " times";
        }
    }

    std::shared_ptr<URLSession> makeSession(const URLSessionConfiguration& configuration) {
        return URLSession::sessionWithConfiguration(configuration, delegate, delegateQueue);
    }

    // Starts a task and waits for its completion.
    RecordingDelegate::Completion run(const std::shared_ptr<URLSessionTask>& task) {
        const std::size_t before = [&] {
            std::lock_guard lock(delegate->mutex);
            return delegate->completions.size();
        }();
        task->resume();
        EXPECT_TRUE(delegate->waitFor([&] { return delegate->completionsOf[task->taskIdentifier()] > 0; }))
            << "task " << task->taskIdentifier() << " did not complete";
        std::lock_guard lock(delegate->mutex);
        EXPECT_GT(delegate->completions.size(), before);
        for (const auto& completion : delegate->completions) {
            if (completion.task == task->taskIdentifier()) {
                return completion;
            }
        }
        return {};
    }

    std::unique_ptr<Collector> collector;
    std::shared_ptr<RecordingDelegate> delegate;
    std::shared_ptr<DispatchQueue> delegateQueue;
    std::shared_ptr<URLSession> session;
};

TEST_F(URLSessionTransferTest, GetCarriesQueryAndHeadersAndGivesStatusFieldsAndBody) {
    auto configuration = URLSessionConfiguration::defaultSessionConfiguration();
    configuration.setHTTPAdditionalHeaders({{"X-Session", "s"}, {"X-Both", "from session"}});
    session->invalidateAndCancel();
    session = makeSession(configuration);

    collector->script(
        "/api/sdk/v3/features",
        Value::array({{{"status", 200}, {"body", "{\"ok\":true}"}, {"headers", {{"X-Reply", "r"}}}}}));
    URLRequest request(collector->baseURL() + "/features?application_token=a%20b&sdk_type=ios");
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    request.setValueForHTTPHeaderField("from request", "x-both");
    const auto completion = run(session->dataTaskWithRequest(request));

    EXPECT_FALSE(completion.error) << completion.error->description();
    auto response = std::dynamic_pointer_cast<const HTTPURLResponse>(completion.response);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->statusCode(), 200);
    EXPECT_EQ(response->valueForHTTPHeaderField("x-reply"), "r");
    EXPECT_EQ(delegate->chunkText(1), "{\"ok\":true}");
    EXPECT_EQ(delegate->responses[1], completion.response)
        << "didReceiveResponse did not hand over the response";

    const Value requests = collector->requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0]["method"], "GET");
    EXPECT_EQ(requests[0]["path"], "/api/sdk/v3/features");
    EXPECT_EQ(requests[0]["raw_query"], "application_token=a%20b&sdk_type=ios");
    EXPECT_EQ(requests[0]["query"], (Value{{"application_token", "a b"}, {"sdk_type", "ios"}}));
    EXPECT_EQ(requests[0]["body_kind"], "empty");
    EXPECT_EQ(recordedHeader(requests[0], "Content-Type"), "application/json");
    EXPECT_EQ(recordedHeader(requests[0], "X-Session"), "s");
    EXPECT_EQ(recordedHeader(requests[0], "X-Both"), "from request");
    EXPECT_EQ(recordedHeader(requests[0], "Expect"), "");
}

TEST_F(URLSessionTransferTest, StatusAndFieldsOfAnyAnswerArriveWithoutError) {
    struct Case {
        int status;
        std::string body;
    };
    const std::vector<Case> cases = {{500, "oops"}, {201, "{}"}, {204, ""}, {404, "missing"}};
    for (const auto& c : cases) {
        collector->script(
            "/api/sdk/v3/sessions",
            Value::array({{{"status", c.status}, {"body", c.body}, {"headers", {{"X-Case", "c"}}}}}));
        URLRequest request(collector->baseURL() + "/sessions");
        request.setHTTPMethod("POST");
        request.setValueForHTTPHeaderField("application/json", "Content-Type");
        auto task = session->uploadTaskWithRequestFromData(request, Data{'{', '}'});
        const auto completion = run(task);
        SCOPED_TRACE(c.status);
        EXPECT_FALSE(completion.error);
        auto response = std::dynamic_pointer_cast<const HTTPURLResponse>(task->response());
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(response->statusCode(), c.status);
        EXPECT_EQ(response->valueForHTTPHeaderField("X-CASE"), "c");
        EXPECT_EQ(delegate->chunkText(task->taskIdentifier()), c.body);
    }
}

TEST_F(URLSessionTransferTest, UploadFromFileArrivesByteForByte) {
    bdx::testing::TemporaryDirectory directory;
    struct Case {
        std::size_t size;
        std::string contentType;
        std::string bodyKind;
    };
    // A JSON body is parsed by the collector; a large one of raw bytes is streamed from disk.
    const std::vector<Case> cases = {
        {0, "application/json", "json"},
        {20u << 20, "application/octet-stream", "other"},
    };
    std::mt19937 random(7);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& c = cases[i];
        SCOPED_TRACE(c.size);
        Data body;
        if (c.contentType == "application/json") {
            const std::string json = R"({"application_token":"t","list":[1,2,3],"text":"\u00e9"})";
            body.assign(json.begin(), json.end());
        } else {
            body.resize(c.size);
            std::generate(body.begin(), body.end(), [&] { return static_cast<std::uint8_t>(random()); });
        }
        const auto path = std::filesystem::path(directory.path()) / ("body" + std::to_string(i));
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(body.data()), body.size());

        URLRequest request(collector->baseURL() + "/uploads");
        request.setHTTPMethod("POST");
        request.setValueForHTTPHeaderField(c.contentType, "Content-Type");
        auto task = session->uploadTaskWithRequestFromFile(request, path.string());
        const auto completion = run(task);
        EXPECT_FALSE(completion.error);
        EXPECT_EQ(task->countOfBytesSent(), static_cast<std::int64_t>(body.size()));
        EXPECT_EQ(task->countOfBytesExpectedToSend(), static_cast<std::int64_t>(body.size()));

        const Value requests = collector->requests();
        ASSERT_EQ(requests.size(), i + 1);
        EXPECT_EQ(requests[i]["method"], "POST");
        EXPECT_EQ(requests[i]["body_kind"], c.bodyKind);
        char folder[32];
        std::snprintf(folder, sizeof folder, "%06zu", i + 1);
        EXPECT_TRUE(readFile(std::filesystem::path(collector->folder()) / folder / "body.bin") == body)
            << "the stored body differs from the file";
    }
    std::lock_guard lock(delegate->mutex);
    EXPECT_EQ(delegate->sent[2], static_cast<std::int64_t>(20u << 20))
        << "upload progress did not reach the end";
}

TEST_F(URLSessionTransferTest, AMissingBodyFileFailsWithoutSending) {
    URLRequest request(collector->baseURL() + "/uploads");
    request.setHTTPMethod("POST");
    const auto completion = run(session->uploadTaskWithRequestFromFile(request, "/nonexistent/body"));
    ASSERT_TRUE(completion.error);
    EXPECT_EQ(completion.error->code(), URLErrorCode::fileDoesNotExist);
    EXPECT_EQ(collector->requests().size(), 0u);
}

TEST_F(URLSessionTransferTest, EachPieceOfABodyIsHandedOverOnItsOwn) {
    collector->script("/api/sdk/v3/sessions",
                      Value::array({{{"status", 200}, {"chunks", {"first ", "second ", "third"}}}}));
    URLRequest request(collector->baseURL() + "/sessions");
    const auto completion = run(session->dataTaskWithRequest(request));
    EXPECT_FALSE(completion.error);
    std::lock_guard lock(delegate->mutex);
    std::vector<std::string> pieces;
    for (const auto& chunk : delegate->chunks[1]) {
        pieces.push_back(text(chunk));
    }
    EXPECT_EQ(pieces, (std::vector<std::string>{"first ", "second ", "third"}));
}

TEST_F(URLSessionTransferTest, ADroppedConnectionIsAnError) {
    for (const std::string method : {"GET", "POST"}) {
        SCOPED_TRACE(method);
        collector->script("/api/sdk/v3/sessions", Value::array({{{"drop", true}}}));
        URLRequest request(collector->baseURL() + "/sessions");
        request.setHTTPMethod(method);
        auto task = method == "GET" ? session->dataTaskWithRequest(request)
                                    : session->uploadTaskWithRequestFromData(request, Data{'{', '}'});
        const auto completion = run(task);
        ASSERT_TRUE(completion.error);
        EXPECT_EQ(completion.error->domain(), Error::URLErrorDomain);
        EXPECT_EQ(completion.error->code(), URLErrorCode::networkConnectionLost);
        EXPECT_EQ(task->response(), nullptr);
    }
}

TEST_F(URLSessionTransferTest, AnAnswerLaterThanTheTimeoutFailsWithATimeout) {
    // The session's interval, and a request's own interval over a session's long one.
    auto shortSession = URLSessionConfiguration::defaultSessionConfiguration();
    shortSession.setTimeoutIntervalForRequest(0.5);
    struct Case {
        URLSessionConfiguration configuration;
        double requestTimeout;
    };
    const std::vector<Case> cases = {{shortSession, 0},
                                     {URLSessionConfiguration::defaultSessionConfiguration(), 0.5}};
    for (const auto& c : cases) {
        collector->script("/api/sdk/v3/sessions",
                          Value::array({{{"status", 200}, {"body", "{}"}, {"delay_ms", 10000}}}));
        auto timedDelegate = std::make_shared<RecordingDelegate>();
        URLRequest request(collector->baseURL() + "/sessions");
        if (c.requestTimeout > 0) {
            request.setTimeoutInterval(c.requestTimeout);
        }
        // The session is let go at once: its running task keeps it alive.
        URLSession::sessionWithConfiguration(c.configuration, timedDelegate)
            ->dataTaskWithRequest(request)
            ->resume();
        ASSERT_TRUE(timedDelegate->waitForCompletions(1));
        std::lock_guard lock(timedDelegate->mutex);
        const auto& error = timedDelegate->completions[0].error;
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code(), URLErrorCode::timedOut);
        EXPECT_EQ(error->localizedDescription(), "The request timed out.");
    }
}

TEST_F(URLSessionTransferTest, WaitingForAFreeConnectionDoesNotCountAsIdle) {
    // Every connection the host allows is held by a slow answer; the next task waits its turn for
    // longer than its own timeout, and then goes through.
    const int limit = URLSessionConfiguration::DefaultHTTPMaximumConnectionsPerHost;
    Value slow = Value::array();
    for (int i = 0; i < limit; ++i) {
        slow.push_back({{"status", 200}, {"body", "{}"}, {"delay_ms", 2500}});
    }
    collector->script("/api/sdk/v3/slow", slow);
    for (int i = 0; i < limit; ++i) {
        session->dataTaskWithRequest(URLRequest(collector->baseURL() + "/slow"))->resume();
    }
    ASSERT_TRUE(collector->waitForRequests(limit));
    URLRequest waiting(collector->baseURL() + "/fast");
    waiting.setTimeoutInterval(1.0);
    auto task = session->dataTaskWithRequest(waiting);
    task->resume();
    ASSERT_TRUE(delegate->waitForCompletions(limit + 1));
    std::lock_guard lock(delegate->mutex);
    for (const auto& completion : delegate->completions) {
        EXPECT_FALSE(completion.error)
            << "task " << completion.task << ": " << completion.error->description();
    }
}

TEST_F(URLSessionTransferTest, CancelStopsARunningTransferFromAnyThread) {
    collector->script("/api/sdk/v3/sessions",
                      Value::array({{{"status", 200}, {"body", "{}"}, {"delay_ms", 10000}}}));
    auto task = session->dataTaskWithRequest(URLRequest(collector->baseURL() + "/sessions"));
    task->resume();
    ASSERT_TRUE(collector->waitForRequests(1));
    std::thread([task] { task->cancel(); }).join();
    ASSERT_TRUE(delegate->waitForCompletions(1));
    std::lock_guard lock(delegate->mutex);
    ASSERT_TRUE(delegate->completions[0].error);
    EXPECT_EQ(delegate->completions[0].error->code(), URLErrorCode::cancelled);
    EXPECT_EQ(task->state(), URLSessionTaskState::Completed);
}

TEST_F(URLSessionTransferTest, AHundredTasksAtOnceRunOnTheOneTransferThread) {
    run(session->dataTaskWithRequest(URLRequest(collector->baseURL() + "/sessions")));  // warm up
    const int before = threadCount();
    constexpr int kTasks = 100;
    std::vector<std::shared_ptr<URLSessionDataTask>> tasks;
    for (int i = 0; i < kTasks; ++i) {
        URLRequest request(collector->baseURL() + "/sessions?n=" + std::to_string(i));
        request.setHTTPMethod("POST");
        tasks.push_back(session->uploadTaskWithRequestFromData(request, Data{'{', '}'}));
    }
    for (auto& task : tasks) {
        task->resume();
    }
    ASSERT_TRUE(delegate->waitForCompletions(kTasks + 1, 60));
    // A thread per request would add a hundred; the delegate queue's workers are a few at most.
    EXPECT_LT(threadCount() - before, 10);
    EXPECT_EQ(threadsNamed("bdx-transfer"), 1);
    std::lock_guard lock(delegate->mutex);
    for (const auto& completion : delegate->completions) {
        EXPECT_FALSE(completion.error);
        auto response = std::dynamic_pointer_cast<const HTTPURLResponse>(completion.response);
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(response->statusCode(), 200);
    }
    EXPECT_EQ(collector->requests().size(), static_cast<std::size_t>(kTasks + 1));
}

TEST_F(URLSessionTransferTest, OneShotLoadsGiveTheWholeBodyToTheirHandler) {
    collector->script("/api/sdk/v3/assets/b.png",
                      Value::array({{{"status", 200}, {"chunks", {"ab", "cd"}}}}));
    struct Result {
        std::mutex mutex;
        std::condition_variable done;
        int calls = 0;
        std::optional<Data> data;
        long status = 0;
    } result;
    auto operations = std::make_shared<OperationQueue>();
    URLConnection::sendAsynchronousRequest(URLRequest(collector->baseURL() + "/assets/b.png?x=1"), operations,
                                           [&](std::shared_ptr<const URLResponse> response,
                                               std::optional<Data> data, std::optional<Error> error) {
                                               std::lock_guard lock(result.mutex);
                                               ++result.calls;
                                               result.data = std::move(data);
                                               auto http =
                                                   std::dynamic_pointer_cast<const HTTPURLResponse>(response);
                                               result.status = http && !error ? http->statusCode() : -1;
                                               result.done.notify_all();
                                           });
    std::unique_lock lock(result.mutex);
    ASSERT_TRUE(result.done.wait_for(lock, std::chrono::seconds(20), [&] { return result.calls > 0; }));
    EXPECT_EQ(result.status, 200);
    ASSERT_TRUE(result.data);
    EXPECT_EQ(text(*result.data), "abcd");
    operations->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(result.calls, 1);
    std::lock_guard delegateLock(delegate->mutex);
    EXPECT_TRUE(delegate->chunks.empty());
}

// TLS against the collector with a certificate made for the test.
class URLSessionTLSTest : public ::testing::Test {
  protected:
    static std::string makeCertificate(const std::string& folder, const std::string& name) {
        const std::string command =
            "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1"
            " -addext subjectAltName=IP:127.0.0.1 -keyout " +
            folder + "/" + name + ".key -out " + folder + "/" + name + ".pem 2>/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return folder + "/" + name;
    }
};

TEST_F(URLSessionTLSTest, ASelfSignedServiceIsRefusedUntilItsAuthorityIsInstalled) {
    bdx::testing::TemporaryDirectory directory;
    const std::string service = makeCertificate(directory.path(), "service");
    const std::string stranger = makeCertificate(directory.path(), "stranger");
    Collector::Options options;
    options.certificate = service + ".pem";
    options.privateKey = service + ".key";
    Collector collector(options);
    ASSERT_EQ(collector.baseURL().rfind("https://", 0), 0u);

    struct Case {
        std::string name;
        std::string sessionAuthority;
        std::string processAuthority;
        std::int64_t expectedError;  // 0: the request goes through
    };
    const std::vector<Case> cases = {
        {"system authorities only", "", "", URLErrorCode::serverCertificateUntrusted},
        {"another authority", stranger + ".pem", "", URLErrorCode::serverCertificateUntrusted},
        {"an unreadable authority file", (directory.path() / "missing.pem").string(), "",
         URLErrorCode::secureConnectionFailed},
        {"the service's authority on the session", service + ".pem", "", 0},
        {"the service's authority for the process", "", service + ".pem", 0},
    };
    const std::string savedDefault = URLSessionConfiguration::defaultTrustedCertificateAuthorityFile();
    std::size_t expectedRequests = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        URLSessionConfiguration::setDefaultTrustedCertificateAuthorityFile(c.processAuthority);
        auto configuration = URLSessionConfiguration::defaultSessionConfiguration();
        configuration.setTrustedCertificateAuthorityFile(c.sessionAuthority);
        auto delegate = std::make_shared<RecordingDelegate>();
        auto session = URLSession::sessionWithConfiguration(configuration, delegate);
        session->dataTaskWithRequest(URLRequest(collector.baseURL() + "/features"))->resume();
        ASSERT_TRUE(delegate->waitForCompletions(1));
        session->finishTasksAndInvalidate();
        std::lock_guard lock(delegate->mutex);
        const auto& completion = delegate->completions[0];
        if (c.expectedError == 0) {
            EXPECT_FALSE(completion.error) << completion.error->description();
            ++expectedRequests;
        } else {
            ASSERT_TRUE(completion.error);
            EXPECT_EQ(completion.error->code(), c.expectedError) << completion.error->description();
        }
        EXPECT_EQ(collector.requests().size(), expectedRequests);
    }
    URLSessionConfiguration::setDefaultTrustedCertificateAuthorityFile(savedDefault);
}

}  // namespace
}  // namespace bdx::net
