// The curl rendering of a request: its arguments and their quoting, and the command of a logged exchange
// run by the curl program against the reference collector, which must receive the same request.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "Logging/BDXInspector.h"
#include "Logging/BDXNetworkLogCURLCommand.h"
#include "Logging/BDXNetworkLogger.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "archives/BDXGZIP.h"
#include "platform/net/HTTPCookieStorage.h"
#include "testing/Collector.h"
#include "testing/ConsoleCapture.h"
#include "tests/Logging/LoggingTestSupport.h"
#include "tests/Logging/NetworkLogTestSupport.h"

namespace {

using bdx::net::HTTPCookie;
using bdx::net::HTTPCookieStorage;
using bdx::net::URLRequest;
using bdx::testing::bytes;

const std::string kURL = "https://api.example.com/v1/items";

URLRequest getRequest() {
    URLRequest request(kURL);
    request.setHTTPMethod("GET");
    return request;
}

TEST(CURLCommand, TheBodyIsEscapedForDoubleQuotesBackslashesFirst) {
    struct Case {
        std::string body;
        std::string argument;
    };
    const std::vector<Case> cases{
        {R"(a\b)", R"(-d "a\\b")"},
        {"`id`", R"(-d "\`id\`")"},
        {R"(say "hi")", R"(-d "say \"hi\"")"},
        {"$HOME", R"(-d "\$HOME")"},
        // The backslash put before a later character is not doubled.
        {R"(\$)", R"(-d "\\\$")"},
        {R"(\`"$)", R"(-d "\\\`\"\$")"},
        {"it's", R"(-d "it's")"},
        {"  padded  ", R"(-d "  padded  ")"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ("curl -X GET " + c.argument + " \"" + kURL + "\"",
                  bdx_cURLCommandWithBody(getRequest(), bytes(c.body)))
            << c.body;
    }
    // No bytes, no body argument; bytes that are not text give an empty one.
    EXPECT_EQ("curl -X GET \"" + kURL + "\"", bdx_cURLCommandWithBody(getRequest(), std::nullopt));
    EXPECT_EQ("curl -X GET \"" + kURL + "\"", bdx_cURLCommandWithBody(getRequest(), bdx::Data()));
    EXPECT_EQ("curl -X GET -d \"\" \"" + kURL + "\"",
              bdx_cURLCommandWithBody(getRequest(), bdx::Data{0xff, 0x41}));
}

TEST(CURLCommand, ArgumentsComeInTheirOrderWithCookiesOfTheJarAndQuotedHeaders) {
    const double now = bdx::Date::now().timeIntervalSince1970();
    auto jar = HTTPCookieStorage::sharedHTTPCookieStorage();
    for (const char* header : {"sid=abc; Path=/", "theme=dark; Path=/v1", "other=1; Path=/elsewhere"}) {
        jar->setCookie(*HTTPCookie::cookieWithSetCookieHeader(header, kURL, now));
    }
    URLRequest request(kURL + "?q=$x");
    request.setHTTPMethod("POST");
    request.setValueForHTTPHeaderField("gzip, deflate", "Accept-Encoding");
    request.setValueForHTTPHeaderField("it's 'quoted'", "X-Note");
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    EXPECT_EQ(
        R"(curl -X POST -d "{\"a\":1}" --compressed --cookie "theme=dark;sid=abc;" -H 'Accept-Encoding: gzip, deflate' )"
        R"(-H 'Content-Type: application/json' -H 'X-Note: it\'s \'quoted\'' "https://api.example.com/v1/items?q=$x")",
        bdx_cURLCommandWithBody(request, bytes(R"({"a":1})")));

    // Without "gzip" among the accepted encodings there is no --compressed.
    request.setValueForHTTPHeaderField("br", "Accept-Encoding");
    EXPECT_EQ(std::string::npos, bdx_cURLCommandWithBody(request, std::nullopt).find("--compressed"));
}

TEST(CURLCommand, TheLibrarysOwnRequestsShowTheirBodyDecompressed) {
    URLRequest request(kURL);
    request.setHTTPMethod("POST");
    request.setHTTPBody(bdx_dataByGZipCompressingWithError(bytes(R"({"report":"$1"})")));
    EXPECT_EQ(R"(curl -X POST -d "{\"report\":\"\$1\"}" ")" + kURL + "\"", bdx_BrindlexcURLCommand(request));

    struct Case {
        std::optional<bdx::Data> body;
        std::string text;
    };
    for (const Case& c : {Case{bytes("héllo"), "héllo"}, Case{bdx::Data{0xc3}, ""}, Case{std::nullopt, ""}}) {
        request.setHTTPBody(c.body);
        EXPECT_EQ(c.text, bdx_HTTPBodyString(request));
    }
    std::string command = "curl";
    bdx_appendCommandLineArgument(command, " \t-X GET \t");
    EXPECT_EQ("curl -X GET", command);
}

// The collector's record of one request.
struct Received {
    std::string method;
    std::string path;
    std::string query;
    std::map<std::string, std::string> headers;  // lower-case names
    std::string body;
};

Received received(const bdx::Value& record) {
    Received result{record["method"], record["path"], record["raw_query"], {}, {}};
    for (const auto& [name, value] : record["headers"].items()) {
        std::string lower = name;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        result.headers[lower] = value.is_string() ? value.get<std::string>() : value.dump();
    }
    std::ifstream file(record["folder"].get<std::string>() + "/body.bin", std::ios::binary);
    result.body.assign(std::istreambuf_iterator<char>(file), {});
    return result;
}

// "a=1; b=2" and "a=1;b=2;" name the same cookies.
std::map<std::string, std::string> cookiePairs(const std::string& header) {
    std::map<std::string, std::string> pairs;
    std::stringstream stream(header);
    for (std::string pair; std::getline(stream, pair, ';');) {
        const auto start = pair.find_first_not_of(' ');
        if (start == std::string::npos) {
            continue;
        }
        const auto equals = pair.find('=');
        pairs[pair.substr(start, equals - start)] = pair.substr(equals + 1);
    }
    return pairs;
}

TEST(CURLCommand, TheCommandOfALoggedPostSendsTheSameRequestThroughTheCurlProgram) {
    bdx::testing::installVirtualClock();
    bdx::testing::openStore();
    bdx::testing::Collector collector;
    collector.script(
        "/api/sdk/v3/login",
        bdx::Value::parse(R"([{"headers": {"Set-Cookie": "sid=s3cr3t-42; Path=/; HttpOnly"}}])"));
    ASSERT_FALSE(bdx::testing::fetch(URLRequest(collector.baseURL() + "/login")).error);

    // The host's exchange, with the session's cookie. Its URL and headers hold nothing a shell would
    // read: only the body is escaped for one.
    URLRequest request(collector.baseURL() + "/orders?sort=new&cost=5");
    request.setHTTPMethod("POST");
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    request.setValueForHTTPHeaderField("gzip", "Accept-Encoding");
    request.setValueForHTTPHeaderField("the host app; v=2", "X-Note");
    request.setValueForHTTPHeaderField("HostApp/2.1", "User-Agent");
    const std::string body = R"({"note":"a \\ b `uname` \"q\" $HOME 'x'","n":1})";
    request.setHTTPBody(bytes(body));
    const auto exchange = bdx::testing::fetch(request);
    ASSERT_FALSE(exchange.error);
    ASSERT_TRUE(collector.waitForRequests(2));

    // The command as the logger writes it out.
    bdx::testing::ConsoleCapture console;
    BDXInspector::overrideDebuggerAttached(true);
    BDXSDKDebugInfoLogger::setLevel(0);
    auto logger = BDXNetworkLogger::init();
    logger->saveLogWithRequest(request, bytes(body), exchange.response, exchange.data, exchange.error, 3,
                               nullptr);
    bdx::testing::waitUntilIdle();
    BDXInspector::overrideDebuggerAttached(std::nullopt);
    std::string command;
    const std::string marker = "Saved network log for request: ";
    for (const auto& line : console.lines(bdx::Console::Channel::StandardOutput)) {
        if (const auto at = line.find(marker); at != std::string::npos) {
            command = line.substr(at + marker.size());
        }
    }
    ASSERT_EQ(0u, command.find("curl -X POST -d "));
    EXPECT_NE(std::string::npos, command.find("--compressed --cookie \"sid=s3cr3t-42;\""));

    ASSERT_EQ(0, std::system((command + " --silent --show-error --output /dev/null").c_str())) << command;
    ASSERT_TRUE(collector.waitForRequests(3));
    const bdx::Value records = collector.requests();
    const Received original = received(records[1]);
    const Received replayed = received(records[2]);
    EXPECT_EQ("POST", replayed.method);
    EXPECT_EQ(original.path, replayed.path);
    EXPECT_EQ("sort=new&cost=5", replayed.query);
    EXPECT_EQ(original.query, replayed.query);
    EXPECT_EQ(body, replayed.body);
    EXPECT_EQ(original.body, replayed.body);
    for (const char* name : {"content-type", "accept-encoding", "x-note", "user-agent", "content-length"}) {
        EXPECT_EQ(original.headers.at(name), replayed.headers.at(name)) << name;
    }
    EXPECT_EQ("the host app; v=2", replayed.headers.at("x-note"));
    EXPECT_EQ((std::map<std::string, std::string>{{"sid", "s3cr3t-42"}}),
              cookiePairs(original.headers.at("cookie")));
    EXPECT_EQ(cookiePairs(original.headers.at("cookie")), cookiePairs(replayed.headers.at("cookie")));
}

}  // namespace
