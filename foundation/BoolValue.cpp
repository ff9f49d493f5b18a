#include "foundation/BoolValue.h"

#include <cctype>
#include <nlohmann/json.hpp>

namespace bdx {

bool textAsBool(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) {
        ++i;
    }
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    while (i < text.size() && text[i] == '0') {
        ++i;
    }
    if (i >= text.size()) {
        return false;
    }
    const char c = text[i];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

bool boolValue(const Value& value) {
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    if (value.is_number()) {
        return value.get<double>() != 0.0;
    }
    if (value.is_string()) {
        return textAsBool(value.get_ref<const std::string&>());
    }
    return false;
}

}  // namespace bdx
