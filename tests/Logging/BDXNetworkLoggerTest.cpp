// The network log: which exchanges are recorded, what a record holds, the host's obfuscation callbacks,
// the size rule, the purge count, loading the session's records and clearing earlier sessions.

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXNetworkLogCategories.h"
#include "Logging/BDXNetworkLogger.h"
#include "foundation/SingletonReset.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXNetworkLog.h"
#include "platform/net/URLError.h"
#include "platform/store/ManagedObjectContext.h"
#include "tests/Logging/LoggingTestSupport.h"
#include "tests/Logging/NetworkLogTestSupport.h"

namespace {

using bdx::Data;
using bdx::net::HTTPURLResponse;
using bdx::net::URLRequest;
using bdx::store::ManagedObjectContext;
using bdx::testing::bytes;
using bdx::testing::httpResponse;

const std::string kURL = "https://api.example.com/v1/orders?page=2";

URLRequest postRequest(const std::string& url = kURL) {
    URLRequest request(url);
    request.setHTTPMethod("POST");
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    return request;
}

// Every row of every session, oldest first, as "<session>|<url>", writes still queued included.
std::vector<std::string> allRows() {
    std::vector<std::string> rows;
    BDXNetworkLogger::dataLayerService()->readSync(
        [&rows](const std::shared_ptr<ManagedObjectContext>& context) {
            auto request = BDXNetworkLog::fetchRequest();
            request.sortDescriptors = {{"date", true}};
            for (const auto& row : context->executeFetchRequest(request)) {
                auto log = std::dynamic_pointer_cast<BDXNetworkLog>(row);
                rows.push_back(log->sessionId().value_or("") + "|" + log->url().value_or(""));
            }
        });
    return rows;
}

// Rows written straight into the store, dated before anything the test logs.
void insertRows(int count, const std::string& sessionId, const std::string& prefix) {
    BDXNetworkLogger::dataLayerService()->writeSync(
        [&](const std::shared_ptr<ManagedObjectContext>& context) {
            for (int index = 0; index < count; ++index) {
                auto log = std::dynamic_pointer_cast<BDXNetworkLog>(
                    context->insertNewObjectForEntityForName(BDXNetworkLog::entityName()));
                log->saveRequest(URLRequest(prefix + std::to_string(index)), std::nullopt, sessionId, 1,
                                 bdx::Date(1000.0 + index));
            }
        });
}

class NetworkLogger : public ::testing::Test {
  protected:
    void SetUp() override {
        clock = bdx::testing::installVirtualClock();
        bdx::testing::openStore();
        logger = BDXNetworkLogger::init();
    }

    // Saves one exchange and waits until it is stored (or turned away); the completion must run once.
    void save(const URLRequest& request, const std::optional<Data>& body,
              const std::shared_ptr<const bdx::net::URLResponse>& response, const std::optional<Data>& data,
              const std::optional<bdx::Error>& error = std::nullopt, double duration = 12.5) {
        int completions = 0;
        logger->saveLogWithRequest(request, body, response, data, error, duration,
                                   [&completions] { ++completions; });
        bdx::testing::waitUntilIdle();
        EXPECT_EQ(1, completions);
    }
    bdx::Value records() { return logger->loadLogsSynchronously(); }

