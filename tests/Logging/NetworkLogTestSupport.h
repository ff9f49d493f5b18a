#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Error.h"
#include "platform/net/URLResponse.h"
#include "platform/net/URLSession.h"

namespace bdx::testing {

inline Data bytes(const std::string& text) {
    return Data(text.begin(), text.end());
}

// A response as a server would give it: the content type only when one is given.
inline std::shared_ptr<const net::HTTPURLResponse> httpResponse(const std::string& url,
                                                                std::optional<std::string> contentType,
                                                                long status = 200,
                                                                net::HTTPHeaderFields fields = {}) {
    if (contentType) {
        fields["Content-Type"] = *contentType;
    }
    return std::make_shared<const net::HTTPURLResponse>(url, status, "HTTP/1.1", std::move(fields));
}

// One real exchange over the process's shared session: what came back, as a logger is handed it.
struct Exchange {
    std::optional<Data> data;
    std::shared_ptr<const net::URLResponse> response;
    std::optional<Error> error;
};

inline Exchange fetch(const net::URLRequest& request,
                      std::shared_ptr<net::URLSession> session = net::URLSession::sharedSession()) {
    auto done = std::make_shared<std::promise<Exchange>>();
    auto future = done->get_future();
    auto task = session->dataTaskWithRequest(
        request, [done](std::optional<Data> data, std::shared_ptr<const net::URLResponse> response,
                        std::optional<Error> error) {
            done->set_value({std::move(data), response, error});
        });
    task->resume();
    if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        ADD_FAILURE() << "no answer from " << request.URL();
        return {};
    }
    return future.get();
}

}  // namespace bdx::testing
