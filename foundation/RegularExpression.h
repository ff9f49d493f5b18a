#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bdx {

class Error;

// A compiled regular expression (Perl syntax, UTF-8 aware), the stand-in for NSRegularExpression.
// Matching never recurses on the stack, so a long text from the host cannot overflow a thread's
// stack; a compiled expression may be used from several threads at once.
class RegularExpression {
  public:
    // One match: the whole match first, then each capture group, as (location, length) in bytes of the
    // text. A group that took no part in the match has no range.
    struct Match {
        std::vector<std::optional<std::pair<std::size_t, std::size_t>>> ranges;
    };

    // The platform's code for a pattern that does not compile (in the Cocoa error domain).
    static constexpr std::int64_t InvalidPatternErrorCode = 2048;

    // Nothing for an invalid pattern; `error` then tells why (Cocoa domain, InvalidPatternErrorCode,
    // a description naming the pattern and where it went wrong).
    static std::shared_ptr<RegularExpression> make(const std::string& pattern, Error* error = nullptr);

    ~RegularExpression();
    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

    const std::string& pattern() const { return pattern_; }

    // The leftmost match at or after `start`; none when there is none or matching gave up (logged).
    std::optional<Match> firstMatch(std::string_view text, std::size_t start = 0) const;
    // Whether the whole text, from its first byte to its last, is one match.
    bool matchesEntirely(std::string_view text) const;

  private:
    struct Compiled;
    RegularExpression(std::string pattern, std::unique_ptr<Compiled> compiled);

    std::string pattern_;
    std::unique_ptr<Compiled> compiled_;
};

}  // namespace bdx
