#pragma once

#include <memory>
#include <vector>

class BDXBaseRequest;

namespace bdx {
class DispatchQueue;
}

// The list of high-level requests in flight or waiting, in the order they were pushed. It lives in
// memory only. Every access but ignoreServersOfType goes through one serial queue shared by all
// instances of the process.
class BDXServersQueue {
  public:
    BDXServersQueue() = default;
    BDXServersQueue(const BDXServersQueue&) = delete;
    BDXServersQueue& operator=(const BDXServersQueue&) = delete;

    // Appends the request; returns the head of the list afterwards.
    std::shared_ptr<BDXBaseRequest> pushServer(const std::shared_ptr<BDXBaseRequest>& request);
    // Removes every entry that is this very request; returns the head afterwards, or nothing when the
    // list is empty.
    std::shared_ptr<BDXBaseRequest> popServer(const std::shared_ptr<BDXBaseRequest>& request);
    // A copy of the list.
    std::vector<std::shared_ptr<BDXBaseRequest>> serverRequests() const;
    void removeAllServers();
    // Removes the entries of the same kind as one of the samples (a subclass counts). It walks by index
    // and moves on after a removal, so the entry that slid into the removed one's place is not looked
    // at: of two neighbours of one kind only the first goes.
    void ignoreServersOfType(const std::vector<std::shared_ptr<BDXBaseRequest>>& samples);

    // "com.BDX.ServersQueue", made once for the process.
    static const std::shared_ptr<bdx::DispatchQueue>& serversQueue();

  private:
    std::vector<std::shared_ptr<BDXBaseRequest>> servers_;
};
