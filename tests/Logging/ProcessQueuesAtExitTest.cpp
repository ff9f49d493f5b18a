#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <vector>

#include <nlohmann/json.hpp>

#include "Logging/BDXEventLogger.h"
#include "Logging/BDXInspector.h"
#include "Logging/BDXUserAttributesLogger.h"
#include "foundation/DispatchQueue.h"
#include "platform/net/URLSession.h"
#include "testing/WorkerAtExit.h"
#include "transport/BDXServersQueue.h"

namespace {

std::atomic<bool> exiting{false};

// Said only by the worker that runs during exit, so the message proves that use went through.
void say(const char* line) {
    if (exiting) {
        [[maybe_unused]] auto written = ::write(2, line, std::char_traits<char>::length(line));
    }
}

// The host's main() returns while a worker of the library still goes through one of the process-wide
// queues or the shared URL session: each must still be there (the sanitizer builds see a destroyed one).
TEST(ProcessQueuesDeathTest, AWorkerStillUsingThemWhileTheProcessExitsFindsThemAlive) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Case {
        const char* name;
        std::function<void()> use;
    };
    const std::vector<Case> cases = {
        {"servers queue", [] { BDXServersQueue::serversQueue()->sync([] { say("used during exit\n"); }); }},
        {"inspector queue", [] { BDXInspector::inspectorQueue()->sync([] { say("used during exit\n"); }); }},
        {"event logs queue",
         [] {
             BDXEventLogger::sharedInstance()->stateLogs();
             say("used during exit\n");
         }},
        {"user attributes queue",
         [] {
             BDXUserAttributesLogger::sharedInstance()->getUserAttributes();
             say("used during exit\n");
         }},
        {"shared URL session",
         [] {
             if (bdx::net::URLSession::sharedSession()->configuration().timeoutIntervalForRequest() > 0) {
                 say("used during exit\n");
             }
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EXIT(
            {
                bdx::testing::runOnWorkerDuringExit(c.use);
                c.use();
                exiting = true;
                std::exit(0);
            },
            ::testing::ExitedWithCode(0), "used during exit");
    }
}

}  // namespace
