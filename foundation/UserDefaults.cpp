#include "foundation/UserDefaults.h"

#include <errno.h>

#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <system_error>

#include "foundation/AtomicFile.h"
#include "foundation/BoolValue.h"
#include "foundation/ConcurrencyLog.h"
#include "foundation/Console.h"
#include "foundation/Sandbox.h"
#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"
#include "foundation/TaggedValue.h"

namespace bdx {
namespace {

constexpr const char* kDefaultDomainName = "BrindlexCore";

struct StandardState {
    std::mutex mutex;
    std::shared_ptr<UserDefaults> instance;
    std::string domainName = kDefaultDomainName;
    bool domainResetRegistered = false;
};

StandardState& standardState() {
    return neverDestroyed<StandardState>();
}

std::filesystem::path setAsideName(const std::filesystem::path& file) {
    const auto stamp = static_cast<long long>(std::floor(Date::now().timeIntervalSince1970()));
    std::filesystem::path candidate = file;
    candidate += ".corrupt-" + std::to_string(stamp);
    std::error_code ec;
    for (int n = 1; std::filesystem::exists(candidate, ec); ++n) {
        candidate = file;
        candidate += ".corrupt-" + std::to_string(stamp) + "-" + std::to_string(n);
    }
    return candidate;
}

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::standardUserDefaults() {
    auto& s = standardState();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.instance) {
        s.instance =
            std::make_shared<UserDefaults>(Sandbox::current().preferences() / (s.domainName + ".json"));
        registerSingletonReset(resetStandardUserDefaults);
    }
    return s.instance;
}

void UserDefaults::resetStandardUserDefaults() {
    std::shared_ptr<UserDefaults> dropped;
    {
        auto& s = standardState();
        std::lock_guard<std::mutex> lock(s.mutex);
        dropped.swap(s.instance);
    }
    // Its last write happens here, outside the lock, when the last holder lets go.
}

void UserDefaults::setStandardDomainName(std::string_view name) {
    if (name.empty() || name.find('/') != std::string_view::npos) {
        Console::logFault("unusable preferences name \"" + std::string(name) + "\" ignored");
        return;
    }
    auto& s = standardState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.domainName = name;
    if (!s.domainResetRegistered) {
        s.domainResetRegistered = true;
        registerSingletonReset([] {
            auto& state = standardState();
            std::lock_guard<std::mutex> resetLock(state.mutex);
            state.domainName = kDefaultDomainName;
            state.domainResetRegistered = false;
        });
    }
}

std::string UserDefaults::standardDomainName() {
    auto& s = standardState();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.domainName;
}

UserDefaults::UserDefaults(std::filesystem::path file)
    : file_(std::move(file)), store_(std::make_unique<Value>(Value::object())) {
    load();
}

UserDefaults::~UserDefaults() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (writer_.joinable()) {
        writer_.join();
    }
}

void UserDefaults::load() {
    Error error;
    std::optional<Data> bytes = AtomicFile::read(file_, &error);
    if (!bytes) {
        if (error.code() != ENOENT) {
            Console::logFault("cannot read the preferences " + file_.string() + ": " +
                              error.localizedDescription());
        }
        return;
    }
    Value parsed = Value::parse(bytes->begin(), bytes->end(), nullptr, false);
    if (parsed.is_object()) {
        *store_ = std::move(parsed);
        return;
    }
    const std::filesystem::path aside = setAsideName(file_);
    std::error_code ec;
    std::filesystem::rename(file_, aside, ec);
    if (ec) {
        Console::logFault("the preferences " + file_.string() + " are damaged and cannot be set aside (" +
                          ec.message() + "); starting empty");
    } else {
        Console::logFault("the preferences " + file_.string() + " are damaged; set aside as " +
                          aside.string() + ", starting empty");
    }
}

// Called with mutex_ held after every change.
void UserDefaults::changed() {
    ++generation_;
    startWriterLocked();
    wake_.notify_one();
}

void UserDefaults::startWriterLocked() {
    if (!writer_.joinable()) {
        writer_ = std::thread(
            [this] { ConcurrencyLog::runGuarded("the preferences writer", [this] { writerLoop(); }); });
    }
}

