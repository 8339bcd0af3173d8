#include <gmock/gmock.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using StaticContentWireTest = ServedSiteTest;

TEST_F(StaticContentWireTest, APathLeadsToItsFileAndNoneLeavesTheSite)
{
    const std::tuple<const char*, int, const char*> cases[] = {
        {"/", 200, "<p>index"},
        {"http://localhost/index.html", 200, "<p>index"},
        {"/sub/..", 200, "<p>index"}, // the empty path
        {"/sub/../%74en.json", 200, "0123456789"},
        {"/docs", 404, "<p>lost"}, // no file stands for the route itself
        {"/ping/any/path", 200, "pong"},
        {"/gone", 410, ""},
    };
    for (const auto& [target, status, body] : cases) {
        SCOPED_TRACE(target);
        const auto response = served_.get(target);
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.body, body);
    }
    for (const auto* target :
         {"/../secret.html", "/sub/%2e%2e/%2e%2e/secret.html", "/sub%2f..%2f..%2fsecret.html",
          "/docs/..%2f..%2fsecret.html", "//etc/passwd", "/docs/%2fetc%2fpasswd",
          "/ten.json%00.html", "/..%5csecret.html", "/%c0%ae%c0%ae/secret.html"}) {
        SCOPED_TRACE(target);
        const auto response = served_.get(target);
        EXPECT_THAT(response.status, testing::AnyOf(400, 403, 404));
        EXPECT_THAT(response.body, Not(testing::AnyOf(HasSubstr("SECRET"), HasSubstr("root:"))));
    }
}

TEST_F(StaticContentWireTest, PassesEveryStageOfThePipeline)
{
    const auto cookie = served_.get("/ping").header("set-cookie");
    EXPECT_THAT(cookie, testing::MatchesRegex("JSESSIONID=[^;]{16}; Path=/; HttpOnly"));
    const auto sent = "Cookie: theme=dark; " + cookie.substr(0, cookie.find(';')) + "\r\n";
    EXPECT_EQ(served_.get("/ping", sent).header("set-cookie"), "(none)");
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/ping/PAGE.HTML", "no-cache, no-store, must-revalidate", "0"},
        {"/ping/a.b/site.css", "private, max-age=2592000", "(none)"},
        {"/missing.html", "no-cache", "0"}, // the not-found page is a file as well
        {"/lib/guide.html", "max-age=2592000", "0"},
        {"/ping/run.exe", "(none)", "(none)"},
    };
    for (const auto& [target, cacheControl, expires] : cases) {
        const auto response = served_.get(target);
        EXPECT_EQ(response.header("cache-control"), cacheControl) << target;
        EXPECT_EQ(response.header("expires"), expires) << target;
        EXPECT_EQ(response.status == 403, response.header("set-cookie") == "(none)") << target;
    }
}

TEST_F(StaticContentWireTest, AnAnswerWithoutABodyKeepsTheConnectionInStep)
{
    const auto whole = served_.get("/ten.json");
    const std::tuple<const char*, const char*, std::string, int, const char*> cases[] = {
        {"HEAD", "/ping", "", 200, "4"},
        {"HEAD", "/missing.html", "", 404, "7"},
        {"HEAD", "/big.mp4", "", 200, "3000000"},
        {"HEAD", "/ten.json", "Range: bytes=10-\r\n", 416, "10"},
        {"GET", "/ten.json", "If-None-Match: " + whole.header("etag") + "\r\n", 304, "10"},
    };
    for (const auto& [method, target, headers, status, length] : cases) {
        SCOPED_TRACE(std::string(method) + " " + target + " " + headers);
        RawClient client(served_.port());
        client.send(makeRequest(method, target, headers) + makeRequest("GET", "/ping"));
        const auto response = client.readResponse(true);
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.header("content-length"), length);
        EXPECT_EQ(client.readResponse().body, "pong");
    }
}

} // namespace
} // namespace connector::test
