#include "persistence/BDXDiskIOManager.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <utility>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/AtomicFile.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Singleton.h"

namespace {

// The queue outlives every instance: writes queued by one instance are finished by the queue, not by it.
struct DiskIOQueue {
    std::mutex mutex;
    std::shared_ptr<bdx::DispatchQueue> queue;
};

bool writeAll(int fd, const std::uint8_t* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool fail(bdx::Error* error, int code) {
    if (error != nullptr) {
        *error = bdx::Error::posix(code);
    }
    return false;
}

// Unlike the foundation's atomic file, this never makes the parent directory: a file whose directory
// was cleared must fail to be written until its owner makes the directory again.
bool writeAtomically(const std::string& path, const bdx::Data& data, bdx::Error* error) {
    if (path.empty()) {
        return fail(error, ENOENT);
    }
    static std::atomic<unsigned> counter{0};
    const std::filesystem::path target(path);
    const std::filesystem::path temporary =
        target.parent_path() / ("." + target.filename().string() + ".tmp-" + std::to_string(::getpid()) +
                                "-" + std::to_string(counter.fetch_add(1, std::memory_order_relaxed)));
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) {
        return fail(error, errno);
    }
    if (!writeAll(fd, data.data(), data.size()) || ::fdatasync(fd) != 0) {
        const int code = errno;
        ::close(fd);
        ::unlink(temporary.c_str());
        return fail(error, code);
    }
    if (::close(fd) != 0 || ::rename(temporary.c_str(), target.c_str()) != 0) {
        const int code = errno;
        ::unlink(temporary.c_str());
        return fail(error, code);
    }
    return true;
}

void finishQueuedWrites() {
    if (auto queue = BDXDiskIOManager::diskIOQueue()) {
        queue->barrierSync([] {});
    }
}

}  // namespace

std::shared_ptr<BDXDiskIOManager> BDXDiskIOManager::getInstance() {
    return bdx::Singleton<BDXDiskIOManager>::holder().get([] {
        // Writes queued by the instance that goes are finished by the reset, so none lands after it.
        bdx::registerSingletonReset(finishQueuedWrites);
        return std::shared_ptr<BDXDiskIOManager>(new BDXDiskIOManager());
    });
}

void BDXDiskIOManager::destroy() {
    finishQueuedWrites();
    bdx::Singleton<BDXDiskIOManager>::holder().destroy();
}

BDXDiskIOManager::BDXDiskIOManager() {
    auto& shared = bdx::neverDestroyed<DiskIOQueue>();
    std::lock_guard<std::mutex> lock(shared.mutex);
    if (!shared.queue) {
        shared.queue =
            bdx::DispatchQueue::create("com.bdx.diskIOQueue", bdx::DispatchQueue::Attribute::Concurrent);
    }
}

std::shared_ptr<bdx::DispatchQueue> BDXDiskIOManager::diskIOQueue() {
    auto& shared = bdx::neverDestroyed<DiskIOQueue>();
    std::lock_guard<std::mutex> lock(shared.mutex);
    return shared.queue;
}

void BDXDiskIOManager::writeData(bdx::Data data, const std::string& toFile, WriteCompletion completion) {
    diskIOQueue()->barrierAsync([data = std::move(data), path = toFile, completion = std::move(completion)] {
        bdx::Error error;
        const bool success = writeAtomically(path, data, &error);
        if (!success) {
            BDXSDKLogVerbose("Faild to write file to the disk error:%@", error);
        }
        if (completion) {
            completion(success, success ? nullptr : &error);
        }
    });
}

void BDXDiskIOManager::forceWriteData(const bdx::Data& data, const std::string& toFile) {
    writeAtomically(toFile, data, nullptr);
}

std::optional<bdx::Data> BDXDiskIOManager::readFileAtPath(const std::string& path, bdx::Error* error) {
    std::optional<bdx::Data> bytes;
    diskIOQueue()->sync([&] { bytes = bdx::AtomicFile::read(path, error); });
    return bytes;
}
