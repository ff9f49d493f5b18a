#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "core/BDXIntializationManager.h"
#include "core/BDXServiceURL.h"
#include "foundation/Operation.h"
#include "foundation/SingletonReset.h"
#include "foundation/UserDefaults.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXCacheManager.h"
#include "persistence/BDXSessionCache.h"
#include "sessions/BDXSession.h"
#include "sessions/BDXSessionManager.h"
#include "testing/Collector.h"
#include "testing/DispatchTesting.h"
#include "testing/SandboxTest.h"
#include "core/BDXDefaults.h"
#include "platform/ui/Application.h"
#include "transport/BDXServerManager.h"

namespace bdx::testing {

inline constexpr const char* kSessionsPath = "/api/sdk/v3/sessions";

// The library started as the public layer starts it, with the start-up operations in their order, pointed
// at a collector on loopback, on the virtual clock. A relaunch drops everything but the files.
class SessionTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        ::unsetenv(BDXServiceURL::kEnvironmentVariable);
        UserDefaults::standardUserDefaults()->setString("app-token", "BDXAppToken");
        clock_ = installVirtualClock();
    }

    void launch() {
        BDXDefaults::getInstance()->setBaseURL(collector_.baseURL());
        auto operations = BDXIntializationManager::startupOperations();
        BDXIntializationManager::getInstance()->addOperations(operations);
        operations.back()->waitUntilFinished();
        waitUntilIdle();
    }
    // The process ends (nothing of it fires any more; only the files stay) and starts again an hour later.
    void relaunch() {
        const double later = clock_->now() + 3600;
        resetDispatchState();
        resetAllSingletons();
        clock_ = std::make_shared<VirtualClock>(later);
        Clock::install(clock_);
        launch();
    }
    // Until the collector has `count` requests and the answer to the last has been judged and handled.
    void waitForAnswered(std::size_t count) {
        ASSERT_TRUE(collector_.waitForRequests(count));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (BDXServerManager::getInstance()->isExecutingRequest()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the answer was never handled";
            runMainQueueUntilIdle();
        }
        waitUntilIdle();
    }
    // The /sessions payloads the collector received, in arrival order.
    Value sessionPayloads() const {
        Value payloads = Value::array();
        for (const auto& request : collector_.requests()) {
            if (request["path"] == kSessionsPath) {
                payloads.push_back(request["json"]);
            }
        }
        return payloads;
    }
    // What the sessions' cache file holds, read as the next launch would read it.
    static BDXCache::Models storedSessions() { return std::make_shared<BDXSessionCache>()->getCache(); }

    static std::shared_ptr<BDXSessionManager> manager() { return BDXSessionManager::getInstance(); }
    static void background() { ui::Application::sharedApplication()->enterBackground(); }
    static void foreground() { ui::Application::sharedApplication()->enterForeground(); }

    Collector collector_;
    std::shared_ptr<VirtualClock> clock_;
};

}  // namespace bdx::testing
