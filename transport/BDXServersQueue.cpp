#include "transport/BDXServersQueue.h"

#include <algorithm>

#include "foundation/DispatchQueue.h"
#include "transport/BDXBaseRequest.h"

const std::shared_ptr<bdx::DispatchQueue>& BDXServersQueue::serversQueue() {
    // Never destroyed: a worker may still use it while the process exits.
    static const auto* const queue = new std::shared_ptr<bdx::DispatchQueue>(
        bdx::DispatchQueue::create("com.BDX.ServersQueue", bdx::DispatchQueue::Attribute::Serial));
    return *queue;
}

std::shared_ptr<BDXBaseRequest> BDXServersQueue::pushServer(const std::shared_ptr<BDXBaseRequest>& request) {
    std::shared_ptr<BDXBaseRequest> head;
    serversQueue()->sync([&] {
        if (request) {
            servers_.push_back(request);
        }
        if (!servers_.empty()) {
            head = servers_.front();
        }
    });
    return head;
}

std::shared_ptr<BDXBaseRequest> BDXServersQueue::popServer(const std::shared_ptr<BDXBaseRequest>& request) {
    std::shared_ptr<BDXBaseRequest> head;
    serversQueue()->sync([&] {
        std::erase(servers_, request);
        if (!servers_.empty()) {
            head = servers_.front();
        }
    });
    return head;
}

std::vector<std::shared_ptr<BDXBaseRequest>> BDXServersQueue::serverRequests() const {
    std::vector<std::shared_ptr<BDXBaseRequest>> copy;
    serversQueue()->sync([&] { copy = servers_; });
    return copy;
}

void BDXServersQueue::removeAllServers() {
    serversQueue()->sync([this] { servers_.clear(); });
}

void BDXServersQueue::ignoreServersOfType(const std::vector<std::shared_ptr<BDXBaseRequest>>& samples) {
    // A sync block runs on the caller's thread; it only keeps the walk from racing a push.
    serversQueue()->sync([&] {
        for (std::size_t index = 0; index < servers_.size(); ++index) {
            const auto& entry = servers_[index];
            const bool ofSampleKind = std::any_of(samples.begin(), samples.end(), [&](const auto& sample) {
                return sample && entry && entry->classInfo().isSubclassOf(sample->classInfo());
            });
            if (ofSampleKind) {
                servers_.erase(servers_.begin() + static_cast<std::ptrdiff_t>(index));
            }
        }
    });
}
