#include <gmock/gmock.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

class StaticContentWireTest : public testing::Test
{
protected:
    ServedSite served_;
};

TEST_F(StaticContentWireTest, APathLeadsToItsFile)
{
    struct Case
    {
        const char* target;
        int status;
        const char* body;
    };
    const Case cases[] = {
        {"/", 200, "<p>index"},
        {"/index.html", 200, "<p>index"},
        {"/index.html?x=1", 200, "<p>index"},
        {"http://localhost/index.html", 200, "<p>index"},
        {"/sub", 200, "<p>sub"},
        {"/sub/", 200, "<p>sub"},
        {"/sub/..", 200, "<p>index"}, // the empty path
        {"/sub/../ten.json", 200, "0123456789"},
        {"/a%20b.html", 200, "<p>blank"},
        {"/%74en.json", 200, "0123456789"},
        {"//ten.json", 200, "0123456789"},
        {"/empty.css", 200, ""},
        {"/docs/guide.html", 200, "<p>guide"},
        {"/missing.html", 404, "<p>lost"},
        {"/index.html/", 404, "<p>lost"},
        {"/docs", 404, "<p>lost"}, // no file stands for the route itself
        {"/ping", 200, "pong"},
        {"/ping/any/path", 200, "pong"},
        {"/gone", 410, ""},
    };
    for (const auto& [target, status, body] : cases) {
        SCOPED_TRACE(target);
        const auto response = served_.get(target);
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.body, body);
    }
}

TEST_F(StaticContentWireTest, NoPathLeavesTheSite)
{
    const char* targets[] = {
        "/../secret.html",
        "/%2e%2e/secret.html",
        "/..%2fsecret.html",
        "/sub/%2e%2e/%2e%2e/secret.html",
        "/sub%2f..%2f..%2fsecret.html",
        "/docs/../../secret.html",
        "/docs/..%2f..%2fsecret.html",
        "/docs%2f..%2fsecret.html",
        "/%2fetc/passwd",
        "//etc/passwd",
        "/docs//etc/passwd",
        "/docs/%2fetc%2fpasswd",
        "/ten.json%00.html",
        "/..%5csecret.html",
        "/.../secret.html",
        "/%c0%ae%c0%ae/secret.html",
    };
    for (const auto* target : targets) {
        SCOPED_TRACE(target);
        const auto response = served_.get(target);
        EXPECT_THAT(response.status, testing::AnyOf(400, 403, 404));
        EXPECT_THAT(response.body, testing::Not(HasSubstr("SECRET")));
        EXPECT_THAT(response.body, testing::Not(HasSubstr("root:")));
    }
}

TEST_F(StaticContentWireTest, TheTypeFollowsTheExtension)
{
    const std::pair<const char*, const char*> cases[] = {
        {"/index.html", "text/html"},      {"/type.js", "text/javascript"},
        {"/type.css", "text/css"},         {"/type.svg", "image/svg+xml"},
        {"/type.png", "image/png"},        {"/type.ico", "image/x-icon"},
        {"/ten.json", "application/json"}, {"/type.pdf", "application/pdf"},
        {"/big.mp4", "video/mp4"},         {"/type.zip", "(none)"},
        {"/type.CSS", "(none)"},
    };
    for (const auto& [target, type] : cases) {
        SCOPED_TRACE(target);
        EXPECT_EQ(exchange(served_.port(), makeRequest("HEAD", target)).header("content-type"),
                  type);
    }
}

TEST_F(StaticContentWireTest, AnUnchangedFileIsNotSentAgain)
{
    const auto whole = served_.get("/ten.json");
    EXPECT_EQ(whole.header("accept-ranges"), "bytes");
    const auto tag = whole.header("etag");
    EXPECT_THAT(tag, testing::MatchesRegex("[0-9]+"));
    const std::string since = "If-Modified-Since: ";
    const struct
    {
        std::string headers;
        int status;
    } cases[] = {
        {"If-None-Match: " + tag + "\r\n", 304},
        {"If-None-Match: other\r\n", 200},
        {"If-None-Match: \"" + tag + "\"\r\n", 200},
        {since + whole.header("last-modified") + "\r\n", 304},
        {since + "Mon, 01 Jan 2001 00:00:00 GMT\r\n", 200},
        {since + "yesterday\r\n", 404},
        {"If-None-Match: other\r\n" + since + whole.header("last-modified") + "\r\n", 304},
    };
    for (const auto& [headers, status] : cases) {
        SCOPED_TRACE(headers);
        RawClient client(served_.port());
        client.send(makeRequest("GET", "/ten.json", headers) + makeRequest("GET", "/ping"));
        const auto response = client.readResponse();
        EXPECT_EQ(response.status, status);
        if (status == 304) {
            EXPECT_EQ(response.header("etag"), tag);
            EXPECT_EQ(response.header("content-length"), "10");
        }
        EXPECT_EQ(client.readResponse().body, "pong") << "the connection goes on";
    }
}

