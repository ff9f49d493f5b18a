#include "persistence/BDXCache.h"

#include <nlohmann/json.hpp>

#include <algorithm>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/DispatchQueue.h"
#include "persistence/BDXCachable.h"
#include "persistence/BDXCacheDecoder.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXDiskPersistenceManager.h"

BDXCache::BDXCache() : BDXCache(false) {}

BDXCache::BDXCache(bool shouldForceWrite) : shouldForceWrite_(shouldForceWrite) {}

BDXCache::~BDXCache() = default;

void BDXCache::append(const Models& objects) {
    std::lock_guard guard(lock_);
    for (const auto& object : objects) {
        if (object) {
            cachedModels_.push_back(object);
        }
    }
}

void BDXCache::remove(const Models& objects) {
    std::lock_guard guard(lock_);
    for (const auto& object : objects) {
        if (!object) {
            continue;
        }
        auto match = std::find_if(cachedModels_.rbegin(), cachedModels_.rend(),
                                  [&](const auto& model) { return model->isEqual(*object); });
        if (match != cachedModels_.rend()) {
            cachedModels_.erase(std::next(match).base());
        }
    }
}

bool BDXCache::contains(const std::shared_ptr<BDXCachable>& object) const {
    if (!object) {
        return false;
    }
    std::lock_guard guard(lock_);
    return std::any_of(cachedModels_.begin(), cachedModels_.end(),
                       [&](const auto& model) { return model->isEqual(*object); });
}

void BDXCache::persistAll() {
    if (shouldForceWrite_) {
        std::lock_guard guard(lock_);
        writeModels(cachedModels_, cacheDiskPath());
        return;
    }
    // Test and set apart, as a change that slips in between is taken by the write already scheduled.
    if (shouldWriteToDisk_.load()) {
        return;
    }
    shouldWriteToDisk_.store(true);
    std::weak_ptr<BDXCache> weakSelf = weak_from_this();
    bdx::DispatchQueue::main()->after(getWritingOperationTimeInterval(), [weakSelf] {
        auto self = weakSelf.lock();
        if (!self) {
            return;
        }
        std::lock_guard guard(self->lock_);
        self->shouldWriteToDisk_.store(false);
        self->writeModels(self->cachedModels_, self->cacheDiskPath());
    });
}

void BDXCache::forcePersistAll() {
    std::lock_guard guard(lock_);
    writeModels(cachedModels_, cacheDiskPath());
}

void BDXCache::unpersistAll() {
    std::lock_guard guard(lock_);
    if (isUnPresisted_) {
        return;
    }
    Models restored = getCache();
    cachedModels_.insert(cachedModels_.end(), restored.begin(), restored.end());
    isUnPresisted_ = true;
}

void BDXCache::sendAll() {
    std::lock_guard guard(lock_);
    if (isSent_) {
        return;
    }
    // A copy: a model's send may save or remove itself on this thread, changing the list as it is walked.
    const Models models = cachedModels_;
    for (const auto& model : models) {
        model->send();
    }
    isSent_ = true;
}

void BDXCache::clearAll() {
    std::lock_guard guard(lock_);
    cachedModels_.clear();
}

std::shared_ptr<BDXCachable> BDXCache::getLastObject() const {
    std::lock_guard guard(lock_);
    return cachedModels_.empty() ? nullptr : cachedModels_.back();
}

BDXCache::Models BDXCache::getCache() {
    return readModelsFromPath(cacheDiskPath()).value_or(Models{});
}

BDXCache::Models BDXCache::getAllObjects() const {
    std::lock_guard guard(lock_);
    return cachedModels_;
}

std::string BDXCache::cacheDiskPath() const {
    auto disk = BDXDiskPersistenceManager::getInstance();
    const std::string path = disk->getCacheDirectory() + "cachedModels";
    disk->createCacheDirectoryAtPath(path);
    return path;
}

void BDXCache::writeModels(const Models& models, const std::string& toPath) {
    const std::string text = BDXCacheDecoder::getDicationaryFromModels(models).dump(
        -1, ' ', false, bdx::Value::error_handler_t::replace);
    bdx::Data bytes(text.begin(), text.end());
    if (shouldForceWrite_) {
        BDXDiskIOManager::getInstance()->forceWriteData(bytes, toPath);
    } else {
        BDXDiskIOManager::getInstance()->writeData(std::move(bytes), toPath);
    }
}

std::optional<BDXCache::Models> BDXCache::readModelsFromPath(const std::string& path) {
    auto bytes = getDataFromPath(path);
    if (!bytes || bytes->empty()) {
        return std::nullopt;
    }
    const bdx::Value array = bdx::Value::parse(bytes->begin(), bytes->end(), nullptr, false);
    if (array.is_discarded() || !array.is_array()) {
        BDXSDKLogError("The cache file %@ cannot be read and is taken as empty", path);
        return Models{};
    }
    return BDXCacheDecoder::getModelsFrom(array);
}

std::optional<bdx::Data> BDXCache::getDataFromPath(const std::string& path) {
    return BDXDiskIOManager::getInstance()->readFileAtPath(path);
}

bool BDXCache::isUnPresisted() const {
    std::lock_guard guard(lock_);
    return isUnPresisted_;
}

bool BDXCache::isSent() const {
    std::lock_guard guard(lock_);
    return isSent_;
}
