#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Data.h"
#include "foundation/Object.h"

class BDXCachable;

// One list of models that must survive the process, mirrored to one file of its own. A change is written
// either at once (a force-writing cache: the bytes are on disk when persistAll returns) or a second later on
// the main queue, so that a burst of changes costs one write holding the state at the moment of the write.
// The file is an array of single-entry dictionaries from class name to record, written atomically.
//
// The base class names a directory, not a file: a usable cache is a subclass that overrides cacheDiskPath.
// Owned through std::shared_ptr (a deferred write holds the cache weakly).
class BDXCache : public bdx::Object, public std::enable_shared_from_this<BDXCache> {
    BDX_DECLARE_CLASS(BDXCache, bdx::Object)

  public:
    using Models = std::vector<std::shared_ptr<BDXCachable>>;

    BDXCache();
    explicit BDXCache(bool shouldForceWrite);
    ~BDXCache() override;

    // Adds at the end; persists nothing.
    void append(const Models& objects);
    // For each object, removes one equal model, the last one in the list; persists nothing.
    void remove(const Models& objects);
    bool contains(const std::shared_ptr<BDXCachable>& object) const;

    // Writes at once when force-writing; otherwise schedules one write unless one is already on its way.
    void persistAll();
    // Writes now, whatever the flags say.
    void forcePersistAll();
    virtual double getWritingOperationTimeInterval() const { return 1.0; }

    // Reads the file once a process and puts its models behind those already in the list.
    virtual void unpersistAll();
    // Sends each model once a process; models added later are sent by their owners.
    void sendAll();
    // Empties the list; the file stays as it is until the next write.
    void clearAll();

    std::shared_ptr<BDXCachable> getLastObject() const;
    // The models in the file; an empty list when there is none or it cannot be read.
    Models getCache();
    // A copy of the list.
    Models getAllObjects() const;

    // The file of this cache. The base gives the directory "cachedModels" in the cache directory (made if
    // missing); a subclass gives its own class name inside it.
    virtual std::string cacheDiskPath() const;
    void writeModels(const Models& models, const std::string& toPath);
    // The models in the file at `path`, or nothing when the file holds no bytes.
    std::optional<Models> readModelsFromPath(const std::string& path);
    std::optional<bdx::Data> getDataFromPath(const std::string& path);

    bool shouldForceWrite() const { return shouldForceWrite_; }
    bool shouldWriteToDisk() const { return shouldWriteToDisk_.load(); }
    bool isUnPresisted() const;
    bool isSent() const;

  protected:
    // Guards the list and the two once-flags; the manager's lock is always taken before it.
    mutable std::recursive_mutex lock_;
    Models cachedModels_;

  private:
    const bool shouldForceWrite_;
    std::atomic<bool> shouldWriteToDisk_{false};
    bool isUnPresisted_ = false;
    bool isSent_ = false;
};
