#include "Logging/BDXNetworkLogCURLCommand.h"

#include "Logging/BDXNetworkLogCategories.h"
#include "archives/BDXGZIP.h"
#include "platform/net/HTTPCookieStorage.h"

namespace {

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// The body inside a shell's double quotes. The backslashes go first, so that one put before a
// later character is not doubled in turn.
std::string doubleQuoted(std::string text) {
    replaceAll(text, "\\", "\\\\");
    replaceAll(text, "`", "\\`");
    replaceAll(text, "\"", "\\\"");
    replaceAll(text, "$", "\\$");
    return "\"" + text + "\"";
}

// A header as "-H" takes it. The value's single quotes get a backslash; POSIX shells do not honour that
// inside single quotes, so a header holding one must be edited by hand before the command runs there.
std::string headerArgument(const std::string& name, std::string value) {
    replaceAll(value, "'", "\\'");
    return "'" + name + ": " + value + "'";
}

std::string utf8Text(const bdx::Data& bytes) {
    return bdx_isUTF8(bytes) ? std::string(bytes.begin(), bytes.end()) : std::string();
}

}  // namespace

void bdx_appendCommandLineArgument(std::string& command, std::string_view argument) {
    const auto first = argument.find_first_not_of(" \t");
    const auto last = argument.find_last_not_of(" \t");
    command += ' ';
    if (first != std::string_view::npos) {
        command += argument.substr(first, last - first + 1);
    }
}

std::string bdx_HTTPBodyString(const bdx::net::URLRequest& request) {
    return request.HTTPBody() ? utf8Text(*request.HTTPBody()) : std::string();
}

std::string bdx_cURLCommandWithBody(const bdx::net::URLRequest& request,
                                    const std::optional<bdx::Data>& body) {
    std::string command = "curl";
    bdx_appendCommandLineArgument(command, "-X " + request.HTTPMethod());
    if (body && !body->empty()) {
        bdx_appendCommandLineArgument(command, "-d " + doubleQuoted(utf8Text(*body)));
    }
    const auto acceptEncoding = request.valueForHTTPHeaderField("Accept-Encoding");
    if (acceptEncoding && acceptEncoding->find("gzip") != std::string::npos) {
        bdx_appendCommandLineArgument(command, "--compressed");
    }
    if (!request.URL().empty()) {
        const auto cookies =
            bdx::net::HTTPCookieStorage::sharedHTTPCookieStorage()->cookiesForURL(request.URL());
        if (!cookies.empty()) {
            std::string pairs;
            for (const auto& cookie : cookies) {
                pairs += cookie.name() + "=" + cookie.value() + ";";
            }
            bdx_appendCommandLineArgument(command, "--cookie \"" + pairs + "\"");
        }
    }
    for (const auto& [name, value] : request.allHTTPHeaderFields()) {
        bdx_appendCommandLineArgument(command, "-H " + headerArgument(name, value));
    }
    bdx_appendCommandLineArgument(command, "\"" + request.URL() + "\"");
    return command;
}

std::string bdx_BrindlexcURLCommand(const bdx::net::URLRequest& request) {
    std::optional<bdx::Data> body;
    if (request.HTTPBody()) {
        body = bdx_dataByGZipDecompressingDataWithError(*request.HTTPBody());
    }
    return bdx_cURLCommandWithBody(request, body);
}
