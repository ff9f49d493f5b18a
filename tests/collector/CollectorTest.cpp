// The reference collector driven over real HTTP with libcurl, as the library and a developer meet it.

#include "testing/Collector.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "archives/BDXGZIP.h"
#include "testing/FileContents.h"
#include "testing/TemporaryDirectory.h"

extern char** environ;

namespace {

using bdx::Value;
using bdx::testing::Collector;
using bdx::testing::readFile;

const std::string kBoundary = "---------------------------14737809831466499882746641449";

struct Exchange {
    CURLcode result = CURLE_OK;
    long status = 0;
    std::string body;
    std::vector<std::string> pieces;  // the body as libcurl handed it over, one entry per delivery
};

size_t collectPiece(char* data, size_t size, size_t count, void* into) {
    auto* exchange = static_cast<Exchange*>(into);
    exchange->pieces.emplace_back(data, size * count);
    exchange->body.append(data, size * count);
    return size * count;
}

// `caFile`: the certificate to trust for HTTPS; empty: the system's store.
Exchange perform(const std::string& method, const std::string& url, const std::string& body = "",
                 const std::vector<std::string>& headers = {}, const std::string& caFile = "") {
    Exchange exchange;
    CURL* curl = curl_easy_init();
    curl_slist* list = nullptr;
    for (const auto& header : headers) {
        list = curl_slist_append(list, header.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    if (method != "GET") {  // with a Content-Length, as every client sends it, even when it is 0
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collectPiece);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    if (!caFile.empty()) {
        curl_easy_setopt(curl, CURLOPT_CAINFO, caFile.c_str());
    }
    exchange.result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &exchange.status);
    curl_slist_free_all(list);
    curl_easy_cleanup(curl);
    return exchange;
}

std::string gzip(const std::string& bytes) {
    auto compressed = bdx_dataByGZipCompressingWithError(bdx::Data(bytes.begin(), bytes.end()));
    EXPECT_TRUE(compressed.has_value());
    return compressed ? std::string(compressed->begin(), compressed->end()) : std::string();
}

// The layout the library writes for a file upload: fields, then the file part, then the closing line.
std::string multipartBody(const std::vector<std::pair<std::string, std::string>>& fields,
                          const std::string& filename, const std::string& type, const std::string& content) {
    std::string body;
    for (const auto& [name, value] : fields) {
        body += "\r\n--" + kBoundary + "\r\n";
        body += "Content-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value;
    }
    body += "\r\n--" + kBoundary + "\r\n";
    body += "Content-Disposition: form-data; name=\"file\"; filename=\"" + filename + "\"\r\n";
    body += "Content-Type: " + type + "\r\n\r\n";
    body += content;
    body += "\r\n--" + kBoundary + "--\r\n";
    return body;
}

// A POST as the library sends JSON: compact JSON, gzip-compressed, with its two headers.
Exchange postJson(const Collector& collector, const std::string& path, const std::string& json) {
    return perform("POST", collector.baseURL() + path, gzip(json),
                   {"Content-Type: application/json", "Content-Encoding: gzip"});
}

TEST(CollectorStorage, GzipJsonPostIsStoredDecodedInItsOwnFolder) {
    Collector collector;
    const std::string payload = R"({"zeta":1,"alpha":"é","list":[true,null]})";
    auto reply = (postJson(collector, "/sessions", payload));
    ASSERT_EQ(reply.result, CURLE_OK);
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "{}");

    auto records = collector.requests();
    ASSERT_EQ(records.size(), 1u);
    const auto& record = records[0];
    EXPECT_EQ(record["index"], 1);
    EXPECT_EQ(record["method"], "POST");
    EXPECT_EQ(record["path"], "/api/sdk/v3/sessions");
    EXPECT_EQ(record["content_encoding"], "gzip");
    EXPECT_EQ(record["headers"]["Content-Type"], "application/json");
    EXPECT_EQ(record["headers"]["Content-Encoding"], "gzip");
    EXPECT_EQ(record["body_kind"], "json");
    // Parsed with the key order of the wire, so a test can check the order a payload was built in.
    EXPECT_EQ(record["json"].dump(), payload);
    EXPECT_EQ(record["status"], 200);
    EXPECT_TRUE(record["error"].is_null());

    const std::string folder = collector.folder() + "/000001";
    EXPECT_EQ(record["folder"], folder);
    EXPECT_EQ(readFile(folder + "/body.bin"), payload);
    EXPECT_EQ(readFile(folder + "/body.raw"), gzip(payload));
    EXPECT_EQ(Value::parse(readFile(folder + "/request.json")), record);
}

TEST(CollectorStorage, GzipMultipartIsSplitIntoFieldsAndAStoredFile) {
    Collector collector;
    const std::string file("\xff\xd8\xff\x00 binary\r\n--not a boundary\r\n\x00\x01", 30);
    const std::string body = multipartBody({{"metadata[file_type]", "image"}, {"metadata[name]", "shot 1"}},
                                           "screenshot.jpg", "image/jpeg", file);
    auto reply =
        perform("POST", collector.baseURL() + "/attachments", gzip(body),
                {"Content-Type: multipart/form-data; boundary=" + kBoundary, "Content-Encoding: gzip"});
    ASSERT_EQ(reply.result, CURLE_OK);
    EXPECT_EQ(reply.status, 200);

    auto record = collector.requests()[0];
    EXPECT_EQ(record["body_kind"], "multipart");
    EXPECT_TRUE(record["error"].is_null());
    EXPECT_EQ(record["fields"], Value::parse(R"({"metadata[file_type]":"image","metadata[name]":"shot 1"})"));
    ASSERT_EQ(record["parts"].size(), 3u);
    const auto& part = record["parts"][2];
    EXPECT_EQ(part["name"], "file");
    EXPECT_EQ(part["filename"], "screenshot.jpg");
    EXPECT_EQ(part["content_type"], "image/jpeg");
    EXPECT_EQ(part["size"], file.size());
    EXPECT_EQ(part["file"], collector.folder() + "/000001/screenshot.jpg");
    EXPECT_EQ(readFile(part["file"]), file);
    EXPECT_EQ(readFile(collector.folder() + "/000001/body.bin"), body);
}

TEST(CollectorStorage, QueryIsDecodedAndKeptRaw) {
    Collector collector;
    auto reply =
        perform("GET", collector.baseURL() + "/features?application_token=a%20b%2Bc&sdk_type=ios&e=%26%3D",
                "", {"Content-Type: application/json", "Content-Encoding: gzip"});
    ASSERT_EQ(reply.result, CURLE_OK);
    EXPECT_EQ(reply.body, "{}");
    auto record = collector.requests()[0];
    EXPECT_EQ(record["query"], Value::parse(R"({"application_token":"a b+c","sdk_type":"ios","e":"&="})"));
    EXPECT_EQ(record["raw_query"], "application_token=a%20b%2Bc&sdk_type=ios&e=%26%3D");
    // A GET announces gzip but carries nothing: that is no error.
    EXPECT_EQ(record["body_kind"], "empty");
    EXPECT_TRUE(record["error"].is_null());
}

TEST(CollectorStorage, MalformedBodiesAreRefusedWithTheReasonAndKept) {
    const std::string goodMultipart = multipartBody({{"a", "1"}}, "f.txt", "text/plain", "text");
    const std::string fieldsOnly = "\r\n--" + kBoundary +
                                   "\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1" + "\r\n--" +
                                   kBoundary + "--\r\n";
    std::string noFileType = goodMultipart;
    noFileType.replace(noFileType.find("Content-Type: text/plain\r\n"), 26, "");
    const std::string json = "application/json";
    const std::string multipart = "multipart/form-data; boundary=" + kBoundary;
    struct Case {
        const char* what;
        std::string contentType;
        std::string encoding;
        std::string body;  // as sent
        const char* reason;
    } cases[] = {
        {"JSON cut short", json, "gzip", gzip(R"({"a":)"), "json:"},
        {"JSON with a trailing value", json, "gzip", gzip(R"({"a":1} {})"), "json:"},
        {"not gzip at all", json, "gzip", R"({"a":1})", "not a valid gzip stream"},
        {"gzip cut short", json, "gzip", gzip(R"({"a":1})").substr(0, 12), "cut short"},
        {"bytes after the gzip stream", json, "gzip", gzip(R"({"a":1})") + "xx", "follow the end"},
        {"an encoding nobody undoes", json, "br", R"({"a":1})", "unsupported Content-Encoding"},
        {"another boundary", "multipart/form-data; boundary=xyz", "gzip", gzip(goodMultipart),
         "unexpected boundary"},
        {"no line break before the first boundary", multipart, "gzip", gzip(goodMultipart.substr(2)),
         "does not begin"},
        {"fields without a file", multipart, "gzip", gzip(fieldsOnly), "without a file part"},
        {"a file part without its type", multipart, "gzip", gzip(noFileType), "Content-Type"},
        {"no closing line", multipart, "gzip", gzip(goodMultipart.substr(0, goodMultipart.size() - 2)),
         "does not end"},
    };
    Collector collector;
    collector.script("/api/sdk/v3/sessions", Value::parse(R"([{"status": 503}])"));
    int index = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ++index;
        auto reply = perform("POST", collector.baseURL() + "/sessions", c.body,
                             {"Content-Type: " + c.contentType, "Content-Encoding: " + c.encoding});
        ASSERT_EQ(reply.result, CURLE_OK);
        EXPECT_EQ(reply.status, 400);
        auto record = collector.requests()[index - 1];
        EXPECT_EQ(record["status"], 400);
        ASSERT_TRUE(record["error"].is_string());
        EXPECT_NE(record["error"].get<std::string>().find(c.reason), std::string::npos) << record["error"];
        EXPECT_EQ(Value::parse(reply.body)["error"], record["error"]);
        EXPECT_EQ(record["raw_size"], c.body.size());
        EXPECT_TRUE(std::filesystem::exists(record["folder"].get<std::string>() + "/body.bin"));
    }
    // A refused body does not use up the script: the next sound request gets the scripted answer.
    EXPECT_EQ((postJson(collector, "/sessions", "{}")).status, 503);
}

