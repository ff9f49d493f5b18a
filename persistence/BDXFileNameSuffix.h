#pragma once

#include <string>

// "a.txt" with suffix "1" gives "a-1.txt"; a name without extension gets the suffix at its end ("a-1").
// Only the last extension counts ("a.tar.gz" gives "a.tar-1.gz"), and a leading dot does not start one.
std::string bdx_stringByAppendingFileNameSuffix(const std::string& fileName, const std::string& suffix);
