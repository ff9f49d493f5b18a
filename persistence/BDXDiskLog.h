#pragma once

#include <string_view>

// The disk store's verbose diagnostics ("Faild to write file to the disk error:%@" and its like). They go
// to the system log at debug level, where the platform's own debug lines go, and never to the console.
void BDXDiskLogVerbose(std::string_view line);