TEST(CollectorAnswers, ReportPathsAnswerWithTheirIndexAsIdAndOtherPathsWithAnEmptyObject) {
    Collector collector;
    struct Case {
        std::string method, path;
        long status;
        std::string body;
    } cases[] = {
        {"POST", "/api/sdk/v3/sessions", 200, "{}"},
        {"POST", "/api/sdk/v3/crashes", 200, R"({"id":"2"})"},
        {"POST", "/api/sdk/v3/bugs", 200, R"({"id":"3"})"},
        {"POST", "/api/sdk/v3/feedbacks", 200, R"({"id":"4"})"},
        {"POST", "/api/sdk/v3/crashes/2/state_logs", 200, "{}"},
        {"GET", "/api/sdk/latest_version", 200, "{}"},
        {"PUT", "/api/sdk/v3/migrate_uuid", 200, "{}"},
        {"DELETE", "/api/sdk/v3/push_token", 200, "{}"},
        {"POST", "/api/sdk/v2/sessions", 404, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.method + " " + c.path);
        auto reply = perform(c.method, collector.rootURL() + c.path, "", {});
        ASSERT_EQ(reply.result, CURLE_OK);
        EXPECT_EQ(reply.status, c.status);
        if (c.status == 200) {
            EXPECT_EQ(reply.body, c.body);
        }
    }
    // Requests off the service's paths are stored too: a wrong address is a fault worth seeing.
    auto records = collector.requests();
    ASSERT_EQ(records.size(), std::size(cases));
    EXPECT_EQ(records.back()["path"], "/api/sdk/v2/sessions");
    EXPECT_EQ(records.back()["status"], 404);
}

