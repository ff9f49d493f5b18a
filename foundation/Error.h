// Public header: installed with the library for hosts to include.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Value.h"

namespace bdx {

// What went wrong, as the platform's error objects tell it: a domain, a code and a dictionary of user info.
// Immutable once made and cheap to copy. A default-made Error is "no error" (empty domain, code 0); it is
// what an error out-parameter holds before anything fails.
class Error {
  public:
    // User-info keys and domains of the platform, spelt as it spells them.
    static constexpr std::string_view LocalizedDescriptionKey = "NSLocalizedDescription";
    static constexpr std::string_view LocalizedFailureReasonKey = "NSLocalizedFailureReason";
    static constexpr std::string_view UnderlyingErrorKey = "NSUnderlyingError";
    static constexpr std::string_view CocoaErrorDomain = "NSCocoaErrorDomain";
    static constexpr std::string_view URLErrorDomain = "NSURLErrorDomain";
    static constexpr std::string_view POSIXErrorDomain = "NSPOSIXErrorDomain";

    Error();
    Error(std::string domain, std::int64_t code);
    // `userInfo` is expected to be a dictionary; anything else is logged and dropped.
    Error(std::string domain, std::int64_t code, const Value& userInfo);
    ~Error();
    Error(const Error&);
    Error(Error&&) noexcept;
    Error& operator=(const Error&);
    Error& operator=(Error&&) noexcept;

    // An error whose user info holds only the description under LocalizedDescriptionKey.
    static Error withDescription(std::string domain, std::int64_t code, std::string_view description);
    // A POSIX-domain error for errno value `code`, described by the system's text for it.
    static Error posix(int code);

    // A copy of this error that names `cause` as its underlying error.
    Error withUnderlyingError(const Error& cause) const;

    const std::string& domain() const { return domain_; }
    std::int64_t code() const { return code_; }
    // Always a dictionary (empty when there is no user info).
    const Value& userInfo() const;
    // The user-info entry under `key` when it is a string.
    std::optional<std::string> userInfoString(std::string_view key) const;
    const Error* underlyingError() const { return underlying_.get(); }

    // The user-info description when there is one; otherwise the platform's generic sentence naming the
    // domain and code.
    std::string localizedDescription() const;
    // The platform's one-line debugging form: Error Domain=... Code=... "..." UserInfo={...}
    std::string description() const;

    // True for a default-made Error, which stands for no error at all.
    bool isEmpty() const { return domain_.empty() && code_ == 0; }

    // Same domain, code and user info.
    bool operator==(const Error& other) const;

  private:
    std::string domain_;
    std::int64_t code_ = 0;
    std::shared_ptr<const Value> userInfo_;
    std::shared_ptr<const Error> underlying_;
};

}  // namespace bdx
