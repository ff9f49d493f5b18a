#pragma once

#include <string>

// The checks the library runs on what a user types.
class BDXValidationHelper {
  public:
    // An address of the usual local@domain.tld form, the whole text; "" is never one.
    static bool isValidEmail(const std::string& email);
    // Whether anything is left once white space and line breaks are trimmed.
    static bool isValidInput(const std::string& input);
};