TEST(CollectorScript, QueuedAnswersComeInOrderThenTheDefault) {
    Collector collector;
    collector.script("/api/sdk/v3/sessions", Value::parse(R"([{"status": 500, "body": "down"},
                                      {"status": 201, "body": {"made": true}, "headers": {"X-Note": "one"}},
                                      {"status": 200, "body": ""}])"),
                     "POST");
    collector.script("/api/sdk/v3/sessions", Value::parse(R"([{"status": 204}])"), "GET");

    // The GET queue is apart from the POST one.
    auto get = perform("GET", collector.baseURL() + "/sessions", "", {});
    EXPECT_EQ(get.status, 204);

    auto first = (postJson(collector, "/sessions", "{}"));
    EXPECT_EQ(first.status, 500);
    EXPECT_EQ(first.body, "down");
    auto second = (postJson(collector, "/sessions", "{}"));
    EXPECT_EQ(second.status, 201);
    EXPECT_EQ(second.body, R"({"made":true})");
    auto third = (postJson(collector, "/sessions", "{}"));
    EXPECT_EQ(third.status, 200);
    EXPECT_EQ(third.body, "");
    auto fourth = (postJson(collector, "/sessions", "{}"));
    EXPECT_EQ(fourth.status, 200);
    EXPECT_EQ(fourth.body, "{}");

    std::vector<int> stored;
    for (const auto& record : collector.requests()) {
        stored.push_back(record["status"]);
    }
    EXPECT_EQ(stored, (std::vector<int>{204, 500, 201, 200, 200}));
}

