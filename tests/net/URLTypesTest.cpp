#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/net/PercentEscape.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLResponse.h"
#include "platform/net/URLSessionConfiguration.h"

namespace bdx::net {
namespace {

// The set the query builder of the request pipeline escapes.
constexpr std::string_view kQuerySet = "!*'();:@&=+$,/?%#[]\" ";

TEST(PercentEscapeTest, EscapesWhatTheSetAndURLSyntaxForbid) {
    struct Case {
        std::string_view text;
        std::string_view set;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"a b", kQuerySet, "a%20b"},
        {"!*'();:@&=+$,/?%#[]\" ", kQuerySet,
         "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%22%20"},
        {"AZaz09-._~", kQuerySet, "AZaz09-._~"},
        {"\xC3\xA9\xE2\x82\xAC", kQuerySet, "%C3%A9%E2%82%AC"},  // é€ as UTF-8 bytes
        {"<>{}|\\^`", kQuerySet, "%3C%3E%7B%7D%7C%5C%5E%60"},
        {"tab\there\nnl", kQuerySet, "tab%09here%0Anl"},
        // Reserved characters outside the set stay; what URL syntax forbids is escaped regardless.
        {"a/b?c=d&e", "", "a/b?c=d&e"},
        {"100% #1 [x]", "", "100%25%20%231%20%5Bx%5D"},
        {"a/b", "/", "a%2Fb"},
        {"", kQuerySet, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(stringByAddingPercentEscapes(c.text, c.set), c.expected) << c.text;
    }
}

TEST(URLRequestTest, HeaderFieldsIgnoreCaseAndKeepTheFirstSpelling) {
    URLRequest request("http://127.0.0.1/x");
    request.setValueForHTTPHeaderField("text/plain", "Content-Type");
    request.setValueForHTTPHeaderField("application/json", "content-type");
    request.addValueForHTTPHeaderField("a", "X-List");
    request.addValueForHTTPHeaderField("b", "x-list");
    request.setValueForHTTPHeaderField("1", "X-Gone");
    request.setValueForHTTPHeaderField(std::nullopt, "X-GONE");

    const HTTPHeaderFields expected = {{"Content-Type", "application/json"}, {"X-List", "a, b"}};
    EXPECT_EQ(request.allHTTPHeaderFields(), expected);
    EXPECT_EQ(request.valueForHTTPHeaderField("CONTENT-TYPE"), "application/json");
    EXPECT_EQ(request.allHTTPHeaderFields().begin()->first, "Content-Type");

    request.setAllHTTPHeaderFields({{"Accept", "*/*"}});
    EXPECT_EQ(request.allHTTPHeaderFields(), (HTTPHeaderFields{{"Accept", "*/*"}}));
}

TEST(URLRequestTest, MethodAndTimeoutDefaults) {
    URLRequest request("http://127.0.0.1/x");
    EXPECT_EQ(request.HTTPMethod(), "GET");
    EXPECT_FALSE(request.hasExplicitTimeoutInterval());
    EXPECT_EQ(request.timeoutInterval(), 60.0);
    EXPECT_FALSE(request.HTTPBody().has_value());

    request.setHTTPMethod("POST");
    request.setTimeoutInterval(240.0);
    EXPECT_EQ(request.HTTPMethod(), "POST");
    EXPECT_TRUE(request.hasExplicitTimeoutInterval());
    EXPECT_EQ(request.timeoutInterval(), 240.0);

    // Nonsense values fall back to the defaults rather than failing every transfer at once.
    request.setHTTPMethod("");
    request.setTimeoutInterval(0);
    EXPECT_EQ(request.HTTPMethod(), "GET");
    EXPECT_FALSE(request.hasExplicitTimeoutInterval());

    // A timeout given to the constructor counts as set when it differs from the default.
    EXPECT_TRUE(URLRequest("http://h/", URLRequestCachePolicy::UseProtocolCachePolicy, 240)
                    .hasExplicitTimeoutInterval());
}

TEST(HTTPURLResponseTest, ReadsTypeLengthAndEncodingFromTheFields) {
    struct Case {
        HTTPHeaderFields fields;
        std::string mime;
        std::int64_t length;
        std::string encoding;
    };
    const std::vector<Case> cases = {
        {{{"content-type", "Application/JSON; Charset=\"UTF-8\""}, {"CONTENT-LENGTH", "12"}},
         "application/json",
         12,
         "utf-8"},
        {{{"Content-Type", "text/plain"}}, "text/plain", URLResponse::UnknownLength, ""},
        {{{"Content-Length", "12x"}}, "", URLResponse::UnknownLength, ""},
        {{{"Content-Length", "-3"}}, "", URLResponse::UnknownLength, ""},
    };
    for (const auto& c : cases) {
        HTTPURLResponse response("http://h/p", 200, "HTTP/1.1", c.fields);
        EXPECT_EQ(response.MIMEType(), c.mime);
        EXPECT_EQ(response.expectedContentLength(), c.length);
        EXPECT_EQ(response.textEncodingName(), c.encoding);
    }
    HTTPURLResponse response("http://h/p", 404, "HTTP/1.1", {{"X-Thing", "v"}});
    EXPECT_EQ(response.statusCode(), 404);
    EXPECT_EQ(response.valueForHTTPHeaderField("x-THING"), "v");
    EXPECT_EQ(response.valueForHTTPHeaderField("X-Other"), std::nullopt);
}

TEST(URLSessionConfigurationTest, AuthorityFileComesFromTheConfigurationThenTheProcessThenTheEnvironment) {
    // The environment is changed in a child of its own, away from the threads of this process.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        URLSessionConfiguration::setDefaultTrustedCertificateAuthorityFile("");
        ::setenv("BRINDLEX_CA_FILE", "/env/ca.pem", 1);
        const bool ok = URLSessionConfiguration::defaultSessionConfiguration()
                            .effectiveTrustedCertificateAuthorityFile() == "/env/ca.pem";
        ::_exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "BRINDLEX_CA_FILE was not taken";

    const std::string saved = URLSessionConfiguration::defaultTrustedCertificateAuthorityFile();
    URLSessionConfiguration::setDefaultTrustedCertificateAuthorityFile("/process/ca.pem");
    auto configuration = URLSessionConfiguration::defaultSessionConfiguration();
    EXPECT_EQ(configuration.effectiveTrustedCertificateAuthorityFile(), "/process/ca.pem");
    configuration.setTrustedCertificateAuthorityFile("/own/ca.pem");
    EXPECT_EQ(configuration.effectiveTrustedCertificateAuthorityFile(), "/own/ca.pem");
    URLSessionConfiguration::setDefaultTrustedCertificateAuthorityFile(saved);
}

}  // namespace
}  // namespace bdx::net
