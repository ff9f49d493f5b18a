#include "RequestBody.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>

namespace bdx::collector {

namespace {

std::string lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The media type of a Content-Type value: lower case, without its parameters.
std::string mediaType(const std::string& contentType) {
    return lowercase(trimmed(contentType.substr(0, contentType.find(';'))));
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// A quoted value that opens at `at` (just after its opening quote) and runs to the next quote.
std::optional<std::string> quotedUntil(const std::string& line, size_t at, size_t* end) {
    const auto close = line.find('"', at);
    if (close == std::string::npos) {
        return std::nullopt;
    }
    *end = close + 1;
    return line.substr(at, close - at);
}

// Reads the header lines of one part into `part`; returns the reason when they are not as the library writes
// them.
std::string readPartHeaders(const std::string& block, size_t number, MultipartPart& part) {
    const std::string where = "part " + std::to_string(number) + ": ";
    std::vector<std::string> lines;
    for (size_t from = 0;;) {
        const auto crlf = block.find("\r\n", from);
        lines.push_back(block.substr(from, crlf == std::string::npos ? std::string::npos : crlf - from));
        if (crlf == std::string::npos) {
            break;
        }
        from = crlf + 2;
    }
    static const std::string disposition = "Content-Disposition: form-data; name=\"";
    if (!startsWith(lines[0], disposition)) {
        return where +
               "expected a first header line beginning with 'Content-Disposition: form-data; name=\"', got "
               "'" +
               lines[0] + "'";
    }
    size_t end = 0;
    auto name = quotedUntil(lines[0], disposition.size(), &end);
    if (!name) {
        return where + "the name in '" + lines[0] + "' has no closing quote";
    }
    part.name = *name;
    const std::string rest = lines[0].substr(end);
    static const std::string filenamePrefix = "; filename=\"";
    if (rest.empty()) {
        if (lines.size() != 1) {
            return where + "field '" + part.name + "' has headers besides Content-Disposition: '" + lines[1] +
                   "'";
        }
        return "";
    }
    if (!startsWith(rest, filenamePrefix)) {
        return where + "unexpected text after the name in '" + lines[0] + "'";
    }
    auto filename = quotedUntil(rest, filenamePrefix.size(), &end);
    if (!filename || end != rest.size()) {
        return where + "the file name in '" + lines[0] + "' is not one quoted value ending the line";
    }
    part.filename = *filename;
    static const std::string contentTypePrefix = "Content-Type: ";
    if (lines.size() != 2 || !startsWith(lines[1], contentTypePrefix) ||
        lines[1].size() == contentTypePrefix.size()) {
        return where + "the file part must have exactly one more header line, 'Content-Type: <type>'";
    }
    part.contentType = lines[1].substr(contentTypePrefix.size());
    return "";
}

}  // namespace

Gunzipped gunzip(const std::string& compressed) {
    Gunzipped result;
    z_stream stream{};
    // 16 on top of the window bits accepts the gzip wrapper only, never a bare zlib stream.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK) {
        result.error = "the inflater could not start";
        return result;
    }
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
    stream.avail_in = static_cast<uInt>(compressed.size());
    char buffer[64 * 1024];
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(buffer);
        stream.avail_out = sizeof buffer;
        status = inflate(&stream, Z_NO_FLUSH);
        result.bytes.append(buffer, sizeof buffer - stream.avail_out);
        if (status == Z_BUF_ERROR && stream.avail_in == 0) {
            break;
        }
    }
    if (status == Z_STREAM_END) {
        if (stream.avail_in != 0) {
            result.error =
                "gzip: " + std::to_string(stream.avail_in) + " bytes follow the end of the gzip stream";
        }
    } else if (status == Z_BUF_ERROR || status == Z_OK) {
        result.error =
            "gzip: the stream is cut short (no end after " + std::to_string(compressed.size()) + " bytes)";
    } else {
        result.error =
            std::string("gzip: not a valid gzip stream (") + (stream.msg ? stream.msg : "zlib error") + ")";
    }
    inflateEnd(&stream);
    return result;
}