TEST(CollectorScript, ScriptedHeadersReachTheClient) {
    Collector collector;
    collector.script(
        "/api/sdk/v3/features",
        Value::parse(R"([{"body": "plain", "headers": {"Content-Type": "text/plain", "X-Note": "on"}}])"));
    CURL* curl = curl_easy_init();
    std::string headers;
    curl_easy_setopt(curl, CURLOPT_URL, (collector.baseURL() + "/features").c_str());
    curl_easy_setopt(
        curl, CURLOPT_HEADERFUNCTION, +[](char* data, size_t size, size_t count, void* into) {
            static_cast<std::string*>(into)->append(data, size * count);
            return size * count;
        });
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &headers);
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char*, size_t size, size_t count, void*) { return size * count; });
    ASSERT_EQ(curl_easy_perform(curl), CURLE_OK);
    curl_easy_cleanup(curl);
    EXPECT_NE(headers.find("Content-Type: text/plain\r\n"), std::string::npos) << headers;
    EXPECT_NE(headers.find("X-Note: on\r\n"), std::string::npos) << headers;
}

TEST(CollectorScript, NoContentAnswersLeaveTheConnectionFitForTheNextRequest) {
    Collector collector;
    collector.script("/api/sdk/v3/sessions", Value::parse(R"([{"status": 204, "body": "not sent"}])"));
    CURL* curl = curl_easy_init();
    Exchange first, second;
    curl_easy_setopt(curl, CURLOPT_URL, (collector.baseURL() + "/sessions").c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collectPiece);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &first);
    ASSERT_EQ(curl_easy_perform(curl), CURLE_OK);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &second);
    ASSERT_EQ(curl_easy_perform(curl), CURLE_OK);
    long newConnections = -1;
    curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &newConnections);
    curl_easy_cleanup(curl);
    EXPECT_EQ(first.body, "");
    EXPECT_EQ(newConnections, 0);  // the second request went over the first one's connection
    EXPECT_EQ(second.body, "{}");
}

TEST(CollectorScript, ADroppedConnectionGivesNoAnswerAtAll) {
    Collector collector;
    collector.script("/api/sdk/v3/sessions", Value::parse(R"([{"drop": true}])"));
    auto dropped = (postJson(collector, "/sessions", "{}"));
    EXPECT_EQ(dropped.result, CURLE_GOT_NOTHING);
    EXPECT_EQ(dropped.status, 0);
    EXPECT_EQ((postJson(collector, "/sessions", "{}")).status, 200);

    auto records = collector.requests();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_TRUE(records[0]["dropped"].get<bool>());
    EXPECT_EQ(records[0]["status"], 0);
    EXPECT_FALSE(records[1]["dropped"].get<bool>());
}