void UserDefaults::writerLoop() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock,
                   [this] { return stopping_ || retryRequested_ || attemptedGeneration_ < generation_; });
        const bool pending =
            attemptedGeneration_ < generation_ || (retryRequested_ && writtenGeneration_ < generation_);
        retryRequested_ = false;
        if (!pending) {
            if (stopping_) {
                return;
            }
            continue;
        }
        // Writes the whole store as it is now, which covers every change made so far; changes made during the
        // write bump the generation and cause another one.
        const std::uint64_t generation = generation_;
        // Text the host handed over need not be UTF-8; a strict dump would throw on this thread and end
        // the process, so such bytes are written as replacement characters.
        const std::string text = store_->dump(2, ' ', false, Value::error_handler_t::replace);
        lock.unlock();
        Error error;
        const bool ok = AtomicFile::write(file_, text, &error);
        if (!ok) {
            Console::logFault("cannot write the preferences " + file_.string() + ": " +
                              error.localizedDescription());
        }
        lock.lock();
        attemptedGeneration_ = generation;
        ++completedAttempts_;
        if (ok) {
            writtenGeneration_ = generation;
        }
        written_.notify_all();
        // A failed write is not retried on its own (the disk is likely full): the next change or
        // synchronize() tries again, and a store going away gives up after its one last try.
        if (stopping_ && (ok ? writtenGeneration_ >= generation_ : true)) {
            return;
        }
    }
}

bool UserDefaults::synchronize() {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::uint64_t target = generation_;
    if (writtenGeneration_ >= target) {
        return true;
    }
    const std::uint64_t attemptsBefore = completedAttempts_;
    retryRequested_ = true;
    startWriterLocked();
    wake_.notify_one();
    written_.wait(lock, [this, target, attemptsBefore] {
        return writtenGeneration_ >= target ||
               (completedAttempts_ > attemptsBefore && attemptedGeneration_ >= target);
    });
    return writtenGeneration_ >= target;
}

Value UserDefaults::objectForKey(std::string_view key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = store_->find(std::string(key));
    return it == store_->end() ? Value() : *it;
}

void UserDefaults::setObject(const Value& value, std::string_view key) {
    if (value.is_null() || value.is_discarded()) {
        removeObjectForKey(key);
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    (*store_)[std::string(key)] = value;
    changed();
}

void UserDefaults::removeObjectForKey(std::string_view key) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (store_->erase(std::string(key)) > 0) {
        changed();
    }
}

bool UserDefaults::boolForKey(std::string_view key) const {
    return boolValue(objectForKey(key));
}

void UserDefaults::setBool(bool value, std::string_view key) {
    setObject(Value(value), key);
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
    const Value value = objectForKey(key);
    if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        return std::isfinite(number) ? static_cast<std::int64_t>(number) : 0;
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? 1 : 0;
    }
    if (value.is_string()) {
        return std::strtoll(value.get<std::string>().c_str(), nullptr, 10);
    }
    return 0;
}

void UserDefaults::setInteger(std::int64_t value, std::string_view key) {
    setObject(Value(value), key);
}

double UserDefaults::doubleForKey(std::string_view key) const {
    const Value value = objectForKey(key);
    if (value.is_number()) {
        return value.get<double>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? 1.0 : 0.0;
    }
    if (value.is_string()) {
        return std::strtod(value.get<std::string>().c_str(), nullptr);
    }
    return 0.0;
}

void UserDefaults::setDouble(double value, std::string_view key) {
    setObject(Value(value), key);
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    const Value value = objectForKey(key);
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_boolean()) {
        return std::string(value.get<bool>() ? "1" : "0");
    }
    if (value.is_number()) {
        return value.dump();
    }
    return std::nullopt;
}

void UserDefaults::setString(std::string_view value, std::string_view key) {
    setObject(Value(value), key);
}

std::optional<Data> UserDefaults::dataForKey(std::string_view key) const {
    return TaggedValue::toData(objectForKey(key));
}

void UserDefaults::setData(const Data& value, std::string_view key) {
    setObject(TaggedValue::fromData(value), key);
}

std::optional<Date> UserDefaults::dateForKey(std::string_view key) const {
    return TaggedValue::toDate(objectForKey(key));
}

void UserDefaults::setDate(Date value, std::string_view key) {
    setObject(TaggedValue::fromDate(value), key);
}

Value UserDefaults::dictionaryRepresentation() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return *store_;
}

}  // namespace bdx
