// Public header: installed with the library for hosts to include.
#pragma once

// The library's marker class: it carries no behaviour, it names the library for the host and its
// version constants.
class BrindlexCore {};

extern const double BrindlexCoreVersionNumber;
extern const char* const BrindlexCoreVersionString;