TEST_F(StaticContentWireTest, ARangeIsAnsweredWithItsBytes)
{
    const struct
    {
        const char* range;
        int status;
        const char* contentRange;
        const char* body;
    } cases[] = {
        {"bytes=0-0", 206, "bytes 0-0/10", "0"},
        {"bytes=2-5", 206, "bytes 2-5/10", "2345"},
        {"bytes=5-", 206, "bytes 5-9/10", "56789"},
        {"bytes=-3", 206, "bytes 7-9/10", "789"},
        {"bytes=0-9", 206, "bytes 0-9/10", "0123456789"},
        {"bytes=-11", 206, "bytes 0-9/10", "0123456789"},
        {"bytes=0-10", 416, "*", ""},
        {"bytes=10-", 416, "*", ""},
        {"bytes=5-2", 416, "*", ""},
        {"bytes=-", 416, "*", ""},
        {"bytes=-0", 416, "*", ""},
        {"bytes=0-1,4-5", 416, "*", ""},
        {"bytes= 0-1", 416, "*", ""},
        {"items=0-1", 416, "*", ""},
        {"bytes=0-99999999999", 404, "(none)", "<p>lost"},
        {"bytes=2147483648-", 404, "(none)", "<p>lost"},
    };
    for (const auto& [range, status, contentRange, body] : cases) {
        SCOPED_TRACE(range);
        const auto headers = "Range: " + std::string(range) + "\r\n";
        RawClient client(served_.port());
        client.send(makeRequest("GET", "/ten.json", headers));
        // A 416 announces the whole file and sends none of it, so its connection ends there.
        const auto response = client.readResponse(status == 416);
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.header("content-range"), contentRange);
        EXPECT_EQ(response.body, body);
        if (status == 416) {
            EXPECT_EQ(response.header("content-length"), "10");
            EXPECT_EQ(client.readUntilClosed(), "");
        }
        const auto head = exchange(served_.port(), makeRequest("HEAD", "/ten.json", headers));
        EXPECT_EQ(head.status, status);
        EXPECT_EQ(head.header("content-length"), response.header("content-length"));
    }
}

TEST_F(StaticContentWireTest, TheCacheHeadersFollowTheRoute)
{
    ServedSite cached({"--cached-content", "/lib=" + served_.site.docs()});
    EXPECT_EQ(cached.get("/lib/guide.html").header("cache-control"), "max-age=2592000");
    EXPECT_EQ(cached.get("/docs/guide.html").header("cache-control"), "no-cache");
}

TEST_F(StaticContentWireTest, MethodsButGetAndHeadAreRefused)
{
    for (const auto* method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "BREW"}) {
        SCOPED_TRACE(method);
        RawClient client(served_.port());
        client.send(makeRequest(method, "/index.html") + makeRequest("GET", "/ping"));
        const auto response = client.readResponse();
        EXPECT_EQ(response.status, 405);
        EXPECT_EQ(response.header("allow"), "GET, HEAD");
        EXPECT_EQ(client.readResponse().body, "pong");
    }
    for (const auto* target : {"/", "/ping", "/missing.html", "/big.mp4"}) {
        SCOPED_TRACE(target);
        RawClient client(served_.port());
        client.send(makeRequest("HEAD", target) + makeRequest("GET", "/ping"));
        const auto head = client.readResponse(true);
        const auto get = served_.get(target);
        EXPECT_EQ(head.status, get.status);
        EXPECT_EQ(head.header("content-length"), get.header("content-length"));
        EXPECT_EQ(client.readResponse().body, "pong") << "a HEAD has no body";
    }
}

} // namespace
} // namespace connector::test
