#include "core/BDXAttributedString.h"

BDXAttributedString::BDXAttributedString(std::string text, BDXTextAttributes attributes)
    : text_(std::move(text)) {
    if (!text_.empty()) {
        runs_.push_back({0, text_.size(), std::move(attributes)});
    }
}

BDXTextAttributes BDXAttributedString::attributesAtIndex(std::size_t index) const {
    for (const auto& run : runs_) {
        if (index >= run.location && index < run.location + run.length) {
            return run.attributes;
        }
    }
    return {};
}

bool BDXAttributedString::isValidRange(std::size_t location, std::size_t length) const {
    return location <= text_.size() && length <= text_.size() - location;
}

std::size_t BDXAttributedString::splitAt(std::size_t position) {
    for (std::size_t i = 0; i < runs_.size(); ++i) {
        Run& run = runs_[i];
        if (run.location == position) {
            return i;
        }
        if (position > run.location && position < run.location + run.length) {
            Run tail{position, run.location + run.length - position, run.attributes};
            run.length = position - run.location;
            runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(tail));
            return i + 1;
        }
    }
    return runs_.size();
}

void BDXAttributedString::coalesce() {
    std::vector<Run> merged;
    merged.reserve(runs_.size());
    for (auto& run : runs_) {
        if (run.length == 0) {
            continue;
        }
        if (!merged.empty() && merged.back().attributes == run.attributes) {
            merged.back().length += run.length;
        } else {
            merged.push_back(std::move(run));
        }
    }
    runs_ = std::move(merged);
}

bool BDXAttributedString::replaceCharactersInRange(std::size_t location, std::size_t length,
                                                   const std::string& text) {
    if (!isValidRange(location, length)) {
        return false;
    }
    BDXTextAttributes inherited;
    if (length > 0 || location == 0) {
        inherited = attributesAtIndex(location);
    } else {
        inherited = attributesAtIndex(location - 1);
    }

    const std::size_t first = splitAt(location);
    const std::size_t last = splitAt(location + length);
    runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(first),
                runs_.begin() + static_cast<std::ptrdiff_t>(last));
    for (std::size_t i = first; i < runs_.size(); ++i) {
        runs_[i].location = runs_[i].location - length + text.size();
    }
    runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(first),
                 Run{location, text.size(), std::move(inherited)});
    text_.replace(location, length, text);
    coalesce();
    return true;
}

bool BDXAttributedString::addAttributes(const BDXTextAttributes& attributes, std::size_t location,
                                        std::size_t length) {
    if (!isValidRange(location, length)) {
        return false;
    }
    const std::size_t first = splitAt(location);
    const std::size_t last = splitAt(location + length);
    for (std::size_t i = first; i < last; ++i) {
        if (attributes.link) {
            runs_[i].attributes.link = attributes.link;
        }
        if (attributes.foregroundColor) {
            runs_[i].attributes.foregroundColor = attributes.foregroundColor;
        }
    }
    coalesce();
    return true;
}
