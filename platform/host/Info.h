// Public header: installed with the library for hosts to include.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Value.h"

namespace bdx::host {

// Who the host application is and what it runs on: the bundle's identity and information
// dictionary, the library's own version, the system and the device model, and the vendor
// identifier. The host sets what it knows at start; everything else comes from the system.
//
// Safe to read and set from any thread.
class Info {
  public:
    // Filled from the running system: the program's file name (from /proc/self/exe) as bundle name
    // and executable, "local.<name>" as bundle identifier, "1.0" and "1" as short version and build
    // (a plain program carries none; the host sets its own), no display name, the system from
    // /etc/os-release and uname, the device model from uname's machine field.
    Info();
    ~Info();
    Info(const Info&);
    Info& operator=(const Info&);

    // The instance the library reads. Made from the system on first use unless the host set one.
    static std::shared_ptr<Info> shared();
    static void setShared(std::shared_ptr<Info> info);
    // Drops the shared instance so that the next shared() builds a fresh one (tests).
    static void destroy();

    // Bundle identity. The named fields are also the information dictionary's values under
    // "CFBundleIdentifier", "CFBundleName", "CFBundleDisplayName", "CFBundleShortVersionString" and
    // "CFBundleVersion": setting one sets the other.
    std::string bundleIdentifier() const;
    void setBundleIdentifier(const std::string& v);
    std::string bundleName() const;
    void setBundleName(const std::string& v);
    // Empty when the dictionary has no "CFBundleDisplayName".
    std::string displayName() const;
    void setDisplayName(const std::string& v);
    std::string shortVersionString() const;
    void setShortVersionString(const std::string& v);
    std::string bundleVersion() const;
    void setBundleVersion(const std::string& v);

    // The host's information dictionary (a JSON object of strings, bools, numbers and arrays), as
    // the platform's main bundle answers objectForInfoDictionaryKey. Readers include
    // <nlohmann/json.hpp>.
    Value infoDictionary() const;
    // The value under the key, or a null Value when absent.
    Value objectForInfoDictionaryKey(const std::string& key) const;
    void setObjectForInfoDictionaryKey(const std::string& key, const Value& value);
    void removeObjectForInfoDictionaryKey(const std::string& key);
    bool hasInfoDictionaryKey(const std::string& key) const;
    // A string value under the key; nothing when absent or not a string.
    std::optional<std::string> stringForInfoDictionaryKey(const std::string& key) const;
    // A bool value under the key (a number reads as its truth); nothing when absent.
    std::optional<bool> boolForInfoDictionaryKey(const std::string& key) const;

    // The library's own version and build ("CFBundleShortVersionString" and "CFBundleVersion" of
    // its bundle): the version the build was configured with.
    std::string libraryVersion() const;
    std::string libraryBuild() const;
    void setLibraryVersion(const std::string& version, const std::string& build);

    // The system: on Linux the name is NAME and the version VERSION_ID of /etc/os-release (the
    // distribution the user sees), falling back to uname's sysname and release.
    std::string systemName() const;
    void setSystemName(const std::string& v);
    std::string systemVersion() const;
    void setSystemVersion(const std::string& v);
    // The machine field of uname ("x86_64", "aarch64"; "iPhone10,3" on a phone).
    std::string model() const;
    void setModel(const std::string& v);

    // Where the vendor identifier is kept (the application's Library directory). Until one is set,
    // the identifier lives in memory only, for the life of this object.
    void setStorageDirectory(const std::filesystem::path& dir);
    std::filesystem::path storageDirectory() const;
    // An upper-case UUID v4 string, made once and kept in "<storage>/BDXVendorIdentifier" so that
    // it survives relaunches; the same text for every call. A file that cannot be read or written is
    // logged and the identifier is kept in memory.
    std::string vendorIdentifier() const;
    void setVendorIdentifier(const std::string& v);

    // The host application's own strings tables (its Localizable.strings and the like): a host
    // overrides a text the library shows or reports by giving a key of that table another value.
    void setLocalizedStrings(const std::string& table, std::map<std::string, std::string> strings);
    // The host's text for `key` in `table` ("Localizable" when empty). Without one: `value`, or the
    // key itself when `value` is empty, as the platform's bundle answers.
    std::string localizedStringForKey(const std::string& key, const std::string& value,
                                      const std::string& table = {}) const;

    // The file the vendor identifier is kept in, inside a storage directory.
    static constexpr const char* kVendorIdentifierFileName = "BDXVendorIdentifier";

  private:
    struct State;
    mutable std::mutex mutex_;
    std::unique_ptr<State> state_;
};

// A random UUID v4 in the platform's upper-case text form.
std::string makeUUIDString();

}  // namespace bdx::host
