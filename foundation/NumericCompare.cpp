#include "foundation/NumericCompare.h"

#include <cstddef>

namespace bdx {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The digit run starting at `at`, without its leading zeros.
std::string_view digitRun(std::string_view text, std::size_t& at) {
    std::size_t start = at;
    while (at < text.size() && isDigit(text[at])) {
        ++at;
    }
    std::string_view run = text.substr(start, at - start);
    std::size_t firstSignificant = run.find_first_not_of('0');
    return firstSignificant == std::string_view::npos ? std::string_view() : run.substr(firstSignificant);
}

}  // namespace

int compareNumerically(std::string_view left, std::string_view right) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < left.size() && j < right.size()) {
        if (isDigit(left[i]) && isDigit(right[j])) {
            std::string_view a = digitRun(left, i);
            std::string_view b = digitRun(right, j);
            if (a.size() != b.size()) {
                return a.size() < b.size() ? -1 : 1;
            }
            if (int order = a.compare(b); order != 0) {
                return order < 0 ? -1 : 1;
            }
            continue;
        }
        unsigned char a = static_cast<unsigned char>(left[i]);
        unsigned char b = static_cast<unsigned char>(right[j]);
        if (a != b) {
            return a < b ? -1 : 1;
        }
        ++i;
        ++j;
    }
    bool leftDone = i >= left.size();
    bool rightDone = j >= right.size();
    if (leftDone && rightDone) {
        return 0;
    }
    return leftDone ? -1 : 1;
}

}  // namespace bdx
