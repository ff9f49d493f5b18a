#include "platform/host/Info.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>

#include "foundation/Sandbox.h"
#include "foundation/SingletonReset.h"
#include "platform/PlatformLog.h"
#include "platform/host/RandomBytes.h"

#ifndef BDX_VERSION_STRING
#error "BDX_VERSION_STRING must be defined by the build"
#endif

namespace bdx::host {

namespace {

constexpr const char* kIdentifierKey = "CFBundleIdentifier";
constexpr const char* kNameKey = "CFBundleName";
constexpr const char* kDisplayNameKey = "CFBundleDisplayName";
constexpr const char* kShortVersionKey = "CFBundleShortVersionString";
constexpr const char* kVersionKey = "CFBundleVersion";
constexpr const char* kExecutableKey = "CFBundleExecutable";

void log(const std::string& message) {
    platformLog("host", message);
}

std::string programName() {
    std::error_code ec;
    const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec && !exe.filename().empty()) {
        return exe.filename().string();
    }
    return "BrindlexHost";
}

// KEY=VALUE lines, values possibly quoted.
std::string osReleaseField(const std::string& key) {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream in(path);
        if (!in) {
            continue;
        }
        std::string line;
        while (std::getline(in, line)) {
            if (line.compare(0, key.size() + 1, key + "=") != 0) {
                continue;
            }
            std::string value = line.substr(key.size() + 1);
            if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                value.back() == value.front()) {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
        return {};
    }
    return {};
}

bool isUUIDText(const std::string& s) {
    if (s.size() != 36) {
        return false;
    }
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (s[i] != '-') {
                return false;
            }
        } else if (!std::isxdigit(static_cast<unsigned char>(s[i]))) {
            return false;
        }
    }
    return true;
}

std::string trimmed(const std::string& s) {
    const auto b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) {
        return {};
    }
    const auto e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

std::optional<std::string> readIdentifierFile(const std::filesystem::path& file) {
    std::ifstream in(file);
    if (!in) {
        return std::nullopt;
    }
    std::stringstream ss;
    ss << in.rdbuf();
    std::string text = trimmed(ss.str());
    if (!isUUIDText(text)) {
        log("vendor identifier file " + file.string() + " holds no identifier; a new one replaces it");
        return std::nullopt;
    }
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

// Writes a fresh identifier unless another writer got there first; gives the identifier that is
// kept in the file afterwards, or nothing when the file cannot be written.
std::optional<std::string> storeIdentifierFile(const std::filesystem::path& file, const std::string& fresh,
                                               bool replaceExisting) {
    std::error_code ec;
    std::filesystem::create_directories(file.parent_path(), ec);
    const auto temp = file.parent_path() / (file.filename().string() + "." + std::to_string(::getpid()) +
                                            "." + makeUUIDString() + ".tmp");
    {
        std::ofstream out(temp, std::ios::trunc);
        out << fresh << '\n';
        out.flush();
        if (!out) {
            std::filesystem::remove(temp, ec);
            log("vendor identifier could not be written to " + file.string());
            return std::nullopt;
        }
    }
    if (replaceExisting) {
        std::filesystem::rename(temp, file, ec);
    } else {
        // A hard link never replaces an existing file: when two processes start at once, the
        // first identifier stays and both read it.
        std::filesystem::create_hard_link(temp, file, ec);
        std::error_code ignored;
        std::filesystem::remove(temp, ignored);
        if (ec == std::errc::file_exists) {
            return readIdentifierFile(file);
        }
    }
    if (ec) {
        std::error_code ignored;
        std::filesystem::remove(temp, ignored);
        log("vendor identifier could not be kept in " + file.string() + ": " + ec.message());
        return std::nullopt;
    }
    return fresh;
}

std::mutex gSharedMutex;
std::shared_ptr<Info> gShared;

}  // namespace

