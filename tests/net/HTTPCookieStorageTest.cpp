// The cookie jar: which cookies a response may set, which requests carry them back (domain, path, secure,
// expiry on the virtual clock), and the URL session filling it from responses and reading it for requests.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/net/HTTPCookieStorage.h"
#include "platform/net/URLSession.h"
#include "testing/Collector.h"
#include "testing/DispatchTesting.h"
#include "testing/VirtualClock.h"
#include "tests/Logging/NetworkLogTestSupport.h"

namespace bdx::net {
namespace {

// "a=1; b=2" for the cookies the jar gives `url`, in the order it gives them.
std::string sentTo(const HTTPCookieStorage& jar, const std::string& url) {
    const auto fields = HTTPCookieStorage::requestHeaderFieldsWithCookies(jar.cookiesForURL(url));
    return fields.empty() ? "" : fields.at("Cookie");
}

TEST(HTTPCookieStorage, AServerSetsCookiesForItselfOrADomainAboveItAndGetsThemBackOnItsPaths) {
    struct Case {
        std::string header;
        std::string from;
        std::vector<std::string> sentTo;
        std::vector<std::string> notSentTo;
    };
    const std::vector<Case> cases{
        // No Domain: that host alone; no Path: the folder of the request.
        {"a=1",
         "http://shop.example.com/cart/add",
         {"http://shop.example.com/cart", "http://shop.example.com/cart/x/y",
          "https://shop.example.com/cart"},
         {"http://shop.example.com/cartoon", "http://shop.example.com/", "http://www.example.com/cart",
          "http://example.com/cart"}},
        {"a=1; Domain=.Example.COM; Path=/",
         "http://shop.example.com/",
         {"http://example.com/", "http://www.example.com/x", "http://a.b.example.com/"},
         {"http://badexample.com/", "http://example.org/"}},
        {"a=1; Path=/api",
         "http://h.example.com/",
         {"http://h.example.com/api", "http://h.example.com/api/v1"},
         {"http://h.example.com/apis", "http://h.example.com/"}},
        {"a=1; Path=/api/",
         "http://h.example.com/",
         {"http://h.example.com/api/v1"},
         {"http://h.example.com/api"}},
        {"a=1; Path=relative",
         "http://h.example.com/docs/page",
         {"http://h.example.com/docs"},
         {"http://h.example.com/"}},
        {"a=1; Secure; Path=/",
         "https://h.example.com/",
         {"https://h.example.com/"},
         {"http://h.example.com/"}},
        {"a=1; Path=/", "http://127.0.0.1:8080/x", {"http://127.0.0.1:9/"}, {"http://127.0.0.2/"}},
        // Refused: a neighbour's domain, a whole top-level domain, an address's tail, no name.
        {"a=1; Domain=other.com",
         "http://shop.example.com/",
         {},
         {"http://other.com/", "http://shop.example.com/"}},
        {"a=1; Domain=com", "http://shop.example.com/", {}, {"http://shop.example.com/", "http://x.com/"}},
        {"a=1; Domain=0.0.1", "http://127.0.0.1/", {}, {"http://127.0.0.1/"}},
        {"novalue", "http://h.example.com/", {}, {"http://h.example.com/"}},
        {"=v", "http://h.example.com/", {}, {"http://h.example.com/"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header + " from " + c.from);
        HTTPCookieStorage jar;
        jar.setCookiesFromSetCookieHeaders({c.header}, c.from);
        for (const auto& url : c.sentTo) {
            EXPECT_EQ("a=1", sentTo(jar, url)) << url;
        }
        for (const auto& url : c.notSentTo) {
            EXPECT_EQ("", sentTo(jar, url)) << url;
        }
    }
}

TEST(HTTPCookieStorage, CookiesExpireOnTheClockAndMaxAgeWinsOverExpires) {
    auto clock = bdx::testing::installVirtualClock();  // 2024-03-01 09:00:00 UTC
    const std::string url = "http://h.example.com/";
    HTTPCookieStorage jar;
    jar.setCookiesFromSetCookieHeaders({"session=s", "hour=h; Expires=Fri, 01 Mar 2024 10:00:00 GMT",
                                        "minute=m; Max-Age=60; Expires=Thu, 29 Feb 2024 09:00:00 GMT",
                                        "past=p; Expires=Thu, 29 Feb 2024 09:00:00 GMT", "zero=z; Max-Age=0"},
                                       url);
    EXPECT_EQ("session=s; hour=h; minute=m", sentTo(jar, url));
    EXPECT_TRUE(jar.cookiesForURL(url)[0].isSessionOnly());
    EXPECT_DOUBLE_EQ(bdx::testing::VirtualClock::kStartDate + 3600, *jar.cookiesForURL(url)[1].expiresDate());
    clock->advance(59.9);
    EXPECT_EQ("session=s; hour=h; minute=m", sentTo(jar, url));
    clock->advance(0.1);
    EXPECT_EQ("session=s; hour=h", sentTo(jar, url));
    clock->advance(3540);
    EXPECT_EQ("session=s", sentTo(jar, url));
    EXPECT_EQ(1u, jar.cookies().size());

    // A cookie set again replaces the one of the same name, domain and path, and keeps its place; an
    // expired one removes it.
    jar.setCookiesFromSetCookieHeaders({"late=l", "deep=d; Path=/a"}, url);
    jar.setCookiesFromSetCookieHeaders({"session=s2"}, url);
    EXPECT_EQ("deep=d; session=s2; late=l", sentTo(jar, "http://h.example.com/a/b"));
    jar.setCookiesFromSetCookieHeaders({"session=x; Max-Age=-1"}, url);
    EXPECT_EQ("late=l", sentTo(jar, url));
}

TEST(HTTPCookieStorage, TheURLSessionStoresWhatResponsesSetAndSendsItBack) {
    bdx::testing::Collector collector;
    // Two fields in one response, one with the commas of a date.
    collector.script(
        "/api/sdk/v3/login",
        bdx::Value::parse(
            R"([{"headers": {"Set-Cookie": "sid=42; Path=/; Expires=Fri, 01 Mar 2047 10:00:00 GMT",
                                                         "set-cookie": "lang=fr; Path=/api"}}])"));
    ASSERT_FALSE(bdx::testing::fetch(URLRequest(collector.baseURL() + "/login")).error);
    auto jar = HTTPCookieStorage::sharedHTTPCookieStorage();
    ASSERT_EQ(2u, jar->cookies().size());

