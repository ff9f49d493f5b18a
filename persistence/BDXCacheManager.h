#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class BDXCachable;
class BDXCache;
class BDXOperation;

namespace bdx {
class OperationQueue;
}

// Keeps one cache per model class, restores them all at start and has the restored models send
// themselves. A model is saved and removed by its class alone; no caller names a file. Caches of the
// layer above register here too, and are filled only after the library's own caches have been read.
class BDXCacheManager : public std::enable_shared_from_this<BDXCacheManager> {
  public:
    static std::shared_ptr<BDXCacheManager> getInstance();
    static void destroy();

    // Made with the library's own caches, keyed by the class name of their models.
    BDXCacheManager();
    ~BDXCacheManager();

    // Pairs the caches with the class names by index. The work waits for initializationOperation to
    // finish, then, for each pair, makes the cache the one of that class (a later registration takes
    // over), reads its file and sends its models; the handler runs after that, on the operation's thread.
    void registerCaches(const std::vector<std::shared_ptr<BDXCache>>& caches,
                        const std::vector<std::string>& forClasses,
                        std::function<void()> withCompletionHandler = nullptr);
    void registerCache(const std::shared_ptr<BDXCache>& cache, const std::string& forClass,
                       std::function<void()> withCompletionHandler = nullptr);
    std::shared_ptr<BDXCache> getCacheWithClass(const std::string& className) const;

    // Adds the model to its class's cache unless it is there already, and writes in any case, so that a
    // changed model is saved too. A model whose class has no cache is not saved.
    void saveCacheModel(const std::shared_ptr<BDXCachable>& model);
    void removeCacheModel(const std::shared_ptr<BDXCachable>& model);

    void forcePersistAll();
    // Reads every cache, then finishes initializationOperation.
    void unpersistAllCache();
    void send();
    void unpersistAndSendPendingCache();
    void clearAll();

    // The start-up step: restores every cache and has the models send; it finishes once the files are
    // read, before the sending, so later steps do not wait for the models' sends.
    std::shared_ptr<BDXOperation> initializationOperation();
    std::shared_ptr<bdx::OperationQueue> cacheManagerQueue() const { return cacheManagerQueue_; }

  private:
    std::vector<std::shared_ptr<BDXCache>> allCaches() const;

    // Guards the registry; always taken before a cache's own lock.
    mutable std::recursive_mutex lock_;
    std::map<std::string, std::shared_ptr<BDXCache>> cacheManagers_;
    std::shared_ptr<bdx::OperationQueue> cacheManagerQueue_;
    std::mutex operationMutex_;
    std::shared_ptr<BDXOperation> initializationOperation_;
};