TEST(CollectorScript, ChunksArriveOneByOne) {
    Collector collector;
    collector.script("/api/sdk/v3/features", Value::parse(R"([{"chunks": ["{\"a\":", "1,", "\"b\":2}"]}])"));
    auto reply = perform("GET", collector.baseURL() + "/features", "", {});
    ASSERT_EQ(reply.result, CURLE_OK);
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.pieces, (std::vector<std::string>{"{\"a\":", "1,", "\"b\":2}"}));
}

TEST(CollectorScript, ADelayHoldsTheAnswerBack) {
    Collector collector;
    collector.script("/api/sdk/v3/sessions", Value::parse(R"([{"delay_ms": 400, "status": 500}])"));
    const auto start = std::chrono::steady_clock::now();
    auto reply = (postJson(collector, "/sessions", "{}"));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(reply.status, 500);
    EXPECT_GE(elapsed, std::chrono::milliseconds(400));
}

TEST(CollectorScript, MalformedScriptsAreRefusedWhole) {
    Collector collector;
    const char* refused[] = {
        R"([{"status": 99}])",        R"([{"stauts": 500}])",
        R"([{"chunks": ["a", ""]}])", R"([{"chunks": ["a"], "body": "b"}])",
        R"([{"delay_ms": -1}])",      R"([{"drop": "yes"}])",
        R"([{"headers": {"X": 1}}])", R"({"status": 500})",
    };
    for (const char* responses : refused) {
        SCOPED_TRACE(responses);
        EXPECT_THROW(collector.script("/api/sdk/v3/sessions", Value::parse(responses)), std::runtime_error);
    }
    EXPECT_THROW(collector.script("api/sdk/v3/sessions", Value::parse(R"([{"status": 500}])")),
                 std::runtime_error);
    EXPECT_EQ((postJson(collector, "/sessions", "{}")).status, 200);
}

TEST(CollectorScript, AScriptFileIsReadAtStartAndResetDropsScriptsAndRequests) {
    bdx::testing::TemporaryDirectory scratch;
    const auto scriptFile = scratch.path() / "script.json";
    std::ofstream(scriptFile)
        << R"([{"path": "/api/sdk/v3/sessions", "responses": [{"status": 500}, {"status": 502}]}])";
    Collector::Options options;
    options.script = scriptFile;
    Collector collector(options);
    EXPECT_EQ((postJson(collector, "/sessions", "{}")).status, 500);

    collector.reset();
    EXPECT_EQ((postJson(collector, "/sessions", "{}")).status, 200);
    EXPECT_EQ(collector.requests().size(), 2u);

    collector.reset(true);
    EXPECT_TRUE(collector.requests().empty());
    EXPECT_FALSE(std::filesystem::exists(collector.folder() + "/000001"));
    (postJson(collector, "/crashes", "{}"));
    EXPECT_EQ(collector.requests()[0]["index"], 1);
}

TEST(CollectorProcess, ConcurrentRequestsAreEachStoredOnce) {
    Collector collector;
    constexpr int kCount = 40;
    CURLM* multi = curl_multi_init();
    std::vector<Exchange> exchanges(kCount);
    std::vector<std::string> bodies(kCount);
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    headers = curl_slist_append(headers, "Content-Encoding: gzip");
    std::vector<CURL*> handles;
    for (int i = 0; i < kCount; ++i) {
        bodies[i] = gzip(R"({"n":)" + std::to_string(i) + "}");
        CURL* curl = curl_easy_init();
        curl_easy_setopt(curl, CURLOPT_URL, (collector.baseURL() + "/sessions").c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, bodies[i].data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(bodies[i].size()));
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collectPiece);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &exchanges[i]);
        curl_multi_add_handle(multi, curl);
        handles.push_back(curl);
    }
    int running = 0;
    do {
        curl_multi_perform(multi, &running);
        curl_multi_poll(multi, nullptr, 0, 50, nullptr);
    } while (running > 0);
    for (CURL* curl : handles) {
        curl_multi_remove_handle(multi, curl);
        curl_easy_cleanup(curl);
    }
    curl_multi_cleanup(multi);
    curl_slist_free_all(headers);

    auto records = collector.requests();
    ASSERT_EQ(records.size(), static_cast<size_t>(kCount));
    std::set<int> numbers;
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(records[i]["index"], i + 1);
        numbers.insert(records[i]["json"]["n"].get<int>());
        EXPECT_EQ(Value::parse(readFile(records[i]["folder"].get<std::string>() + "/request.json")),
                  records[i]);
    }
    EXPECT_EQ(numbers.size(), static_cast<size_t>(kCount));
    EXPECT_EQ(collector.outputLines(kCount).size(), static_cast<size_t>(kCount));
}

