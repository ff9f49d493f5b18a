#pragma once

// How the collector reads a request body the way the service would: the content encoding undone, then the
// body judged by its content type. Everything here is strict, because the collector exists to catch what the
// library gets wrong on the wire; a refusal carries the reason a developer needs to find the fault.

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace bdx::collector {

using Json = nlohmann::ordered_json;

// The one boundary the library writes; a multipart body with any other is refused.
inline constexpr const char* kMultipartBoundary = "---------------------------14737809831466499882746641449";

struct Gunzipped {
    std::string bytes;
    std::string error;  // empty when the stream was whole
};

// Inflates exactly one gzip member. Trailing bytes, a cut stream or a bad checksum are errors; the bytes
// inflated so far come back with the error.
Gunzipped gunzip(const std::string& compressed);

struct MultipartPart {
    std::string name;
    std::optional<std::string> filename;  // set on the file part only
    std::optional<std::string> contentType;
    std::string content;
};

struct MultipartBody {
    std::vector<MultipartPart> parts;  // the fields in order, then the one file part
    std::string error;                 // empty when the layout held
};

// Reads the layout the library writes: each field as "\r\n--B\r\n", its Content-Disposition line, a blank
// line and the value; then the file part with its file name and Content-Type; then "\r\n--B--\r\n" as the
// last bytes. Any deviation is reported with where it happened.
MultipartBody parseMultipart(const std::string& body, const std::string& boundary);

// The boundary parameter of a multipart Content-Type value, or nothing when the value is not
// "multipart/form-data; boundary=...".
std::optional<std::string> multipartBoundary(const std::string& contentType);

struct DecodedBody {
    std::string kind;   // "json", "multipart", "empty" or "other"
    std::string bytes;  // after the content encoding was undone (the raw bytes when that failed)
    Json json;          // the parsed body when kind is "json"
    MultipartBody multipart;
    std::string error;  // why the body is refused; empty when it is accepted
};

// Judges a body by its Content-Encoding and Content-Type header values (empty when absent).
DecodedBody decodeBody(const std::string& raw, const std::string& contentEncoding,
                       const std::string& contentType);

}  // namespace bdx::collector
