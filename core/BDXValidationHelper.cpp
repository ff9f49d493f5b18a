#include "core/BDXValidationHelper.h"

#include "foundation/RegularExpression.h"

bool BDXValidationHelper::isValidEmail(const std::string& email) {
    if (email.empty()) {
        return false;
    }
    static const auto expression =
        bdx::RegularExpression::make(R"([A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\.[A-Za-z]+)");
    return expression && expression->matchesEntirely(email);
}

bool BDXValidationHelper::isValidInput(const std::string& input) {
    // White space and line breaks in the Unicode sense: a text of no-break spaces is empty too.
    static const auto blank = bdx::RegularExpression::make(R"([\s\p{Z}\x{85}]*)");
    return blank && !blank->matchesEntirely(input);
}
