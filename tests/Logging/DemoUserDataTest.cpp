#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "foundation/Sandbox.h"
#include "testing/Collector.h"
#include "tests/Logging/LoggingTestSupport.h"

namespace {

// The demo of the same build as this test program (build/<preset>/tools/demo/demo).
std::filesystem::path demoProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "tools" / "demo" / "demo";
}

TEST(DemoUserData, SessionsPayloadsCarryTheAttributesAndEventsTheDemoSets) {
    ASSERT_TRUE(std::filesystem::exists(demoProgram())) << "build the demo target: " << demoProgram();
    bdx::testing::Collector collector;
    const std::string sandbox = (bdx::Sandbox::current().root() / "demo").string();
    ASSERT_EQ(0, bdx::testing::runProcess({demoProgram().string(), "--sandbox", sandbox},
                                          "BRINDLEX_BASE_URL=" + collector.baseURL()));
    ASSERT_TRUE(collector.waitForRequests(1));

    std::size_t payloads = 0;
    for (const auto& request : collector.requests()) {
        if (request["path"] != "/api/sdk/v3/sessions") {
            continue;
        }
        ++payloads;
        const bdx::Value& json = request["json"];
        SCOPED_TRACE(json.dump());
        EXPECT_EQ(nullptr, request["error"]) << "the collector's strict reading found a fault";
        EXPECT_EQ((bdx::Value{{"plan", "pro"}, {"region", "eu-west"}}), json["custom_attributes"]);
        const bdx::Value& events = json["user_events"];
        ASSERT_TRUE(events.is_array());
        ASSERT_EQ(2u, events.size());
        EXPECT_EQ("inbox_opened", events[0]["event"]);
        EXPECT_EQ((bdx::Value{{"unread", 3}}), events[0]["params"]);
        EXPECT_EQ("message_opened", events[1]["event"]);
        EXPECT_EQ((bdx::Value{{"position", 1}}), events[1]["params"]);
        EXPECT_LE(events[0]["timestamp"].get<double>(), events[1]["timestamp"].get<double>());
        EXPECT_GT(events[0]["timestamp"].get<double>(), 1e12) << "log time is in milliseconds";
    }
    EXPECT_GE(payloads, 1u);
}

}  // namespace
