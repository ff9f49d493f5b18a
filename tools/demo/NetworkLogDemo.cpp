#include "tools/demo/NetworkLogDemo.h"

#include <chrono>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "Logging/BDXNetworkLogCURLCommand.h"
#include "Logging/BDXNetworkLogger.h"
#include "foundation/DispatchQueue.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "platform/net/URLSession.h"

namespace {

struct Exchange {
    std::optional<bdx::Data> data;
    std::shared_ptr<const bdx::net::URLResponse> response;
    std::optional<bdx::Error> error;
};

}  // namespace

std::vector<std::string> logOwnNetworkExchange(const std::string& baseURL) {
    // The store opens in the background at start-up (where the start-up sequence has no store step yet, it
    // is opened here as that step would: from the main queue); the record waits for it no longer than this.
    bdx::DispatchQueue::main()->sync(
        [] { BDXCoreDataPersistenceManager::sharedManager()->initializeCoreData(); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!BDXCoreDataPersistenceManager::sharedManager()->hasAddedPersistentStore()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return {"network log  the object store did not open; nothing logged"};
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    bdx::net::URLRequest request(baseURL + "/demo/orders?source=demo");
    request.setHTTPMethod("POST");
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    request.setValueForHTTPHeaderField("gzip", "Accept-Encoding");
    request.setValueForHTTPHeaderField("it's the demo", "X-Demo-Note");
    const std::string json = R"({"item":"coffee","qty":2,"note":"no \"sugar\""})";
    const bdx::Data body(json.begin(), json.end());
    request.setHTTPBody(body);

    std::promise<Exchange> answered;
    const auto started = std::chrono::steady_clock::now();
    bdx::net::URLSession::sharedSession()
        ->dataTaskWithRequest(
            request,
            [&answered](std::optional<bdx::Data> data, std::shared_ptr<const bdx::net::URLResponse> response,
                        std::optional<bdx::Error> error) {
                answered.set_value({std::move(data), std::move(response), std::move(error)});
            })
        ->resume();
    auto exchangeFuture = answered.get_future();
    if (exchangeFuture.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        return {"network log  the service did not answer the demo's own request"};
    }
    const Exchange exchange = exchangeFuture.get();
    const double milliseconds =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();

    // A logger per exchange; the records are read back in the logger's lane, after the write.
    auto logger = BDXNetworkLogger::init();
    logger->saveLogWithRequest(request, body, exchange.response, exchange.data, exchange.error, milliseconds,
                               nullptr);
    std::promise<bdx::Value> loaded;
    auto once = std::make_shared<std::once_flag>();
    logger->loadSnapshotSynchronously(false, [&loaded, once](const bdx::Value& logs) {
        std::call_once(*once, [&] { loaded.set_value(logs); });
    });
    auto loadedFuture = loaded.get_future();
    if (loadedFuture.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        return {"network log  the record could not be read back"};
    }
    const bdx::Value logs = loadedFuture.get();
    if (logs.empty()) {
        return {"network log  no record was stored"};
    }
    return {"network log  " + logs.back().dump(), "curl         " + bdx_cURLCommandWithBody(request, body)};
}
