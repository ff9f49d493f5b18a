#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>

#include "PipelineTestSupport.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "platform/net/URLError.h"

namespace bdx::testing {
namespace {

class RetryTest : public PipelineTest {
  protected:
    // Lets the virtual clock run `seconds` and whatever the timers it fires hand to the queues.
    void wait(double seconds) {
        clock->advance(seconds);
        waitUntilIdle();
    }
    // The probe's next attempt starts exactly `delay` seconds of virtual time after its last result.
    void expectRetryAfter(const std::shared_ptr<ProbeRequest>& probe, double delay) {
        const int before = probe->executeCount;
        wait(delay - 0.001);
        EXPECT_EQ(probe->executeCount, before) << "not before " << delay << " s";
        EXPECT_FALSE(probe->isExecuting());
        wait(0.001);
        EXPECT_EQ(probe->executeCount, before + 1) << "at " << delay << " s";
    }
};

struct FailureCase {
    const char* name;
    const char* script;
    std::int64_t statusCode;
    bool withError;
    const char* response;
};

TEST_F(RetryTest, EveryFailureIsJudgedAlikeAndRetriedAfterTwoSeconds) {
    const std::vector<FailureCase> cases = {
        {"500", R"({"status": 500, "body": "{\"message\":\"down\"}"})", 500, false, R"({"message":"down"})"},
        {"201", R"({"status": 201, "body": "{}"})", 201, false, "{}"},
        {"204", R"({"status": 204, "body": ""})", 0, false, R"({"Error":"Error"})"},
        {"empty 200", R"({"status": 200, "body": ""})", 0, false, R"({"Error":"Error"})"},
        {"non-JSON 200", R"({"status": 200, "body": "<html>ok</html>"})", 0, false,
         R"({"Error":"<html>ok</html>"})"},
        {"dropped", R"({"drop": true})", 0, true, R"({"Error":"Error"})"},
    };
    for (const auto& failure : cases) {
        SCOPED_TRACE(failure.name);
        collector->reset(true);
        collector->script("/api/sdk/v3/sessions", bdx::Value::array({bdx::Value::parse(failure.script)}));
        auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
        manager()->pushRequest(probe);
        ASSERT_TRUE(waitForResults(probe, 1));

        const auto& result = probe->results[0];
        EXPECT_EQ(result.statusCode, failure.statusCode);
        EXPECT_EQ(result.error.has_value(), failure.withError);
        EXPECT_EQ(result.response, bdx::Value::parse(failure.response));
        EXPECT_FALSE(probe->isSuccess());
        EXPECT_EQ(probe->failures(), 1);
        ASSERT_TRUE(result.errorInfo.has_value());
        const bdx::Value dictionary = result.errorInfo->dictionaryValue();
        EXPECT_EQ(dictionary["statusCode"], failure.statusCode);
        EXPECT_EQ(dictionary["response"], bdx::Value::parse(failure.response));
        EXPECT_EQ(dictionary["error"].is_null(), !failure.withError);

        expectRetryAfter(probe, 2);
        ASSERT_TRUE(waitForResults(probe, 2));
        EXPECT_EQ(probe->results[1].statusCode, 200) << "the script is used up: the default answer";
        EXPECT_TRUE(probe->isSuccess());
        EXPECT_FALSE(probe->results[1].errorInfo.has_value()) << "a success gives no dictionary";
        EXPECT_EQ(received().size(), 2u);
    }
}

TEST_F(RetryTest, AttemptsFollowEToTheFailuresWithoutLimit) {
    collector->script(
        "/api/sdk/v3/sessions",
        bdx::Value::parse(R"([{"status": 500}, {"status": 500}, {"status": 500}, {"status": 500}])"));
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    const std::vector<double> delays = {2, 7, 20, 54};
    for (std::size_t attempt = 0; attempt < delays.size(); ++attempt) {
        ASSERT_TRUE(waitForResults(probe, attempt + 1));
        EXPECT_EQ(probe->failures(), static_cast<int>(attempt + 1));
        expectRetryAfter(probe, delays[attempt]);
    }
    ASSERT_TRUE(waitForResults(probe, 5));
    EXPECT_TRUE(probe->isSuccess());
    EXPECT_EQ(received().size(), 5u);
}

TEST_F(RetryTest, OfAReplyInSeveralChunksOnlyTheLastIsKept) {
    collector->script("/api/sdk/v3/sessions",
                      bdx::Value::parse(R"([{"status": 200, "chunks": ["{\"first\":1}", "{\"last\":2}"],
                                             "chunk_delay_ms": 200}])"));
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    ASSERT_TRUE(waitForResults(probe, 1));
    EXPECT_EQ(probe->results[0].statusCode, 200);
    EXPECT_EQ(probe->results[0].response, (bdx::Value{{"last", 2}}));
}

class TimeoutRetryTest : public RetryTest {
  protected:
    void prepareDefaults() override { BDXServerManager::setTimeoutIntervalForRequest(1); }
};

TEST_F(TimeoutRetryTest, ATimedOutTransferIsRetriedLikeAnyFailure) {
    collector->script("/api/sdk/v3/sessions",
                      bdx::Value::parse(R"([{"status": 200, "body": "{}", "delay_ms": 4000}])"));
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    ASSERT_TRUE(waitForResults(probe, 1));
    ASSERT_TRUE(probe->results[0].error.has_value());
    EXPECT_EQ(probe->results[0].error->code(), net::URLErrorCode::timedOut);
    EXPECT_EQ(probe->results[0].statusCode, 0);
    expectRetryAfter(probe, 2);
    ASSERT_TRUE(waitForResults(probe, 2));
    EXPECT_TRUE(probe->isSuccess());
}

TEST_F(RetryTest, ABodyThatCannotBeStoredIsLowDiskSpaceAndRetried) {
    // The temporary directory is a file now: no body can be written into it.
    const std::string temp = BDXDiskPersistenceManager::getInstance()->tempDirectory();
    std::filesystem::remove_all(temp);
    std::ofstream(std::filesystem::path(temp).parent_path()) << "in the way";
    ASSERT_FALSE(std::filesystem::is_directory(temp));

    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    ASSERT_TRUE(waitForResults(probe, 1));
    const auto& result = probe->results[0];
    EXPECT_EQ(result.statusCode, 0);
    ASSERT_TRUE(result.error.has_value());
    EXPECT_EQ(result.error->domain(), "Low disk space");
    EXPECT_EQ(result.error->code(), 0);
    EXPECT_EQ(result.response, (bdx::Value{{"Error", "Error"}}));
    EXPECT_TRUE(received().empty());

    std::filesystem::remove(std::filesystem::path(temp).parent_path());
    std::filesystem::create_directories(temp);
    expectRetryAfter(probe, 2);
    ASSERT_TRUE(waitForResults(probe, 2));
    EXPECT_TRUE(probe->isSuccess());
    EXPECT_EQ(received().size(), 1u);
}

}  // namespace
}  // namespace bdx::testing
