#include <gmock/gmock.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using PipelineWireTest = ServedSiteTest;

TEST_F(PipelineWireTest, AClientKeepsItsSessionByTheCookie)
{
    const auto cookie = served_.get("/ping").header("set-cookie");
    EXPECT_THAT(cookie, testing::MatchesRegex("JSESSIONID=[^;]{16}; Path=/; HttpOnly"));
    const auto sent = "Cookie: theme=dark; " + cookie.substr(0, cookie.find(';')) + "\r\n";
    const auto again = served_.get("/ping", sent);
    EXPECT_EQ(again.body, "pong");
    EXPECT_FALSE(again.headers.contains("set-cookie"));
}

TEST_F(PipelineWireTest, CacheHeadersFollowThePathUnlessTheAnswerHasItsOwn)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/ping/PAGE.HTML", "no-cache, no-store, must-revalidate", "0"},
        {"/ping/a.b/site.css", "private, max-age=2592000", "(none)"},
        {"/ten.json", "no-cache", "(none)"},
        {"/missing.html", "no-cache", "0"}, // the not-found page is a file as well
        {"/lib/guide.html", "max-age=2592000", "0"},
    };
    for (const auto& [target, cacheControl, expires] : cases) {
        SCOPED_TRACE(target);
        const auto response = served_.get(target);
        EXPECT_EQ(response.headers.count("cache-control"), 1U);
        EXPECT_EQ(response.header("expires"), expires);
        EXPECT_EQ(response.header("cache-control"), cacheControl);
    }
}

TEST_F(PipelineWireTest, AKindOfFileThatIsNotServedIsRefusedWithoutASession)
{
    const auto response = served_.get("/ping/run.exe");
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(response.body, "Files of this kind are not served.");
    EXPECT_EQ(response.header("set-cookie"), "(none)");
}

} // namespace
} // namespace connector::test
