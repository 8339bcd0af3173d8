#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <thread>

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

TEST_F(StaticContentWireTest, FilesOfAllSizesLeaveTheConnectionInStep)
{
    std::string content(Site::kBigBytes, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 2'654'435'761U >> 24U); // differs from page to page
    }
    served_.site.directory.write("docs/file.mp4", content);
    const std::tuple<std::string, std::size_t, std::size_t> ranges[] = {
        {"", 0, content.size()},    {"0-0", 0, 1},
        {"2999999-", 2'999'999, 1}, {"1-16384", 1, 16'384}, // still read at once
        {"1-16385", 1, 16'385},     {"4095-1000000", 4095, 995'906},
    };
    RawClient client(served_.port());
    for (const auto& [range, first, length] : ranges) {
        SCOPED_TRACE(range);
        client.send(makeRequest("GET", "/docs/file.mp4",
                                range.empty() ? "" : "Range: bytes=" + range + "\r\n") +
                    makeRequest("HEAD", "/docs/file.mp4") + makeRequest("GET", "/ping"));
        EXPECT_TRUE(client.readResponse().body == content.substr(first, length));
        EXPECT_EQ(client.readResponse(true).status, 200);
        EXPECT_EQ(client.readResponse().body, "pong");
    }
}

TEST_F(StaticContentWireTest, AFileMayChangeWhileItIsSent)
{
    constexpr std::uintmax_t kSize = 30'000'000; // more than the sockets hold
    const auto path = served_.site.directory.path() / "docs/file.mp4";
    const struct
    {
        const char* change;
        std::function<void()> make;
        bool whole;
    } cases[] = {
        {"replaced",
         [&] { std::filesystem::rename(served_.site.directory.write("docs/new", "new"), path); },
         true},
        {"grown", [&] { std::filesystem::resize_file(path, kSize + 1); }, true},
        {"truncated", [&] { std::filesystem::resize_file(path, 1000); }, false},
    };
    for (const auto& [change, make, whole] : cases) {
        SCOPED_TRACE(change);
        served_.site.directory.write("docs/file.mp4", "");
        std::filesystem::resize_file(path, kSize);
        RawClient client(served_.port());
        client.send(makeRequest("GET", "/docs/file.mp4") + makeRequest("GET", "/ping"));
        EXPECT_EQ(client.readResponse(true).status, 200);
        EXPECT_EQ(served_.get("/ping").body, "pong") << "the slow reader holds no thread";
        make();
        if (whole) {
            EXPECT_TRUE(client.read(kSize) == std::string(kSize, '\0'));
            EXPECT_EQ(client.readResponse().body, "pong");
        } else {
            EXPECT_LT(client.readUntilClosed().size(), kSize);
            while (served_.host.errors().find("shorter while it was sent: get") ==
                   std::string::npos) { // the log is written by a thread of its own
                std::this_thread::yield();
            }
        }
    }
}

TEST_F(StaticContentWireTest, ServedFilesAreClosed)
{
    constexpr int kFiles = 10'000;
    const auto& directory = served_.site.directory;
    const auto before = served_.host.openDescriptors();
    RawClient client(served_.port());
    for (int i = 0; i < kFiles; ++i) {
        const auto name = "docs/" + std::to_string(i);
        std::filesystem::create_hard_link(directory.path() / "site/big.mp4",
                                          directory.path() / name);
        client.send(makeRequest("GET", "/" + name, "Range: bytes=0-20000\r\n"));
        ASSERT_EQ(client.readResponse().body.size(), 20'001U);
    }
    for (int i = 0; i < 100; ++i) {
        RawClient abandoned(served_.port());
        abandoned.send(makeRequest("GET", "/docs/" + std::to_string(i)));
        abandoned.read(1000);
        abandoned.reset();
    }
    constexpr std::size_t kKeptOpen = 8; // by each processor, for a while
    const auto allowed = before + 1 + kKeptOpen * std::thread::hardware_concurrency();
    while (served_.host.openDescriptors() > allowed) { // the last connections are still ending
        std::this_thread::yield();
    }
}

} // namespace
} // namespace connector::test
