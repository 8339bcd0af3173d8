#include <gmock/gmock.h>

#include "contract/common/Text.h"
#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

const std::string kAdd = "connector/http/AddStaticContentPath ";

std::string content(const std::string& route, const std::string& path)
{
    return kAdd + R"({"route":")" + route + R"(","path":")" + path + R"(","enableCache":true})";
}

using ConsoleWireTest = ServedSiteTest;

TEST_F(ConsoleWireTest, WhatIsTypedTakesEffectOnTheNextRequest)
{
    EXPECT_EQ(served_.get("/more/guide.html").status, 404);
    EXPECT_EQ(type(content("/more/", served_.site.docs())), "ok");
    EXPECT_EQ(served_.get("/more/guide.html").body, "<p>guide");
    EXPECT_EQ(type(content("/more", served_.site.path())), "ok") << "again, another directory";
    EXPECT_EQ(served_.get("/more/ten.json").body, "0123456789");

    EXPECT_EQ(served_.get("/docs/").status, 404);
    EXPECT_EQ(type("set connector.directoryListing=true"), "ok");
    EXPECT_THAT(served_.get("/docs/").body, HasSubstr("/docs/guide.html"));
}

TEST_F(ConsoleWireTest, TheDirectoryAtTheRootBringsItsNotFoundPage)
{
    HostProcess bare(kHostBinary, {"--no-secure", "--content", "/docs=" + served_.site.docs()});
    const auto missing = makeRequest("GET", "/docs/missing.html");
    EXPECT_EQ(exchange(bare.port(), missing).body, "File not found.");
    EXPECT_EQ(bare.console(content("/", served_.site.path())), "ok");
    const auto response = exchange(bare.port(), missing);
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, "<p>lost");
    EXPECT_EQ(exchange(bare.port(), makeRequest("GET", "/sub/..")).body, "<p>index");
}

TEST_F(ConsoleWireTest, WhateverElseIsTypedIsAnErrorOnOneLine)
{
    for (const auto& line :
         {std::string(), std::string("   "), std::string("quit now"), std::string("help me"),
          std::string("set ="), "set " + std::string(1000, 'x') + "=1", kAdd, kAdd + "[]",
          kAdd + R"({"route":"/x"} trailing)",
          kAdd + R"({"route":[],"path":"/tmp","enableCache":true})",
          kAdd + R"({"route":"/x","path":"/tmp","enablecache":true})",
          kAdd + R"({"route":"/x","path":"\ud800","enableCache":true})",
          kAdd + std::string(100'000, '['), kAdd + std::string(2'000'000, 'x'),
          std::string("\1\x1b[2J\xff\xfe\0", 8), std::string(5'000'000, 'x')}) {
        SCOPED_TRACE(line.substr(0, 80));
        const auto answer = type(line);
        EXPECT_THAT(answer, testing::MatchesRegex("error: [^[:cntrl:]]*"));
        EXPECT_LT(answer.size(), 400U);
        EXPECT_TRUE(common::isValidUtf8(answer));
    }
    EXPECT_THAT(type("\xC2\x9B"), HasSubstr("\\xC2\\x9B"));
    EXPECT_EQ(type(R"(connector/http/CreateHttpServer {"name":"\u007f\u009b"})"), "ok");
    EXPECT_THAT(type("connector/http/ListHttpServers {}"), HasSubstr(R"("\u007F\u009B")"));
    EXPECT_THAT(type(std::string(100'000, 'x') + "\nhelp"), HasSubstr("xxx...")); // and then
    EXPECT_THAT(type(""), HasSubstr("quit")) << "the answers are still in step";
}

} // namespace
} // namespace connector::test