struct Info::State {
    Value info = Value::object();
    std::string libraryVersion = BDX_VERSION_STRING;
#ifdef BDX_BUILD_NUMBER
    std::string libraryBuild = BDX_BUILD_NUMBER;
#else
    // Builds carry no separate number yet; the version stands for it.
    std::string libraryBuild = BDX_VERSION_STRING;
#endif
    std::string systemName;
    std::string systemVersion;
    std::string model;
    std::filesystem::path storage;
    std::optional<std::string> vendorIdentifier;
    std::map<std::string, std::map<std::string, std::string>> localizedStrings;

    std::string string(const char* key) const {
        auto it = info.find(key);
        return it != info.end() && it->is_string() ? it->get<std::string>() : std::string{};
    }
};

std::string makeUUIDString() {
    std::array<std::uint8_t, 16> bytes{};
    randomBytes(bytes.data(), bytes.size());
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            out.push_back('-');
        }
        out.push_back(kHex[bytes[i] >> 4]);
        out.push_back(kHex[bytes[i] & 0x0F]);
    }
    return out;
}

Info::Info() : state_(std::make_unique<State>()) {
    const std::string name = programName();
    state_->info[kIdentifierKey] = "local." + name;
    state_->info[kNameKey] = name;
    state_->info[kExecutableKey] = name;
    state_->info[kShortVersionKey] = "1.0";
    state_->info[kVersionKey] = "1";

    struct utsname u {};
    const bool haveUname = ::uname(&u) == 0;
    state_->systemName = osReleaseField("NAME");
    state_->systemVersion = osReleaseField("VERSION_ID");
    if (haveUname) {
        if (state_->systemName.empty()) {
            state_->systemName = u.sysname;
        }
        if (state_->systemVersion.empty()) {
            state_->systemVersion = u.release;
        }
        state_->model = u.machine;
    } else {
        log("uname failed; system and model unknown");
    }
}

Info::~Info() = default;

Info::Info(const Info& other) : state_(std::make_unique<State>()) {
    std::lock_guard lock(other.mutex_);
    *state_ = *other.state_;
}

Info& Info::operator=(const Info& other) {
    if (this != &other) {
        std::scoped_lock lock(mutex_, other.mutex_);
        *state_ = *other.state_;
    }
    return *this;
}

std::shared_ptr<Info> Info::shared() {
    std::lock_guard lock(gSharedMutex);
    if (!gShared) {
        // Resets are consumed when they run, so each made instance registers its own.
        registerSingletonReset([] { Info::resetShared(); });
        gShared = std::make_shared<Info>();
        // The vendor identifier lives with the application's data, so that it survives a relaunch
        // and goes when the application's data goes.
        gShared->setStorageDirectory(Sandbox::current().library());
    }
    return gShared;
}

void Info::setShared(std::shared_ptr<Info> info) {
    std::lock_guard lock(gSharedMutex);
    gShared = std::move(info);
}

void Info::resetShared() {
    setShared(nullptr);
}

#define BDX_INFO_STRING_FIELD(getter, setter, key) \
    std::string Info::getter() const {             \
        std::lock_guard lock(mutex_);              \
        return state_->string(key);                \
    }                                              \
    void Info::setter(const std::string& v) {      \
        std::lock_guard lock(mutex_);              \
        state_->info[key] = v;                     \
    }

BDX_INFO_STRING_FIELD(bundleIdentifier, setBundleIdentifier, kIdentifierKey)
BDX_INFO_STRING_FIELD(bundleName, setBundleName, kNameKey)
BDX_INFO_STRING_FIELD(displayName, setDisplayName, kDisplayNameKey)
BDX_INFO_STRING_FIELD(shortVersionString, setShortVersionString, kShortVersionKey)
BDX_INFO_STRING_FIELD(bundleVersion, setBundleVersion, kVersionKey)

#undef BDX_INFO_STRING_FIELD

Value Info::infoDictionary() const {
    std::lock_guard lock(mutex_);
    return state_->info;
}

Value Info::objectForInfoDictionaryKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = state_->info.find(key);
    return it == state_->info.end() ? Value() : *it;
}

void Info::setObjectForInfoDictionaryKey(const std::string& key, const Value& value) {
    std::lock_guard lock(mutex_);
    if (value.is_null()) {
        state_->info.erase(key);
    } else {
        state_->info[key] = value;
    }
}

void Info::removeObjectForInfoDictionaryKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    state_->info.erase(key);
}

bool Info::hasInfoDictionaryKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    return state_->info.contains(key);
}

std::optional<std::string> Info::stringForInfoDictionaryKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = state_->info.find(key);
    if (it == state_->info.end() || !it->is_string()) {
        return std::nullopt;
    }
    return it->get<std::string>();
}

std::optional<bool> Info::boolForInfoDictionaryKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = state_->info.find(key);
    if (it == state_->info.end()) {
        return std::nullopt;
    }
    if (it->is_boolean()) {
        return it->get<bool>();
    }
    if (it->is_number()) {
        return it->get<double>() != 0;
    }
    if (it->is_string()) {
        // The platform reads "YES"/"true"/"1" style strings as true.
        const std::string s = it->get<std::string>();
        return !s.empty() &&
               (s[0] == 'Y' || s[0] == 'y' || s[0] == 'T' || s[0] == 't' || (s[0] >= '1' && s[0] <= '9'));
    }
    return std::nullopt;
}

std::string Info::libraryVersion() const {
    std::lock_guard lock(mutex_);
    return state_->libraryVersion;
}

std::string Info::libraryBuild() const {
    std::lock_guard lock(mutex_);
    return state_->libraryBuild;
}

void Info::setLibraryVersion(const std::string& version, const std::string& build) {
    std::lock_guard lock(mutex_);
    state_->libraryVersion = version;
    state_->libraryBuild = build;
}

std::string Info::systemName() const {
    std::lock_guard lock(mutex_);
    return state_->systemName;
}

void Info::setSystemName(const std::string& v) {
    std::lock_guard lock(mutex_);
    state_->systemName = v;
}

std::string Info::systemVersion() const {
    std::lock_guard lock(mutex_);
    return state_->systemVersion;
}

void Info::setSystemVersion(const std::string& v) {
    std::lock_guard lock(mutex_);
    state_->systemVersion = v;
}

std::string Info::model() const {
    std::lock_guard lock(mutex_);
    return state_->model;
}

void Info::setModel(const std::string& v) {
    std::lock_guard lock(mutex_);
    state_->model = v;
}

void Info::setStorageDirectory(const std::filesystem::path& dir) {
    std::lock_guard lock(mutex_);
    if (state_->storage != dir) {
        state_->storage = dir;
        // The identifier of another directory is not this one's.
        state_->vendorIdentifier.reset();
    }
}

std::filesystem::path Info::storageDirectory() const {
    std::lock_guard lock(mutex_);
    return state_->storage;
}

std::string Info::vendorIdentifier() const {
    std::lock_guard lock(mutex_);
    if (state_->vendorIdentifier) {
        return *state_->vendorIdentifier;
    }
    std::string id;
    if (state_->storage.empty()) {
        id = makeUUIDString();
    } else {
        const auto file = state_->storage / kVendorIdentifierFileName;
        std::error_code ec;
        const bool exists = std::filesystem::exists(file, ec);
        if (auto kept = exists ? readIdentifierFile(file) : std::nullopt) {
            id = *kept;
        } else {
            const std::string fresh = makeUUIDString();
            id = storeIdentifierFile(file, fresh, exists).value_or(fresh);
        }
    }
    state_->vendorIdentifier = id;
    return id;
}

void Info::setLocalizedStrings(const std::string& table, std::map<std::string, std::string> strings) {
    std::lock_guard lock(mutex_);
    state_->localizedStrings[table.empty() ? "Localizable" : table] = std::move(strings);
}

std::string Info::localizedStringForKey(const std::string& key, const std::string& value,
                                        const std::string& table) const {
    std::lock_guard lock(mutex_);
    const auto strings = state_->localizedStrings.find(table.empty() ? "Localizable" : table);
    if (strings != state_->localizedStrings.end()) {
        if (auto text = strings->second.find(key); text != strings->second.end()) {
            return text->second;
        }
    }
    return value.empty() ? key : value;
}

void Info::setVendorIdentifier(const std::string& v) {
    std::lock_guard lock(mutex_);
    state_->vendorIdentifier = v;
}

}  // namespace bdx::host
