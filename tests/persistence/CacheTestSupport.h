#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/ClassRegistry.h"
#include "foundation/TaggedValue.h"
#include "persistence/BDXCachable.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXCacheManager.h"
#include "testing/SandboxTest.h"

namespace bdx::testing {

// The identifiers of the notes sent so far, in order, from any thread.
inline std::mutex gSentMutex;
inline std::vector<std::string> gSent;
inline std::vector<std::string> sentNotes() {
    std::lock_guard guard(gSentMutex);
    return gSent;
}

// A small cached model with a date and bytes in its record. Notes are equal when their texts are; a record
// without an identifier makes no note.
class NoteModel : public BDXCachable {
    BDX_DECLARE_CLASS(NoteModel, bdx::Object)

  public:
    NoteModel() = default;
    NoteModel(std::string identifier, std::string text, Date date = Date(), Data bytes = Data())
        : identifier_(std::move(identifier)), text_(std::move(text)), date_(date), bytes_(std::move(bytes)) {}
    static std::shared_ptr<NoteModel> make(const std::string& identifier, const std::string& text = "") {
        return std::make_shared<NoteModel>(identifier, text.empty() ? identifier : text);
    }

    Value dictionaryValue() const override {
        return {{coderNameForSelector("identifier"), identifier_},
                {coderNameForSelector("text"), text_},
                {coderNameForSelector("date"), TaggedValue::fromDate(date_)},
                {coderNameForSelector("bytes"), TaggedValue::fromData(bytes_)}};
    }
    bool initWithDictionary(const Value& record) override {
        if (!record.contains(coderNameForSelector("identifier"))) {
            return false;
        }
        identifier_ = record.at(coderNameForSelector("identifier")).get<std::string>();
        text_ = record.value(coderNameForSelector("text"), std::string());
        date_ = TaggedValue::toDate(record.value(coderNameForSelector("date"), Value())).value_or(Date());
        bytes_ = TaggedValue::toData(record.value(coderNameForSelector("bytes"), Value())).value_or(Data());
        return true;
    }
    void send() override {
        std::lock_guard guard(gSentMutex);
        gSent.push_back(identifier_);
    }
    void save() override { BDXCacheManager::getInstance()->saveCacheModel(shared_from_this()); }
    void remove() override { BDXCacheManager::getInstance()->removeCacheModel(shared_from_this()); }
    bool isFullySent() const override { return false; }
    std::string identifier() const override { return identifier_; }
    bool isEqual(const BDXCachable& other) const override {
        auto note = dynamic_cast<const NoteModel*>(&other);
        return note != nullptr && note->text_ == text_;
    }

  private:
    std::string identifier_;

  public:
    std::string text_;
    Date date_;
    Data bytes_;
};

// The cache of notes, in a file named after the cache class.
class NoteCache : public BDXCache {
    BDX_DECLARE_CLASS(NoteCache, BDXCache)

  public:
    explicit NoteCache(bool shouldForceWrite = false) : BDXCache(shouldForceWrite) {}
    std::string cacheDiskPath() const override { return BDXCache::cacheDiskPath() + "/" + className(); }
};

// A sandbox where notes are known by their class name, and none sent yet.
class CacheTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        ClassRegistry::registerClass<NoteModel>();
        std::lock_guard guard(gSentMutex);
        gSent.clear();
    }
    void TearDown() override {
        ClassRegistry::unregisterClass("NoteModel");
        SandboxTest::TearDown();
    }
};

// The identifiers of the models, in list order.
inline std::vector<std::string> identifiers(const BDXCache::Models& models) {
    std::vector<std::string> names;
    for (const auto& model : models) {
        names.push_back(model->identifier());
    }
    return names;
}

}  // namespace bdx::testing
