#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Error.h"

namespace bdx {
class DispatchQueue;
}

// Reads and writes whole files in the order they were asked for, on the concurrent queue
// "com.bdx.diskIOQueue": a write is a barrier block, a read a plain synchronous block, so a read sees
// every write queued before it while reads overlap among themselves. Writes are atomic: the bytes go
// to a temporary file beside the target, reach the disk, and replace the target in one rename, so no
// reader (nor a relaunch after a crash) ever finds a half-written file.
class BDXDiskIOManager {
  public:
    // Called on the disk queue, not on the main thread. On failure the error says why.
    using WriteCompletion = std::function<void(bool success, const bdx::Error* error)>;

    static std::shared_ptr<BDXDiskIOManager> getInstance();
    static void destroy();

    // Queues the write and returns at once. A failure is logged and handed to the completion; the
    // directory of the file is never created here, so a write into a directory that is gone fails.
    void writeData(bdx::Data data, const std::string& toFile, WriteCompletion completion = nullptr);
    // Writes on the calling thread, outside the queue's order, ignoring failure: for files that must
    // be on disk on return.
    void forceWriteData(const bdx::Data& data, const std::string& toFile);
    // Waits for every write queued before, then reads the whole file: its bytes, or nothing and the
    // error. Must not be called from a block running on the disk queue, which would wait for itself.
    std::optional<bdx::Data> readFileAtPath(const std::string& path, bdx::Error* error = nullptr);

    // The queue every instance shares for the life of the process.
    static std::shared_ptr<bdx::DispatchQueue> diskIOQueue();

    BDXDiskIOManager(const BDXDiskIOManager&) = delete;
    BDXDiskIOManager& operator=(const BDXDiskIOManager&) = delete;

  private:
    BDXDiskIOManager();
};