    // The shared session sends the jar's cookies; a request's own field goes alone.
    ASSERT_FALSE(bdx::testing::fetch(URLRequest(collector.baseURL() + "/next")).error);
    URLRequest own(collector.baseURL() + "/own");
    own.setValueForHTTPHeaderField("mine=1", "Cookie");
    ASSERT_FALSE(bdx::testing::fetch(own).error);
    // A session that sets no cookies neither sends nor stores them.
    auto configuration = URLSessionConfiguration::defaultSessionConfiguration();
    configuration.setHTTPShouldSetCookies(false);
    auto quiet = URLSession::sessionWithConfiguration(configuration);
    collector.script("/api/sdk/v3/quiet",
                     bdx::Value::parse(R"([{"headers": {"Set-Cookie": "q=1; Path=/"}}])"));
    ASSERT_FALSE(bdx::testing::fetch(URLRequest(collector.baseURL() + "/quiet"), quiet).error);
    // A session with a jar of its own uses that one.
    auto ownJar = std::make_shared<HTTPCookieStorage>();
    configuration.setHTTPShouldSetCookies(true);
    configuration.setCookieStorage(ownJar);
    auto separate = URLSession::sessionWithConfiguration(configuration);
    collector.script("/api/sdk/v3/separate",
                     bdx::Value::parse(R"([{"headers": {"Set-Cookie": "s=1; Path=/"}}])"));
    ASSERT_FALSE(bdx::testing::fetch(URLRequest(collector.baseURL() + "/separate"), separate).error);

    ASSERT_TRUE(collector.waitForRequests(5));
    const bdx::Value requests = collector.requests();
    const auto cookieOf = [&requests](std::size_t index) {
        for (const auto& [name, value] : requests[index]["headers"].items()) {
            if (name == "Cookie" || name == "cookie") {
                return value.get<std::string>();
            }
        }
        return std::string();
    };
    EXPECT_EQ("", cookieOf(0));
    EXPECT_EQ("lang=fr; sid=42", cookieOf(1));
    EXPECT_EQ("mine=1", cookieOf(2));
    EXPECT_EQ("", cookieOf(3));
    EXPECT_EQ("", cookieOf(4));
    EXPECT_EQ(2u, jar->cookies().size());
    ASSERT_EQ(1u, ownJar->cookies().size());
    EXPECT_EQ("s", ownJar->cookies()[0].name());
}

}  // namespace
}  // namespace bdx::net