TEST(CollectorProcess, PrintsOneLinePerRequestAndStopsCleanlyWhileAnAnswerIsHeldBack) {
    Collector collector;
    (postJson(collector, "/sessions", R"({"a":1})"));
    auto lines = collector.outputLines(1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("000001 POST /api/sdk/v3/sessions -> 200 (received ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find("body 7 bytes"), std::string::npos) << lines[0];

    collector.script("/api/sdk/v3/features", Value::parse(R"([{"delay_ms": 600000}])"));
    Exchange held;
    std::thread client([&] { held = perform("GET", collector.baseURL() + "/features", "", {}); });
    ASSERT_TRUE(collector.waitForRequests(2));
    EXPECT_EQ(collector.stop(), 0);
    client.join();
    EXPECT_NE(held.result, CURLE_OK);
}

TEST(CollectorProcess, ACollectorThatCannotServeRefusesToStart) {
    Collector first;
    Collector::Options samePort;
    samePort.port = first.port();
    EXPECT_THROW(Collector{samePort}, std::runtime_error);

    Collector::Options missingCertificate;
    missingCertificate.certificate = "/nonexistent/cert.pem";
    missingCertificate.privateKey = "/nonexistent/key.pem";
    EXPECT_THROW(Collector{missingCertificate}, std::runtime_error);

    // The first one is untouched by the attempts.
    EXPECT_EQ(postJson(first, "/sessions", "{}").status, 200);
}

TEST(CollectorProcess, WaitingForRequestsEndsWhenTheyArriveOrTheTimeRunsOut) {
    Collector collector;
    EXPECT_FALSE(collector.waitForRequests(1, 0.2));
    std::thread client([&] { (postJson(collector, "/sessions", "{}")); });
    EXPECT_TRUE(collector.waitForRequests(1, 30));
    client.join();
}

// Runs a command to its end with its output discarded; its exit status.
int run(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        return -1;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(CollectorTLS, ASelfSignedCollectorIsTrustedOnlyByAClientGivenItsCertificate) {
    bdx::testing::TemporaryDirectory scratch;
    const std::string certificate = (scratch.path() / "cert.pem").string();
    const std::string key = (scratch.path() / "key.pem").string();
    ASSERT_EQ(run({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                   "-nodes", "-keyout", key, "-out", certificate, "-days", "2", "-subj", "/CN=127.0.0.1",
                   "-addext", "subjectAltName=IP:127.0.0.1"}),
              0);
    Collector::Options options;
    options.certificate = certificate;
    options.privateKey = key;
    Collector collector(options);
    EXPECT_EQ(collector.baseURL(), "https://127.0.0.1:" + std::to_string(collector.port()) + "/api/sdk/v3");

    const std::vector<std::string> headers = {"Content-Type: application/json", "Content-Encoding: gzip"};
    auto refused = perform("POST", collector.baseURL() + "/sessions", gzip(R"({"n":1})"), headers);
    EXPECT_EQ(refused.result, CURLE_PEER_FAILED_VERIFICATION);
    auto accepted =
        perform("POST", collector.baseURL() + "/sessions", gzip(R"({"n":2})"), headers, certificate);
    ASSERT_EQ(accepted.result, CURLE_OK);
    EXPECT_EQ(accepted.status, 200);

    // The refused handshake never became a request.
    auto records = collector.requests();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0]["json"], Value::parse(R"({"n":2})"));
}

}  // namespace
