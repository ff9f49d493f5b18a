#include "foundation/FileURL.h"

#include <filesystem>
#include <system_error>

#include "foundation/Console.h"

namespace bdx {
namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

// The scheme of a URL ("file", "https"), or empty when the text does not start with one.
std::string_view schemeOf(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        return {};
    }
    const auto isAlpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    if (!isAlpha(text[0])) {
        return {};
    }
    for (std::size_t i = 1; i < colon; ++i) {
        const char c = text[i];
        if (!isAlpha(c) && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') {
            return {};
        }
    }
    return text.substr(0, colon);
}

// Characters a URL path keeps as they are: the unreserved ones, the sub-delimiters, ":", "@" and "/".
bool keptInPath(unsigned char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
        return true;
    }
    switch (c) {
        case '-':
        case '.':
        case '_':
        case '~':
        case '!':
        case '$':
        case '&':
        case '\'':
        case '(':
        case ')':
        case '*':
        case '+':
        case ',':
        case ';':
        case '=':
        case ':':
        case '@':
        case '/':
            return true;
        default:
            return false;
    }
}

void logRefused(std::string_view url, std::string_view why) {
    Console::systemLog("\"" + std::string(url) + "\" is not a local file URL: " + std::string(why),
                       Console::LogType::Error);
}

}  // namespace

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

std::string pathOfURL(std::string_view url) {
    if (!schemeOf(url).empty()) {
        url.remove_prefix(schemeOf(url).size() + 1);
        if (url.substr(0, 2) == "//") {
            url.remove_prefix(2);
            const auto authorityEnd = url.find_first_of("/?#");
            url.remove_prefix(authorityEnd == std::string_view::npos ? url.size() : authorityEnd);
        }
    }
    url = url.substr(0, url.find_first_of("?#"));
    std::string path;
    // An escape that is not one stays as it stands.
    for (std::size_t i = 0; i < url.size(); ++i) {
        const int high = url[i] == '%' && i + 2 < url.size() ? hexDigit(url[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(url[i + 2]) : -1;
        if (low >= 0) {
            path += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            path += url[i];
        }
    }
    return path;
}

std::optional<std::string> pathOfFileURL(std::string_view urlOrPath) {
    const std::string_view scheme = schemeOf(urlOrPath);
    if (scheme.empty()) {
        return std::string(urlOrPath);
    }
    if (!equalsIgnoringCase(scheme, "file")) {
        logRefused(urlOrPath, "another scheme");
        return std::nullopt;
    }
    std::string_view rest = urlOrPath.substr(scheme.size() + 1);
    if (rest.substr(0, 2) == "//") {
        rest.remove_prefix(2);
        const auto hostEnd = rest.find('/');
        const std::string_view host = rest.substr(0, hostEnd);
        if (!host.empty() && !equalsIgnoringCase(host, "localhost")) {
            logRefused(urlOrPath, "the file is on another host");
            return std::nullopt;
        }
        rest.remove_prefix(hostEnd == std::string_view::npos ? rest.size() : hostEnd);
    }
    rest = rest.substr(0, rest.find_first_of("?#"));
    if (rest.empty() || rest.front() != '/') {
        logRefused(urlOrPath, "no absolute path");
        return std::nullopt;
    }
    auto path = percentDecoded(rest);
    if (!path) {
        logRefused(urlOrPath, "an escape is not two hexadecimal digits");
        return std::nullopt;
    }
    if (path->find('\0') != std::string::npos) {
        logRefused(urlOrPath, "it names a NUL byte");
        return std::nullopt;
    }
    while (path->size() > 1 && path->back() == '/') {
        path->pop_back();
    }
    return path;
}

std::string fileURLWithPath(std::string_view path) {
    std::string absolute(path);
    if (absolute.empty() || absolute.front() != '/') {
        std::error_code ec;
        const auto made = std::filesystem::absolute(std::filesystem::path(absolute), ec);
        if (!ec) {
            absolute = made.string();
        }
    }
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string url = "file://";
    url.reserve(url.size() + absolute.size());
    for (const char c : absolute) {
        const auto byte = static_cast<unsigned char>(c);
        if (keptInPath(byte)) {
            url += c;
        } else {
            url += '%';
            url += kHex[byte >> 4];
            url += kHex[byte & 0xF];
        }
    }
    return url;
}

}  // namespace bdx
