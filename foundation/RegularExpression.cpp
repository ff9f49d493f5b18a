#include "foundation/RegularExpression.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdio>

namespace bdx {

struct RegularExpression::Compiled {
    pcre2_code* code = nullptr;
    ~Compiled() { pcre2_code_free(code); }
};

namespace {

std::string errorText(int code) {
    PCRE2_UCHAR buffer[256];
    if (pcre2_get_error_message(code, buffer, sizeof buffer) < 0) {
        return "error " + std::to_string(code);
    }
    return reinterpret_cast<const char*>(buffer);
}

}  // namespace

RegularExpression::RegularExpression(std::string pattern, std::unique_ptr<Compiled> compiled)
    : pattern_(std::move(pattern)), compiled_(std::move(compiled)) {}

RegularExpression::~RegularExpression() = default;

std::shared_ptr<RegularExpression> RegularExpression::make(const std::string& pattern, std::string* error) {
    int errorCode = 0;
    PCRE2_SIZE errorOffset = 0;
    // Host texts are not guaranteed to be valid UTF-8: invalid sequences simply never match instead of
    // failing the whole search.
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                     PCRE2_UTF | PCRE2_MATCH_INVALID_UTF, &errorCode, &errorOffset, nullptr);
    if (!code) {
        if (error) {
            *error = errorText(errorCode) + " at offset " + std::to_string(errorOffset);
        }
        return nullptr;
    }
    auto compiled = std::make_unique<Compiled>();
    compiled->code = code;
    return std::shared_ptr<RegularExpression>(new RegularExpression(pattern, std::move(compiled)));
}

std::optional<RegularExpression::Match> RegularExpression::firstMatch(std::string_view text,
                                                                      std::size_t start) const {
    if (start > text.size()) {
        return std::nullopt;
    }
    std::unique_ptr<pcre2_match_data, void (*)(pcre2_match_data*)> data(
        pcre2_match_data_create_from_pattern(compiled_->code, nullptr), pcre2_match_data_free);
    if (!data) {
        return std::nullopt;
    }
    const int result = pcre2_match(compiled_->code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                                   start, 0, data.get(), nullptr);
    if (result == PCRE2_ERROR_NOMATCH) {
        return std::nullopt;
    }
    if (result < 0) {
        std::fprintf(stderr, "RegularExpression: matching \"%s\" gave up: %s\n", pattern_.c_str(),
                     errorText(result).c_str());
        return std::nullopt;
    }
    const std::uint32_t groups = pcre2_get_ovector_count(data.get());
    const PCRE2_SIZE* offsets = pcre2_get_ovector_pointer(data.get());
    std::uint32_t captures = 0;
    pcre2_pattern_info(compiled_->code, PCRE2_INFO_CAPTURECOUNT, &captures);

    Match match;
    for (std::uint32_t i = 0; i <= captures && i < groups; ++i) {
        const PCRE2_SIZE begin = offsets[2 * i];
        const PCRE2_SIZE end = offsets[2 * i + 1];
        if (begin == PCRE2_UNSET || end < begin) {
            match.ranges.emplace_back(std::nullopt);
        } else {
            match.ranges.emplace_back(std::pair<std::size_t, std::size_t>(begin, end - begin));
        }
    }
    return match;
}

bool RegularExpression::matchesEntirely(std::string_view text) const {
    // Anchoring at match time keeps the pattern as written, so alternations are anchored as a whole.
    std::unique_ptr<pcre2_match_data, void (*)(pcre2_match_data*)> data(
        pcre2_match_data_create_from_pattern(compiled_->code, nullptr), pcre2_match_data_free);
    if (!data) {
        return false;
    }
    const int result = pcre2_match(compiled_->code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0,
                                   PCRE2_ANCHORED | PCRE2_ENDANCHORED, data.get(), nullptr);
    if (result < 0 && result != PCRE2_ERROR_NOMATCH) {
        std::fprintf(stderr, "RegularExpression: matching \"%s\" gave up: %s\n", pattern_.c_str(),
                     errorText(result).c_str());
    }
    return result >= 0;
}

}  // namespace bdx
