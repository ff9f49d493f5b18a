#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/ClassRegistry.h"
#include "foundation/Data.h"
#include "foundation/Date.h"
#include "foundation/TaggedValue.h"
#include "persistence/BDXCachable.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXCacheManager.h"

namespace bdx::testing {

// Which notes were sent, in order, from any thread.
class SendJournal {
  public:
    static void add(const std::string& identifier) {
        std::lock_guard guard(mutex());
        entries().push_back(identifier);
    }
    static std::vector<std::string> sent() {
        std::lock_guard guard(mutex());
        return entries();
    }
    static void clear() {
        std::lock_guard guard(mutex());
        entries().clear();
    }

  private:
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::vector<std::string>& entries() {
        static std::vector<std::string> e;
        return e;
    }
};

// A small cached model with a date and bytes in its record. Two notes are equal when their texts are.
class NoteModel : public BDXCachable {
    BDX_DECLARE_CLASS(NoteModel, bdx::Object)

  public:
    NoteModel() = default;
    NoteModel(std::string identifier, std::string text, bdx::Date date = bdx::Date(),
              bdx::Data bytes = bdx::Data())
        : identifier_(std::move(identifier)), text_(std::move(text)), date_(date), bytes_(std::move(bytes)) {}

    static std::shared_ptr<NoteModel> make(const std::string& identifier, const std::string& text = "") {
        return std::make_shared<NoteModel>(identifier, text.empty() ? identifier : text);
    }

    bdx::Value dictionaryValue() const override {
        bdx::Value record = bdx::Value::object();
        record[coderNameForSelector("identifier")] = identifier_;
        record[coderNameForSelector("text")] = text_;
        record[coderNameForSelector("date")] = bdx::TaggedValue::fromDate(date_);
        record[coderNameForSelector("bytes")] = bdx::TaggedValue::fromData(bytes_);
        return record;
    }
    // A record without an identifier makes no note.
    bool initWithDictionary(const bdx::Value& record) override {
        auto identifier = record.find(coderNameForSelector("identifier"));
        if (identifier == record.end() || !identifier->is_string()) {
            return false;
        }
        identifier_ = identifier->get<std::string>();
        text_ = record.value(coderNameForSelector("text"), std::string());
        date_ = bdx::TaggedValue::toDate(record.value(coderNameForSelector("date"), bdx::Value()))
                    .value_or(bdx::Date());
        bytes_ = bdx::TaggedValue::toData(record.value(coderNameForSelector("bytes"), bdx::Value()))
                     .value_or(bdx::Data());
        return true;
    }
    void send() override { SendJournal::add(identifier_); }
    void save() override { BDXCacheManager::getInstance()->saveCacheModel(shared_from_this()); }
    void remove() override { BDXCacheManager::getInstance()->removeCacheModel(shared_from_this()); }
    bool isFullySent() const override { return false; }
    std::string identifier() const override { return identifier_; }
    bool isEqual(const BDXCachable& other) const override {
        auto note = dynamic_cast<const NoteModel*>(&other);
        return note != nullptr && note->text_ == text_;
    }

    void setText(std::string text) { text_ = std::move(text); }
    const std::string& text() const { return text_; }
    bdx::Date date() const { return date_; }
    const bdx::Data& bytes() const { return bytes_; }

  private:
    std::string identifier_;
    std::string text_;
    bdx::Date date_;
    bdx::Data bytes_;
};

// The cache of notes, in a file named after the cache class.
class NoteCache : public BDXCache {
    BDX_DECLARE_CLASS(NoteCache, BDXCache)

  public:
    explicit NoteCache(bool shouldForceWrite = false) : BDXCache(shouldForceWrite) {}
    std::string cacheDiskPath() const override { return BDXCache::cacheDiskPath() + "/" + className(); }
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