MultipartBody parseMultipart(const std::string& body, const std::string& boundary) {
    MultipartBody result;
    const std::string delimiter = "\r\n--" + boundary;
    const std::string closing = delimiter + "--\r\n";
    if (!startsWith(body, delimiter + "\r\n")) {
        result.error = "multipart: the body does not begin with CRLF, '--', the boundary and CRLF";
        return result;
    }
    size_t position = delimiter.size() + 2;
    for (size_t number = 1;; ++number) {
        const auto headersEnd = body.find("\r\n\r\n", position);
        if (headersEnd == std::string::npos) {
            result.error =
                "multipart: part " + std::to_string(number) + " has no blank line after its headers";
            return result;
        }
        MultipartPart part;
        const auto reason = readPartHeaders(body.substr(position, headersEnd - position), number, part);
        if (!reason.empty()) {
            result.error = "multipart: " + reason;
            return result;
        }
        const size_t contentStart = headersEnd + 4;
        if (part.filename) {
            // The file's bytes run to the closing delimiter, which must be the last bytes of the body.
            if (body.size() < contentStart + closing.size() ||
                body.compare(body.size() - closing.size(), closing.size(), closing) != 0) {
                result.error =
                    "multipart: the body does not end with CRLF, '--', the boundary, '--' and CRLF";
                return result;
            }
            part.content = body.substr(contentStart, body.size() - closing.size() - contentStart);
            if (part.content.find(delimiter + "\r\nContent-Disposition:") != std::string::npos) {
                result.error = "multipart: a part follows the file part '" + part.name + "'";
                return result;
            }
            result.parts.push_back(std::move(part));
            return result;
        }
        const auto next = body.find(delimiter, contentStart);
        if (next == std::string::npos) {
            result.error = "multipart: no boundary line after the value of field '" + part.name + "'";
            return result;
        }
        part.content = body.substr(contentStart, next - contentStart);
        result.parts.push_back(std::move(part));
        const size_t after = next + delimiter.size();
        if (body.compare(after, 2, "\r\n") == 0) {
            position = after + 2;
        } else if (body.compare(after, 4, "--\r\n") == 0) {
            result.error = "multipart: the body ends without a file part";
            return result;
        } else {
            result.error = "multipart: the boundary after field '" + result.parts.back().name +
                           "' is not followed by CRLF";
            return result;
        }
    }
}

std::optional<std::string> multipartBoundary(const std::string& contentType) {
    if (mediaType(contentType) != "multipart/form-data") {
        return std::nullopt;
    }
    static const std::string key = "boundary=";
    const auto at = contentType.find(key, contentType.find(';'));
    if (at == std::string::npos) {
        return std::string();
    }
    return trimmed(contentType.substr(at + key.size()));
}

DecodedBody decodeBody(const std::string& raw, const std::string& contentEncoding,
                       const std::string& contentType) {
    DecodedBody result;
    const std::string encoding = lowercase(trimmed(contentEncoding));
    if (raw.empty()) {
        result.kind = "empty";
        return result;
    }
    if (encoding == "gzip") {
        auto inflated = gunzip(raw);
        if (!inflated.error.empty()) {
            result.kind = "other";
            result.bytes = raw;
            result.error = inflated.error;
            return result;
        }
        result.bytes = std::move(inflated.bytes);
    } else if (encoding.empty() || encoding == "identity") {
        result.bytes = raw;
    } else {
        result.kind = "other";
        result.bytes = raw;
        result.error = "unsupported Content-Encoding '" + contentEncoding + "'";
        return result;
    }
    if (result.bytes.empty()) {
        result.kind = "empty";
        return result;
    }
    const std::string type = mediaType(contentType);
    if (type == "application/json") {
        result.kind = "json";
        try {
            result.json = Json::parse(result.bytes);
        } catch (const Json::exception& e) {
            result.error = std::string("json: ") + e.what();
        }
        return result;
    }
    if (auto boundary = multipartBoundary(contentType)) {
        result.kind = "multipart";
        if (*boundary != kMultipartBoundary) {
            result.error = "multipart: unexpected boundary '" + *boundary + "'";
            return result;
        }
        result.multipart = parseMultipart(result.bytes, *boundary);
        result.error = result.multipart.error;
        return result;
    }
    result.kind = "other";
    return result;
}

}  // namespace bdx::collector
