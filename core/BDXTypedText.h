#pragma once

#include <string>

// Diagnostic values carry their type inside the text ("BDXType-BOOL:YES"), so that a line read back
// from a log can be split into what the value was and what kind of value it was.

// "BDXType-<type>:<receiver>".
std::string bdx_ofType(const std::string& receiver, const std::string& type);
// The text between the first "-" and the first ":"; the receiver itself when either mark is missing.
std::string bdx_type(const std::string& receiver);
// The text behind the first ":"; the receiver itself when there is none.
std::string bdx_value(const std::string& receiver);
