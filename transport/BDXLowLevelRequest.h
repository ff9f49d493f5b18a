#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Value.h"
#include "transport/BDXServerProtocol.h"

// What the JSON and the file requests keep alike: the delegate, the received body and where the request
// body was stored, behind one lock, since the transfer's callbacks and the disk queue reach them besides
// the caller.
class BDXLowLevelRequest : public BDXServerProtocol {
  public:
    void setRequestData(std::optional<bdx::Data> data) override;
    std::optional<bdx::Data> requestData() const override;
    std::shared_ptr<BDXServerRequestDelegate> delegate() const override;
    void setDelegate(std::weak_ptr<BDXServerRequestDelegate> delegate) override;

    // Where the body was stored ("" before that); a file request starts with the file it uploads.
    std::string filePath() const;

  protected:
    BDXLowLevelRequest(std::weak_ptr<BDXServerRequestDelegate> delegate, std::string filePath);

    // Writes `body` to the temporary directory. The path is kept under the lock before `stored` can read
    // it: the completion may run at once on the disk queue.
    void storeBody(const bdx::Data& body, std::function<void(bool success)> stored);
    // Tells the delegate, on the main queue, that the body never reached the network.
    static void reportUnsentBody(const std::shared_ptr<BDXLowLevelRequest>& request,
                                 const std::string& errorDomain);

  private:
    mutable std::mutex mutex_;
    std::weak_ptr<BDXServerRequestDelegate> delegate_;
    std::optional<bdx::Data> data_;
    std::string filePath_;
};

// The response a low-level request gives its delegate when its body never reached the network.
bdx::Value BDXUnsentBodyResponse();
