#pragma once

// Gzip compression of request and file bodies, as operations on bytes. zlib is called directly.
//
// Every operation returns the resulting bytes, or nothing and, when `error` is given, an error of domain
// kBDXGZIPErrorDomain with the zlib status as code and one of the descriptions "Failed deflateInit",
// "Error deflating payload", "Failed inflateInit", "Error inflating payload". Empty input comes back as
// it is, not as a stream.

#include <optional>

#include "foundation/Data.h"
#include "foundation/Error.h"

inline constexpr const char* kBDXGZIPErrorDomain = "com.bdx.gzip";

// Gzip at zlib's default level: level -1, window size 31 (15 window bits plus 16, the gzip wrapper),
// memory level 8, default strategy.
std::optional<bdx::Data> bdx_dataByGZipCompressingWithError(const bdx::Data& data,
                                                            bdx::Error* error = nullptr);

std::optional<bdx::Data> bdx_dataByGZipCompressingAtLevel(const bdx::Data& data, int level, int windowSize,
                                                          int memoryLevel, int strategy,
                                                          bdx::Error* error = nullptr);

// Inflates with window size 31, so the input must carry the gzip wrapper.
std::optional<bdx::Data> bdx_dataByGZipDecompressingDataWithError(const bdx::Data& data,
                                                                  bdx::Error* error = nullptr);

std::optional<bdx::Data> bdx_dataByGZipDecompressingDataWithWindowSize(const bdx::Data& data, int windowSize,
                                                                       bdx::Error* error = nullptr);