    std::shared_ptr<bdx::testing::VirtualClock> clock;
    std::shared_ptr<BDXNetworkLogger> logger;
};

TEST_F(NetworkLogger, TheContentTypeOfTheResponseDecidesWhetherTheExchangeIsRecorded) {
    struct Case {
        std::optional<std::string> contentType;
        BDXNetworkLogContentType type;
        bool recorded;
    };
    const std::vector<Case> cases{
        {"application/json", BDXNetworkLogContentTypeJSON, true},
        {"application/json; charset=utf-8", BDXNetworkLogContentTypeJSON, true},
        {"application/json;charset=utf-8", BDXNetworkLogContentTypeJSON, true},
        {"Application/JSON", BDXNetworkLogContentTypeOther, false},
        {" application/json", BDXNetworkLogContentTypeOther, false},
        {"application/xml", BDXNetworkLogContentTypeXML, true},
        {"text/xml", BDXNetworkLogContentTypeXML, true},
        {"text/html; charset=iso-8859-1", BDXNetworkLogContentTypeHTML, true},
        {"text/plain", BDXNetworkLogContentTypeText, true},
        {"image/png", BDXNetworkLogContentTypeOther, false},
        {"application/octet-stream", BDXNetworkLogContentTypeOther, false},
        {std::nullopt, BDXNetworkLogContentTypeNone, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.contentType.value_or("(no Content-Type)"));
        logger->clearAllLogs();
        const auto response = httpResponse(kURL, c.contentType);
        EXPECT_EQ(c.type, bdx_contentType(response));
        save(postRequest(), bytes(R"({"a":1})"), response, bytes(R"({"ok":true})"));
        EXPECT_EQ(c.recorded ? 1u : 0u, records().size());
    }
    // A response that did not come over HTTP is "other"; no response at all is "none" and is recorded.
    logger->clearAllLogs();
    auto plain =
        std::make_shared<const bdx::net::URLResponse>("file:///tmp/a.json", "application/json", 2, "");
    EXPECT_EQ(BDXNetworkLogContentTypeOther, bdx_contentType(plain));
    save(postRequest(), std::nullopt, plain, bytes("{}"));
    EXPECT_EQ(0u, records().size());
    EXPECT_EQ(BDXNetworkLogContentTypeNone, bdx_contentType(nullptr));
    save(postRequest(), std::nullopt, nullptr, std::nullopt, bdx::Error("NSURLErrorDomain", -1004));
    EXPECT_EQ(1u, records().size());
    EXPECT_EQ((std::vector<std::uint64_t>{1, 2, 3, 4}), logger->validContentTypes());
}

TEST_F(NetworkLogger, ARecordHoldsTheExchangeUnderItsKeysAndDropsWhatIsEmpty) {
    clock->advance(0.1234567);
    const double expectedDate = std::trunc((bdx::testing::VirtualClock::kStartDate + 0.1234567) * 1000);
    URLRequest request = postRequest();
    request.setValueForHTTPHeaderField("Bearer it's-me", "Authorization");
    save(request, bytes(R"({"items":[1,2]})"),
         httpResponse(kURL, "application/json", 201, {{"X-Request-Id", "r-7"}}), bytes(R"([{"id":9}])"),
         std::nullopt, 48.25);
    EXPECT_EQ(
        (bdx::Value{{"date", expectedDate},
                    {"url", kURL},
                    {"method", "POST"},
                    {"response", bdx::Value::parse(R"([{"id":9}])")},
                    {"request", bdx::Value::parse(R"({"items":[1,2]})")},
                    {"status", 201},
                    {"response_time", 48.25},
                    {"headers", {{"Authorization", "Bearer it's-me"}, {"Content-Type", "application/json"}}},
                    {"response_headers", {{"Content-Type", "application/json"}, {"X-Request-Id", "r-7"}}}}),
        records()[0]);

    // Bodies become JSON documents, else text; bytes that are not UTF-8 and empty header dictionaries leave
    // their keys out.
    struct Case {
        std::string name;
        std::optional<Data> body;
        std::optional<Data> data;
        bdx::Value request;
        bdx::Value response;
    };
    const std::vector<Case> cases{
        {"text", bytes("a=1&b=two"), bytes("plain words"), "a=1&b=two", "plain words"},
        {"broken JSON", bytes(R"({"a":)"), bytes("[1,"), R"({"a":)", "[1,"},
        {"a bare number is no document", bytes("42"), bytes("\"quoted\""), "42", "\"quoted\""},
        {"not UTF-8", Data{0xff, 0xfe, 0x00, 0x41}, Data{0xc3, 0x28}, nullptr, nullptr},
        {"overlong slash", Data{0xc0, 0xaf}, Data{0xed, 0xa0, 0x80}, nullptr, nullptr},
        {"no bodies", std::nullopt, std::nullopt, nullptr, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        logger->clearAllLogs();
        save(URLRequest(kURL), c.body, httpResponse(kURL, std::nullopt, 204), c.data);
        const bdx::Value record = records()[0];
        EXPECT_FALSE(record.contains("headers"));
        EXPECT_FALSE(record.contains("response_headers"));
        EXPECT_EQ(c.request, record.value("request", bdx::Value()));
        EXPECT_EQ(c.response, record.value("response", bdx::Value()));
        EXPECT_EQ(204, record["status"]);
    }
}

TEST_F(NetworkLogger, AFailedExchangeStoresTheErrorLineAndStatusZero) {
    save(postRequest(), bytes("{}"), nullptr, std::nullopt,
         bdx::Error::withDescription("NSURLErrorDomain", -1001, "The request timed out."));
    EXPECT_EQ("NSURLErrorDomain -1001: The request timed out.", records()[0]["response"]);
    EXPECT_EQ(0, records()[0]["status"]);

    // A real refused connection: even with a response the error wins.
    logger->clearAllLogs();
    URLRequest request("http://127.0.0.1:1/refused");
    const auto exchange = bdx::testing::fetch(request);
    ASSERT_TRUE(exchange.error);
    save(request, std::nullopt, httpResponse(request.URL(), "application/json", 500), bytes("{}"),
         exchange.error);
    const bdx::Value record = records()[0];
    EXPECT_EQ(0, record["status"]);
    EXPECT_EQ("NSURLErrorDomain -1004: " + exchange.error->localizedDescription(), record["response"]);
}

TEST_F(NetworkLogger, AResponseBodyOverOneMegabyteIsReplacedByTheSentenceButTheRecordStays) {
    const std::string sentence = BDXNetworkLogger::kResponseTooLargeMessage;
    EXPECT_EQ("Response body has not been logged because it exceeds the maximum size of 1 MB", sentence);
    for (const std::size_t size : {std::size_t{1048576}, std::size_t{1048577}}) {
        SCOPED_TRACE(size);
        logger->clearAllLogs();
        // {"k":"aaaa...a"} of exactly `size` bytes.
        const std::string json = R"({"k":")" + std::string(size - 8, 'a') + R"("})";
        ASSERT_EQ(size, json.size());
        save(postRequest(), bytes(json), httpResponse(kURL, "application/json", 200, {{"X-Size", "big"}}),
             bytes(json));
        const bdx::Value record = records()[0];
        if (size == 1048576) {
            EXPECT_EQ(size - 8, record["response"]["k"].get<std::string>().size());
        } else {
            EXPECT_EQ(sentence, record["response"]);
        }
        // The request body has no limit; status and headers stay.
        EXPECT_EQ(size - 8, record["request"]["k"].get<std::string>().size());
        EXPECT_EQ(200, record["status"]);
        EXPECT_EQ("big", record["response_headers"]["X-Size"]);
    }
    EXPECT_FLOAT_EQ(1.0f, bdx_sizeInMegabytes(Data(1048576)));
    EXPECT_GT(bdx_sizeInMegabytes(Data(1048577)), 1.0f);
}

TEST_F(NetworkLogger, TheUserRequestHandlerWinsOverTheLegacyURLHandler) {
    int legacyCalls = 0;
    int userCalls = 0;
    const BDXNetworkLogger::LegacyURLObfuscationHandler legacy = [&legacyCalls](const std::string& url) {
        ++legacyCalls;
        return url.substr(0, url.find('?')) + "?page=HIDDEN";
    };
    const BDXNetworkLogger::UserRequestObfuscationHandler user = [&userCalls](const URLRequest& request) {
        ++userCalls;
        EXPECT_EQ(R"({"card":"4111"})", std::string(request.HTTPBody()->begin(), request.HTTPBody()->end()));
        URLRequest masked = request;
        masked.setURL("https://api.example.com/v1/masked");
        masked.setValueForHTTPHeaderField("***", "Authorization");
        masked.setHTTPBody(bytes(R"({"card":"****"})"));
        return masked;
    };
    struct Case {
        std::string name;
        bool withLegacy;
        bool withUser;
        std::string url;
        bdx::Value request;
        int legacyCalls;
        int userCalls;
    };
    const std::vector<Case> cases{
        {"none", false, false, kURL, {{"card", "4111"}}, 0, 0},
        {"legacy only",
         true,
         false,
         "https://api.example.com/v1/orders?page=HIDDEN",
         {{"card", "4111"}},
         1,
         0},
        {"user only", false, true, "https://api.example.com/v1/masked", {{"card", "****"}}, 0, 1},
        {"both", true, true, "https://api.example.com/v1/masked", {{"card", "****"}}, 0, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        logger->clearAllLogs();
        legacyCalls = userCalls = 0;
        BDXNetworkLogger::setLegacyURLObfuscationHandler(c.withLegacy ? legacy : nullptr);
        BDXNetworkLogger::setUserRequestObfuscationHandler(c.withUser ? user : nullptr);
        URLRequest request = postRequest();
        request.setValueForHTTPHeaderField("secret", "Authorization");
        save(request, bytes(R"({"card":"4111"})"), httpResponse(kURL, "application/json"), bytes("{}"));
        const bdx::Value record = records()[0];
        EXPECT_EQ(c.url, record["url"]);
        EXPECT_EQ(c.request, record["request"]);
        EXPECT_EQ(c.withUser ? "***" : "secret", record["headers"]["Authorization"]);
        EXPECT_EQ(c.legacyCalls, legacyCalls);
        EXPECT_EQ(c.userCalls, userCalls);
    }
}

TEST_F(NetworkLogger, OnlyAResponseCompletionBeforeTheHandlerReturnsChangesTheRecord) {
    BDXNetworkLogger::ResponseObfuscationCompletion kept;
    const auto masked = httpResponse(kURL, "application/json", 299);
    struct Case {
        std::string name;
        BDXNetworkLogger::UserResponseObfuscationHandler handler;
        int status;
        bdx::Value response;
    };
    const std::vector<Case> cases{
        {"completed at once",
         [&](const auto&, const auto&, const auto& completion) {
             completion(bytes(R"({"token":"***"})"), masked);
         },
         299,
         {{"token", "***"}}},
        {"completed later",
         [&](const auto&, const auto&, const auto& completion) { kept = completion; },
         200,
         {{"token", "abc"}}},
        {"never completed", [](const auto&, const auto&, const auto&) {}, 200, {{"token", "abc"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        logger->clearAllLogs();
        BDXNetworkLogger::setUserResponseObfuscationHandler(c.handler);
        save(postRequest(), std::nullopt, httpResponse(kURL, "application/json"),
             bytes(R"({"token":"abc"})"));
        if (kept) {
            kept(bytes(R"({"token":"late"})"), masked);
            EXPECT_EQ(bytes(R"({"token":"abc"})"), logger->loggedResponseData());
            kept = nullptr;
        }
        EXPECT_EQ(c.status, records()[0]["status"]);
        EXPECT_EQ(c.response, records()[0]["response"]);
    }
}

TEST_F(NetworkLogger, APurgeStartsAtTheThousandAndFirstRecordAndLeavesTheNewestThousand) {
    insertRows(5, "earlier", "https://old.example.com/");
    for (int index = 0; index < 1000; ++index) {
        clock->advance(0.001);
        logger->saveLogWithRequest(URLRequest(kURL + "&n=" + std::to_string(index)), std::nullopt,
                                   httpResponse(kURL, "text/plain"), bytes("ok"), std::nullopt, 1, nullptr);
    }
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(1000, BDXNetworkLogger::logsCount());
    EXPECT_EQ(1005u, allRows().size());

    clock->advance(0.001);
    save(URLRequest(kURL + "&n=1000"), std::nullopt, httpResponse(kURL, "text/plain"), bytes("ok"));
    const auto rows = allRows();
    ASSERT_EQ(1000u, rows.size());
    // The six oldest went, of any session: the five earlier rows and the first of this one.
    EXPECT_EQ(BDXInspector::sessionUUID() + "|" + kURL + "&n=1", rows.front());
    EXPECT_EQ(BDXInspector::sessionUUID() + "|" + kURL + "&n=1000", rows.back());
    EXPECT_EQ(1001 - 6, BDXNetworkLogger::logsCount());
    // A snapshot takes the newest thousand of this session, oldest first.
    const bdx::Value loaded = records();
    ASSERT_EQ(1000u, loaded.size());
    EXPECT_EQ(kURL + "&n=1", loaded[0]["url"]);
}

TEST_F(NetworkLogger, LoadsOnlyThisSessionOldestFirstEitherWayAndClearsAll) {
    insertRows(3, "earlier", "https://old.example.com/");
    for (const std::string path : {"a", "b"}) {
        clock->advance(1);
        save(URLRequest("https://api.example.com/" + path), std::nullopt, httpResponse(kURL, "text/plain"),
             bytes(path));
    }
    const bdx::Value synchronous = records();
    ASSERT_EQ(2u, synchronous.size());
    EXPECT_EQ("https://api.example.com/a", synchronous[0]["url"]);
    EXPECT_EQ("https://api.example.com/b", synchronous[1]["url"]);
    int answers = 0;
    logger->loadSnapshotSynchronously(false, [&](const bdx::Value& logs) {
        ++answers;
        EXPECT_EQ(synchronous, logs);
    });
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(1, answers);
    EXPECT_EQ(5u, allRows().size());

    logger->clearAllLogs();
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(allRows().empty());
}

TEST_F(NetworkLogger, AtTheNextLaunchTheRecordsOfEarlierSessionsGoAsSoonAsTheStoreIsAdded) {
    insertRows(3, "earlier", "https://old.example.com/");
    bdx::testing::waitUntilIdle();
    logger.reset();
    bdx::resetAllSingletons();

    // The next launch: a logger is there before the store.
    logger = BDXNetworkLogger::init();
    insertRows(1, BDXInspector::sessionUUID(), "https://api.example.com/now");
    bdx::testing::openStore();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(std::vector<std::string>{BDXInspector::sessionUUID() + "|https://api.example.com/now0"},
              allRows());
}

TEST_F(NetworkLogger, AProgressBlockHearsTheUploadsOfItsURLForAsLongAsTheProcessLives) {
    std::vector<std::vector<std::int64_t>> heard;
    BDXNetworkLogger::setRequestProgressBlock(
        [&heard](const auto&, std::int64_t sent, std::int64_t total, std::int64_t expected) {
            heard.push_back({sent, total, expected});
        },
        kURL);
    BDXNetworkLogger::requestURL(kURL, nullptr, 100, 100, 300);
    BDXNetworkLogger::requestURL("https://api.example.com/other", nullptr, 1, 1, 1);
    BDXNetworkLogger::requestURL(kURL, nullptr, 200, 300, 300);
    EXPECT_EQ((std::vector<std::vector<std::int64_t>>{{100, 100, 300}, {200, 300, 300}}), heard);
}

}  // namespace
