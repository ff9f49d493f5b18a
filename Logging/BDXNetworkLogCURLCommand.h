#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Data.h"
#include "platform/net/URLRequest.h"

// A request written as a curl command line that a POSIX shell runs as it stands, for the verbose
// diagnostics of a logged exchange: the method, the body, "--compressed" when gzip is accepted, the
// cookies the shared jar holds for the URL, every header field, then the URL.
std::string bdx_cURLCommandWithBody(const bdx::net::URLRequest& request,
                                    const std::optional<bdx::Data>& body);
// The same for the library's own requests, whose body is gzip-compressed: the body shown is the
// decompressed one.
std::string bdx_BrindlexcURLCommand(const bdx::net::URLRequest& request);
// Appends `argument`, without its surrounding blanks, after one blank.
void bdx_appendCommandLineArgument(std::string& command, std::string_view argument);
// The request's body as UTF-8 text; empty when there is none or it is not UTF-8.
std::string bdx_HTTPBodyString(const bdx::net::URLRequest& request);
