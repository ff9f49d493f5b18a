#include "core/BDXTypedText.h"

std::string bdx_ofType(const std::string& receiver, const std::string& type) {
    return "BDXType-" + type + ":" + receiver;
}

std::string bdx_type(const std::string& receiver) {
    const auto dash = receiver.find('-');
    const auto colon = receiver.find(':');
    if (dash == std::string::npos || colon == std::string::npos || colon < dash) {
        return receiver;
    }
    return receiver.substr(dash + 1, colon - dash - 1);
}

std::string bdx_value(const std::string& receiver) {
    const auto colon = receiver.find(':');
    if (colon == std::string::npos) {
        return receiver;
    }
    return receiver.substr(colon + 1);
}
