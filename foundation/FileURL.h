#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace bdx {

// File URLs as the platform reads and writes them. The library accepts either a plain path or a file URL
// wherever it takes a file, and hands files out as file URLs.

// The bytes a percent-escaped text stands for ("clip%20one" is "clip one"); nothing when an escape is not
// two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

// The path of a URL of any scheme: behind the scheme and authority, before the query and fragment, escapes
// decoded (an invalid escape is kept as it stands). A text without a scheme is taken as a path already.
std::string pathOfURL(std::string_view url);

// The local path a file URL names: "file:///tmp/clip%20one.mp4", "file://localhost/tmp/clip%20one.mp4" and
// "file:/tmp/clip%20one.mp4" all name "/tmp/clip one.mp4"; the query and fragment are not part of it, a
// trailing slash is dropped. A text without a scheme is a path and comes back as it is. Nothing (and a log
// line) for another scheme, another host, an invalid escape or an escaped NUL.
std::optional<std::string> pathOfFileURL(std::string_view urlOrPath);

// The file URL of a path, relative paths taken from the working directory: "/tmp/clip one.mp4" is
// "file:///tmp/clip%20one.mp4". Bytes outside the characters a URL path allows, "%", and non-ASCII
// (UTF-8) bytes are escaped; "/" and the sub-delimiters a path keeps ("!$&'()*+,;=:@") are not.
std::string fileURLWithPath(std::string_view path);

}  // namespace bdx
