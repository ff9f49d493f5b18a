#include "foundation/Error.h"

#include <cstring>
#include <nlohmann/json.hpp>

#include "foundation/Console.h"

namespace bdx {
namespace {

const Value& emptyDictionary() {
    static const Value empty = Value::object();
    return empty;
}

// The few texts the platform gives errors it makes itself without a description.
std::optional<std::string> platformDescription(std::string_view domain, std::int64_t code) {
    if (domain == Error::CocoaErrorDomain && code == 3072) {
        return "The operation was cancelled.";
    }
    if (domain == Error::URLErrorDomain && code == -999) {
        return "cancelled";
    }
    return std::nullopt;
}

std::string userInfoEntryText(const Value& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

Error::Error() = default;
Error::~Error() = default;
Error::Error(const Error&) = default;
Error::Error(Error&&) noexcept = default;
Error& Error::operator=(const Error&) = default;
Error& Error::operator=(Error&&) noexcept = default;

Error::Error(std::string domain, std::int64_t code) : domain_(std::move(domain)), code_(code) {}

Error::Error(std::string domain, std::int64_t code, const Value& userInfo)
    : domain_(std::move(domain)), code_(code) {
    if (userInfo.is_object()) {
        if (!userInfo.empty()) {
            userInfo_ = std::make_shared<const Value>(userInfo);
        }
    } else if (!userInfo.is_null()) {
        Console::logFault("an error's user info must be a dictionary; dropped " + userInfo.dump() +
                          " of domain " + domain_);
    }
}

Error Error::withDescription(std::string domain, std::int64_t code, std::string_view description) {
    Value info = Value::object();
    info[std::string(LocalizedDescriptionKey)] = std::string(description);
    return Error(std::move(domain), code, info);
}

Error Error::posix(int code) {
    char buffer[256];
    // The GNU strerror_r returns the text, which may or may not be in the buffer.
    const char* text = strerror_r(code, buffer, sizeof buffer);
    return withDescription(std::string(POSIXErrorDomain), code, text ? text : "");
}

Error Error::withUnderlyingError(const Error& cause) const {
    Error copy = *this;
    copy.underlying_ = std::make_shared<const Error>(cause);
    return copy;
}

const Value& Error::userInfo() const {
    return userInfo_ ? *userInfo_ : emptyDictionary();
}

std::optional<std::string> Error::userInfoString(std::string_view key) const {
    if (!userInfo_) {
        return std::nullopt;
    }
    auto it = userInfo_->find(std::string(key));
    if (it == userInfo_->end() || !it->is_string()) {
        return std::nullopt;
    }
    return it->get<std::string>();
}

std::string Error::localizedDescription() const {
    if (auto description = userInfoString(LocalizedDescriptionKey)) {
        return *description;
    }
    if (auto reason = userInfoString(LocalizedFailureReasonKey)) {
        return "The operation couldn\u2019t be completed. " + *reason;
    }
    if (auto known = platformDescription(domain_, code_)) {
        return *known;
    }
    return "The operation couldn\u2019t be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
}

std::string Error::description() const {
    std::string text = "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"";
    text += userInfoString(LocalizedDescriptionKey).value_or("(null)");
    text += "\"";
    const bool hasInfo = userInfo_ || underlying_;
    if (hasInfo) {
        text += " UserInfo={";
        bool first = true;
        if (userInfo_) {
            for (auto it = userInfo_->begin(); it != userInfo_->end(); ++it) {
                text += first ? "" : ", ";
                text += it.key() + "=" + userInfoEntryText(it.value());
                first = false;
            }
        }
        if (underlying_) {
            text += first ? "" : ", ";
            // Appended in place: gcc 12 warns of a false overflow on a chain of string temporaries here.
            text += UnderlyingErrorKey;
            text += '=';
            text += underlying_->description();
        }
        text += "}";
    }
    return text;
}

bool Error::operator==(const Error& other) const {
    return domain_ == other.domain_ && code_ == other.code_ && userInfo() == other.userInfo();
}

}  // namespace bdx
