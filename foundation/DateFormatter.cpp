#include "foundation/DateFormatter.h"

#include <unicode/udat.h>

#include "foundation/Console.h"
#include "foundation/Icu.h"

namespace bdx {

struct DateFormatter::Engine {
    Icu::DateFormatHandle handle;
};

DateFormatter::DateFormatter() : zone_(TimeZone::local()) {}

DateFormatter::DateFormatter(std::string_view dateFormat) : format_(dateFormat), zone_(TimeZone::local()) {}

DateFormatter::DateFormatter(std::string_view dateFormat, TimeZone timeZone)
    : format_(dateFormat), zone_(std::move(timeZone)) {}

DateFormatter::~DateFormatter() = default;

std::string DateFormatter::dateFormat() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return format_;
}

void DateFormatter::setDateFormat(std::string_view dateFormat) {
    std::lock_guard<std::mutex> lock(mutex_);
    format_ = dateFormat;
    engine_.reset();
    engineFailed_ = false;
}

TimeZone DateFormatter::timeZone() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return zone_;
}

void DateFormatter::setTimeZone(const TimeZone& timeZone) {
    std::lock_guard<std::mutex> lock(mutex_);
    zone_ = timeZone;
    engine_.reset();
    engineFailed_ = false;
}

std::string DateFormatter::localeIdentifier() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return locale_;
}

void DateFormatter::setLocaleIdentifier(std::string_view identifier) {
    std::lock_guard<std::mutex> lock(mutex_);
    locale_ = identifier;
    engine_.reset();
    engineFailed_ = false;
}

DateFormatter::Engine* DateFormatter::engine() const {
    if (engine_ || engineFailed_) {
        return engine_.get();
    }
    UErrorCode status = U_ZERO_ERROR;
    Icu::DateFormatHandle format = Icu::openDateFormat(format_, zone_.name(), locale_, &status);
    if (!format) {
        engineFailed_ = true;
        Console::logFault("cannot use the date format \"" + format_ + "\" (" + u_errorName(status) + ")");
        return nullptr;
    }
    engine_ = std::make_unique<Engine>(Engine{std::move(format)});
    return engine_.get();
}

std::string DateFormatter::stringFromDate(Date date) const {
    std::lock_guard<std::mutex> lock(mutex_);
    Engine* e = engine();
    if (!e) {
        return {};
    }
    UChar buffer[256];
    UErrorCode status = U_ZERO_ERROR;
    const UDate millis = Icu::millisecondsFromSeconds(date.timeIntervalSince1970());
    int32_t length = udat_format(e->handle.get(), millis, buffer, 256, nullptr, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        std::u16string large(static_cast<size_t>(length), u'\0');
        status = U_ZERO_ERROR;
        length = udat_format(e->handle.get(), millis, reinterpret_cast<UChar*>(large.data()), length, nullptr,
                             &status);
        return U_SUCCESS(status) ? Icu::toUtf8(Icu::chars(large), length) : std::string();
    }
    return U_SUCCESS(status) ? Icu::toUtf8(buffer, length) : std::string();
}

std::optional<Date> DateFormatter::dateFromString(std::string_view text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    Engine* e = engine();
    if (!e || text.empty()) {
        return std::nullopt;
    }
    const std::u16string input = Icu::toUtf16(text);
    int32_t position = 0;
    UErrorCode status = U_ZERO_ERROR;
    const UDate millis =
        udat_parse(e->handle.get(), Icu::chars(input), Icu::length(input), &position, &status);
    if (U_FAILURE(status) || position != Icu::length(input)) {
        return std::nullopt;
    }
    return Date(millis / 1000.0);
}

}  // namespace bdx
