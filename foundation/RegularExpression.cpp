#include "foundation/RegularExpression.h"

#include <unicode/uregex.h>
#include <unicode/utext.h>

#include "foundation/Console.h"
#include "foundation/Error.h"

namespace bdx {

// The compiled pattern; matching works on a clone of it, since one expression may serve several threads.
struct RegularExpression::Compiled {
    URegularExpression* expression = nullptr;
    ~Compiled() { uregex_close(expression); }
};

namespace {

struct Closer {
    void operator()(URegularExpression* expression) const { uregex_close(expression); }
};
using Handle = std::unique_ptr<URegularExpression, Closer>;

struct TextCloser {
    void operator()(UText* text) const { utext_close(text); }
};
// UTF-8 text read in place; indices of matches are then byte offsets into it.
using TextHandle = std::unique_ptr<UText, TextCloser>;

TextHandle openUtf8(std::string_view text, UErrorCode* status) {
    return TextHandle(utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), status));
}

void logFailure(const std::string& pattern, UErrorCode status) {
    Console::logFault("RegularExpression: matching \"" + pattern + "\" gave up: " + u_errorName(status));
}

}  // namespace

RegularExpression::RegularExpression(std::string pattern, std::unique_ptr<Compiled> compiled)
    : pattern_(std::move(pattern)), compiled_(std::move(compiled)) {}

RegularExpression::~RegularExpression() = default;

std::shared_ptr<RegularExpression> RegularExpression::make(const std::string& pattern, Error* error) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    TextHandle patternText = openUtf8(pattern, &status);
    URegularExpression* expression = uregex_openUText(patternText.get(), 0, &where, &status);
    if (U_FAILURE(status) || !expression) {
        uregex_close(expression);
        if (error) {
            *error =
                Error::withDescription(std::string(Error::CocoaErrorDomain), InvalidPatternErrorCode,
                                       "The value \"" + pattern + "\" is invalid (" + u_errorName(status) +
                                           " at offset " + std::to_string(where.offset) + ").");
        }
        return nullptr;
    }
    auto compiled = std::make_unique<Compiled>();
    compiled->expression = expression;
    return std::shared_ptr<RegularExpression>(new RegularExpression(pattern, std::move(compiled)));
}

std::optional<RegularExpression::Match> RegularExpression::firstMatch(std::string_view text,
                                                                      std::size_t start) const {
    if (start > text.size()) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    Handle matcher(uregex_clone(compiled_->expression, &status));
    TextHandle input = openUtf8(text, &status);
    uregex_setUText(matcher.get(), input.get(), &status);
    const UBool found = uregex_find64(matcher.get(), static_cast<int64_t>(start), &status);
    if (U_FAILURE(status)) {
        logFailure(pattern_, status);
        return std::nullopt;
    }
    if (!found) {
        return std::nullopt;
    }
    const int32_t groups = uregex_groupCount(matcher.get(), &status);
    Match match;
    for (int32_t group = 0; group <= groups && U_SUCCESS(status); ++group) {
        // Indices are bytes of the UTF-8 text.
        const int64_t begin = uregex_start64(matcher.get(), group, &status);
        const int64_t end = uregex_end64(matcher.get(), group, &status);
        if (begin < 0 || end < begin) {
            match.ranges.emplace_back(std::nullopt);
        } else {
            match.ranges.emplace_back(std::pair<std::size_t, std::size_t>(
                static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
        }
    }
    if (U_FAILURE(status)) {
        logFailure(pattern_, status);
        return std::nullopt;
    }
    return match;
}

bool RegularExpression::matchesEntirely(std::string_view text) const {
    UErrorCode status = U_ZERO_ERROR;
    Handle matcher(uregex_clone(compiled_->expression, &status));
    TextHandle input = openUtf8(text, &status);
    uregex_setUText(matcher.get(), input.get(), &status);
    const UBool matches = uregex_matches64(matcher.get(), 0, &status);
    if (U_FAILURE(status)) {
        logFailure(pattern_, status);
        return false;
    }
    return matches;
}

}  // namespace bdx
