#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/BDXDefaults.h"
#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "core/BDXServiceURL.h"
#include "foundation/RunLoop.h"
#include "platform/net/Reachability.h"
#include "platform/ui/Application.h"
#include "testing/Collector.h"
#include "testing/DispatchTesting.h"
#include "testing/FileContents.h"
#include "testing/SandboxTest.h"
#include "testing/ScriptedReachabilityService.h"
#include "transport/BDXHighLevelRequest.h"
#include "transport/BDXReachabilityInstance.h"
#include "transport/BDXServerDataRequest.h"
#include "transport/BDXServerFileRequest.h"
#include "transport/BDXServerManager.h"
#include "transport/BDXServerRequestDelegate.h"
#include "transport/BDXServersQueue.h"

namespace bdx::testing {

// A high-level request as the catalogue's requests are made: it runs a JSON or file request and
// judges the result with the common rule, then hands itself back to the manager. It writes down what
// happened to it, and on which thread.
class ProbeRequest : public BDXHighLevelRequest,
                     public BDXServerRequestDelegate,
                     public std::enable_shared_from_this<ProbeRequest> {
    BDX_DECLARE_CLASS(ProbeRequest, bdx::Object)

  public:
    struct Result {
        std::int64_t statusCode = 0;
        std::optional<bdx::Error> error;
        bdx::Value response;
        std::optional<BDXRequestErrorInfo> errorInfo;
        bool onMainThread = false;
    };

    // Makes the low-level request for this attempt.
    using Launch = std::function<std::shared_ptr<BDXServerProtocol>(std::weak_ptr<BDXServerRequestDelegate>)>;

    static std::shared_ptr<ProbeRequest> json(std::string url, std::int64_t method, bdx::Value payload,
                                              bdx::Value headers = bdx::Value()) {
        return std::make_shared<ProbeRequest>([=](std::weak_ptr<BDXServerRequestDelegate> delegate) {
            return BDXServerDataRequest::executeWithURL(url, method, payload, headers, std::move(delegate));
        });
    }
    static std::shared_ptr<ProbeRequest> file(std::string url, std::string path, bdx::Value info) {
        return std::make_shared<ProbeRequest>([=](std::weak_ptr<BDXServerRequestDelegate> delegate) {
            return BDXServerFileRequest::executeWithURL(url, path, info, std::move(delegate));
        });
    }

    explicit ProbeRequest(Launch launch) : launch_(std::move(launch)) {}

    void executeNow() override {
        executedOffMainThread = executedOffMainThread && !bdx::isMainThread();
        setIsExecuting(true);
        ++executeCount;
        lowLevel = launch_(weak_from_this());
    }
    bool isExecuting() const override {
        ++isExecutingAsked;
        return BDXHighLevelRequest::isExecuting();
    }
    void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>&, std::int64_t statusCode,
                             const std::optional<bdx::Error>& error, const bdx::Value& response) override {
        Result result{statusCode, error, response, judgeResult(statusCode, error, response),
                      bdx::isMainThread()};
        results.push_back(std::move(result));
        BDXServerManager::getInstance()->handleRequest(shared_from_this());
    }

    // Read and written on the main thread, as the delegate runs there.
    std::vector<Result> results;
    std::shared_ptr<BDXServerProtocol> lowLevel;
    std::atomic<int> executeCount{0};
    mutable std::atomic<int> isExecutingAsked{0};
    std::atomic<bool> executedOffMainThread{true};

  private:
    Launch launch_;
};

// A sandbox, a clean dispatch state, the virtual clock for delays, and a collector on 127.0.0.1 that the
// library's base URL names. Reachability of 127.0.0.1 is scripted; the start-up operations of the
// reachability object and the server manager have run.
class PipelineTest : public SandboxTest {
  protected:
    static constexpr net::ReachabilityFlags kReachable =
        net::ReachabilityFlag::reachable | net::ReachabilityFlag::isDirect;

    void SetUp() override {
        resetDispatchState();
        SandboxTest::SetUp();
        clock = installVirtualClock();
        if (const char* outer = std::getenv(BDXServiceURL::kEnvironmentVariable)) {
            savedEnvironment_ = outer;
            ::unsetenv(BDXServiceURL::kEnvironmentVariable);
        }
        ui::Application::destroy();
        collector = std::make_unique<Collector>();
        reachability = ScriptedReachabilityService::install();
        reachability->setFlags("127.0.0.1", initialFlags());
        BDXDefaults::getInstance()->setBaseURL(collector->baseURL());
        prepareDefaults();
        auto initialization = BDXIntializationManager::getInstance();
        initialization->addOperation(BDXServerManager::getInstance()->initializationOperation());
        initialization->addOperation(BDXReachabilityInstance::getInstance()->initializationOperation());
        waitUntilIdle();
    }
    void TearDown() override {
        BDXServerManager::destroy();
        collector.reset();
        resetDispatchState();
        SandboxTest::TearDown();
        BDXServerManager::setTimeoutIntervalForRequest(60);
        if (savedEnvironment_) {
            ::setenv(BDXServiceURL::kEnvironmentVariable, savedEnvironment_->c_str(), 1);
        }
    }

    // What 127.0.0.1 answers at start.
    virtual net::ReachabilityFlags initialFlags() const { return kReachable; }
    // Settings made before the manager exists (its session is made with it).
    virtual void prepareDefaults() {}

    static std::shared_ptr<BDXServerManager> manager() { return BDXServerManager::getInstance(); }

    // Changes the reachability of 127.0.0.1 and lets the main queue deliver the change.
    void setReachable(net::ReachabilityFlags flags) {
        reachability->setFlags("127.0.0.1", flags);
        runMainQueueUntilIdle();
    }

    // Runs whatever the manager's queue holds so far.
    static void drainManagerQueue() {
        manager()->serverManagerQueue()->sync([] {});
    }

    // Serves the main queue until `done` holds, waiting for real events (a transfer ending) between
    // turns; false when a generous limit ran out first.
    static bool pumpUntil(const std::function<bool()>& done, double seconds = 30) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        for (;;) {
            runMainQueueUntilIdle();
            if (done()) {
                return true;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            RunLoop::main().runOnce(0.05);
        }
    }
    static bool waitForResults(const std::shared_ptr<ProbeRequest>& probe, std::size_t count) {
        return pumpUntil([&] { return probe->results.size() >= count; });
    }

    std::string url(const std::string& path) const { return collector->baseURL() + path; }
    // The stored request records, and the body of one of them after the collector undid the gzip.
    bdx::Value received() const { return collector->requests(); }
    std::string storedBody(int index) const;

    std::shared_ptr<VirtualClock> clock;
    std::unique_ptr<Collector> collector;
    std::shared_ptr<ScriptedReachabilityService> reachability;

  private:
    std::optional<std::string> savedEnvironment_;
};

inline std::string PipelineTest::storedBody(int index) const {
    char folder[32];
    std::snprintf(folder, sizeof folder, "/%06d/body.bin", index);
    return readFile(collector->folder() + folder);
}

}  // namespace bdx::testing
