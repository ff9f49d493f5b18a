#pragma once

// Gzip compression of request and file bodies, as operations on bytes. zlib is called directly.
//
// Every operation returns the resulting bytes, or nothing and, when `error` is given, the failure:
// the zlib status as code and one of the messages "Failed deflateInit", "Error deflating payload",
// "Failed inflateInit", "Error inflating payload". Empty input comes back as it is, not as a stream.

#include <optional>
#include <string>

#include "foundation/Data.h"

// The failure of a gzip operation.
struct BDXGZIPError {
    int code = 0;
    std::string message;
};

// Gzip at zlib's default level: level -1, window size 31 (15 window bits plus 16, the gzip wrapper),
// memory level 8, default strategy.
std::optional<bdx::Data> bdx_dataByGZipCompressingWithError(const bdx::Data& data,
                                                            BDXGZIPError* error = nullptr);

std::optional<bdx::Data> bdx_dataByGZipCompressingAtLevel(const bdx::Data& data, int level, int windowSize,
                                                          int memoryLevel, int strategy,
                                                          BDXGZIPError* error = nullptr);

// Inflates with window size 31, so the input must carry the gzip wrapper.
std::optional<bdx::Data> bdx_dataByGZipDecompressingDataWithError(const bdx::Data& data,
                                                                  BDXGZIPError* error = nullptr);

std::optional<bdx::Data> bdx_dataByGZipDecompressingDataWithWindowSize(const bdx::Data& data, int windowSize,
                                                                       BDXGZIPError* error = nullptr);
