#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "foundation/Data.h"
#include "foundation/Date.h"
#include "foundation/Value.h"

namespace bdx {

// The preferences store: keys to values, kept in one JSON file (the standard store's is
// Library/Preferences/<domain>.json in the sandbox). Dates and bytes are stored in the tagged form of
// TaggedValue.
//
// Reads and writes work on memory and never wait for the disk; every change is written behind, soon, by a
// writer thread of the store, atomically (temporary file, flush, rename). synchronize() waits until
// everything set before it is on disk. A damaged file is logged, set aside beside itself as
// "<file>.corrupt-<time>" and replaced by an empty store. Safe from any thread.
class UserDefaults {
  public:
    // The standard store of the app. resetAllSingletons() (or resetStandardUserDefaults()) writes it out and
    // drops it; the next call reads the file again, as after a relaunch.
    static std::shared_ptr<UserDefaults> standardUserDefaults();
    static void resetStandardUserDefaults();
    // The name of the standard store's file: the app's bundle identifier once the host gives it, otherwise
    // "BrindlexCore". A change takes effect the next time the standard store is made; resetAllSingletons()
    // goes back to the default.
    static void setStandardDomainName(std::string_view name);
    static std::string standardDomainName();

    // A store over that file, read now.
    explicit UserDefaults(std::filesystem::path file);
    // Writes what is pending before it goes.
    ~UserDefaults();
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    const std::filesystem::path& filePath() const { return file_; }

    // The value under the key; null when there is none.
    Value objectForKey(std::string_view key) const;
    // Stores the value; a null value removes the key.
    void setObject(const Value& value, std::string_view key);
    void removeObjectForKey(std::string_view key);

    // The typed forms read numbers, booleans and number-like texts as the platform does, and answer false, 0
    // or nothing for a missing key or a value of another kind.
    bool boolForKey(std::string_view key) const;
    void setBool(bool value, std::string_view key);
    std::int64_t integerForKey(std::string_view key) const;
    void setInteger(std::int64_t value, std::string_view key);
    double doubleForKey(std::string_view key) const;
    void setDouble(double value, std::string_view key);
    // A text, or a number as text.
    std::optional<std::string> stringForKey(std::string_view key) const;
    void setString(std::string_view value, std::string_view key);
    std::optional<Data> dataForKey(std::string_view key) const;
    void setData(const Data& value, std::string_view key);
    std::optional<Date> dateForKey(std::string_view key) const;
    void setDate(Date value, std::string_view key);

    // Every key and value, as a dictionary (a copy).
    Value dictionaryRepresentation() const;

    // Waits until every change made before the call is on disk. False when the file could not be written
    // (logged).
    bool synchronize();

  private:
    void load();
    void changed();
    void startWriterLocked();
    void writerLoop();

    const std::filesystem::path file_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable written_;
    std::unique_ptr<Value> store_;
    std::uint64_t generation_ = 0;           // bumped by every change
    std::uint64_t writtenGeneration_ = 0;    // the last generation on disk
    std::uint64_t attemptedGeneration_ = 0;  // the last generation the writer tried
    std::uint64_t completedAttempts_ = 0;
    bool retryRequested_ = false;
    bool stopping_ = false;
    std::thread writer_;
};

}  // namespace bdx
