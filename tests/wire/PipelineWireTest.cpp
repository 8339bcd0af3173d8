#include <atomic>
#include <gmock/gmock.h>
#include <thread>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

/// A JSON object of one member.
std::string named(const std::string& name)
{
    return " {\"name\":\"" + name + "\"}";
}

class PipelineWireTest : public testing::Test
{
protected:
    std::string type(const std::string& line) { return served_.host.console(line); }

    ServedSite served_;
};

TEST_F(PipelineWireTest, AClientKeepsItsSessionByTheCookie)
{
    const auto first = served_.get("/ping");
    const auto cookie = first.header("set-cookie");
    EXPECT_THAT(cookie, testing::MatchesRegex("JSESSIONID=[^;]{16}; Path=/; HttpOnly"));
    const auto id = cookie.substr(0, cookie.find(';'));
    const struct
    {
        std::string sent;
        bool fresh;
    } cases[] = {
        {id, false},
        {"theme=dark; " + id, false},
        {"JSESSIONID=unknown; " + id, false},
        {"JSESSIONID=unknown", true},
        {"JSESSIONID2=" + id.substr(id.find('=') + 1), true},
        {"JSESSIONID=", true},
    };
    for (const auto& [sent, fresh] : cases) {
        SCOPED_TRACE(sent);
        const auto response = served_.get("/ping", "Cookie: " + sent + "\r\n");
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.headers.contains("set-cookie"), fresh);
    }
}

TEST_F(PipelineWireTest, CacheHeadersFollowThePathUnlessTheAnswerHasItsOwn)
{
    const std::string noStore = "no-cache, no-store, must-revalidate";
    const struct
    {
        const char* target;
        std::string cacheControl;
        std::string expires;
    } cases[] = {
        {"/ping", noStore, "0"},
        {"/ping/", noStore, "0"},
        {"/ping/page.html", noStore, "0"},
        {"/ping/PAGE.HTML", noStore, "0"},
        {"/ping/site.css", "private, max-age=2592000", "(none)"},
        {"/ping/a.b/site.css", "private, max-age=2592000", "(none)"},
        {"/index.html", "no-cache", "0"},
        {"/ten.json", "no-cache", "(none)"},
        {"/missing.html", "no-cache", "0"}, // the not-found page is a file as well
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
    for (const std::string target :
         {"/ping/run.exe", "/ping/notes.txt", "/ping/a.html.bak", "/ping/.htaccess"}) {
        SCOPED_TRACE(target);
        const auto response = served_.get(target);
        EXPECT_EQ(response.status, 403);
        EXPECT_EQ(response.body, "Files of this kind are not served.");
        EXPECT_EQ(response.header("set-cookie"), "(none)");
    }
    const auto dots =
        served_.get("/ping/" + std::string(2000, '.') + std::string(2000, '/') + "x.y");
    EXPECT_EQ(dots.status, 403);
}

TEST_F(PipelineWireTest, ADirectoryIsListedToTheByte)
{
    served_.site.directory().write("docs/img/a.png", "");
    served_.site.directory().write("docs/B & b.html", "");
    EXPECT_EQ(type("set connector.directoryListing=true"), "ok");
    const auto listing = served_.get("/docs/");
    EXPECT_EQ(listing.body, "<html><body>\n"
                            "<b><a href=\"/docs/..\">..</a></b><br>\n"
                            "<b><a href=\"/docs/img\">img</a><br></b>\n"
                            "<a href=\"/docs/B & b.html\">B & b.html</a><br>\n"
                            "<a href=\"/docs/guide.html\">guide.html</a><br>\n"
                            "</body></html>\n");
    EXPECT_EQ(listing.header("content-type"), "(none)");
    EXPECT_EQ(exchange(served_.port(), makeRequest("HEAD", "/docs/")).status, 200);
}

TEST_F(PipelineWireTest, AServerLivesByMessages)
{
    const std::string api = "connector/http/";
    const auto port = findFreePort();
    EXPECT_EQ(type(api + "CreateHttpServer {\"name\":\"two\",\"port\":" + std::to_string(port) +
                   ",\"address\":[\"connector\",\"http\",\"router\"]}"),
              "ok");
    EXPECT_THROW(RawClient{port}, std::runtime_error);
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(type(api + "StartHttpServer" + named("two")), HasSubstr("\"running\":true"));
        EXPECT_EQ(test::exchange(port, makeRequest("GET", "/ping")).body, "pong");
        EXPECT_THAT(type(api + "StopHttpServer" + named("two")), HasSubstr("\"running\":false"));
        EXPECT_THROW(RawClient{port}, std::runtime_error);
    }
    // The port of the first server is taken, so the second goes on to another.
    EXPECT_EQ(type(api + "CreateHttpServer {\"name\":\"three\",\"port\":" +
                   std::to_string(served_.port()) + "}"),
              "ok");
    EXPECT_THAT(type(api + "StartHttpServer" + named("three")),
                testing::Not(HasSubstr("\"port\":" + std::to_string(served_.port()) + ",")));
    EXPECT_EQ(type(api + "DestroyHttpServer" + named("three")), "ok");
    EXPECT_THAT(type(api + "GetHttpServerStatus" + named("three")), HasSubstr("No server with"));
    EXPECT_EQ(served_.get("/ping").body, "pong");
}

TEST_F(PipelineWireTest, ServersComeAndGoUnderLoad)
{
    std::atomic<bool> done = false;
    std::atomic<int> failures = 0;
    std::vector<std::thread> clients;
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back([this, &done, &failures] {
            while (!done) {
                if (served_.get("/ping").body != "pong") {
                    ++failures;
                }
            }
        });
    }
    const auto port = std::to_string(findFreePort());
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(type("connector/http/CreateHttpServer {\"name\":\"x\",\"port\":" + port + "}"),
                  "ok");
        EXPECT_THAT(type("connector/http/StartHttpServer" + named("x")),
                    HasSubstr("\"running\":true"));
        EXPECT_EQ(type("connector/http/DestroyHttpServer" + named("x")), "ok");
    }
    done = true;
    for (auto& client : clients) {
        client.join();
    }
    EXPECT_EQ(failures, 0);
}

} // namespace
} // namespace connector::test
