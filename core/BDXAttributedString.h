// Public header: installed with the library for hosts to include.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/gfx/Color.h"

// The attributes the library puts on text: a link target and a text colour. Absent means "not set",
// so that adding attributes to a range merges with what is there.
struct BDXTextAttributes {
    std::optional<std::string> link;
    std::optional<bdx::gfx::Color> foregroundColor;

    bool operator==(const BDXTextAttributes&) const = default;
};

// Text with attributes over ranges of it, the value that labels draw from. Locations and lengths count
// bytes of the UTF-8 text.
class BDXAttributedString {
  public:
    // A stretch of text whose attributes are the same throughout. The runs of a string are in order,
    // touch one another, cover the whole text, and no two neighbours have equal attributes.
    struct Run {
        std::size_t location = 0;
        std::size_t length = 0;
        BDXTextAttributes attributes;

        bool operator==(const Run&) const = default;
    };

    BDXAttributedString() = default;
    explicit BDXAttributedString(std::string text, BDXTextAttributes attributes = {});

    const std::string& string() const { return text_; }
    std::size_t length() const { return text_.size(); }
    const std::vector<Run>& runs() const { return runs_; }

    // The attributes of the byte at `index`; none past the end.
    BDXTextAttributes attributesAtIndex(std::size_t index) const;

    // Replaces the range by `text`. The new text takes the attributes of the first byte replaced, or of
    // the byte before when nothing is replaced, so an edit inside a link stays part of the link.
    // A range reaching past the end changes nothing and returns false.
    bool replaceCharactersInRange(std::size_t location, std::size_t length, const std::string& text);
    // Sets the given attributes over the range, keeping the others. Same range rule.
    bool addAttributes(const BDXTextAttributes& attributes, std::size_t location, std::size_t length);

    bool operator==(const BDXAttributedString&) const = default;

  private:
    bool isValidRange(std::size_t location, std::size_t length) const;
    // Makes a run start at `position` and returns its index (runs_.size() at the end of the text).
    std::size_t splitAt(std::size_t position);
    void coalesce();

    std::string text_;
    std::vector<Run> runs_;
};
