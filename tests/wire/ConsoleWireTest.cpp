#include <gmock/gmock.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ConsoleWireTest : public testing::Test
{
protected:
    std::string type(const std::string& line) { return served_.host.console(line); }

    std::string addContent(const std::string& route, const std::string& path)
    {
        return type("connector/http/AddStaticContentPath {\"route\":\"" + route + "\",\"path\":\"" +
                    path + "\",\"enableCache\":true}");
    }

    ServedSite served_;
};

TEST_F(ConsoleWireTest, HelpNamesEverythingThatMayBeTyped)
{
    const auto help = type("help");
    for (const auto* named :
         {"quit", "help", "set KEY=VALUE", "connector/http/AddStaticContentPath"}) {
        EXPECT_THAT(help, HasSubstr(named));
    }
}

TEST_F(ConsoleWireTest, ADirectoryAddedByMessageIsServedAtOnce)
{
    EXPECT_EQ(served_.get("/more/guide.html").status, 404);
    EXPECT_EQ(addContent("/more/", served_.site.docs()), "ok");
    EXPECT_EQ(served_.get("/more/guide.html").body, "<p>guide");
    EXPECT_EQ(served_.get("/more/guide.html").header("cache-control"), "max-age=2592000");
    EXPECT_EQ(addContent("/more", served_.site.path()), "ok") << "again, with another directory";
    EXPECT_EQ(served_.get("/more/ten.json").body, "0123456789");
    EXPECT_EQ(addContent("/ping", served_.site.docs()),
              "error: The route is taken by another provider: /ping");
    EXPECT_EQ(addContent("/my-app", served_.site.docs()), "error: URL path must be alpha-numeric");
    EXPECT_EQ(served_.get("/my-app/guide.html").status, 404);
}

TEST_F(ConsoleWireTest, TheDirectoryAtTheRootBringsItsNotFoundPage)
{
    HostProcess bare(kHostBinary, {"--no-secure", "--content", "/docs=" + served_.site.docs()});
    const auto missing = makeRequest("GET", "/docs/missing.html");
    auto response = exchange(bare.port(), missing);
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, "File not found.");
    EXPECT_EQ(bare.console("connector/http/AddStaticContentPath {\"route\":\"/\",\"path\":\"" +
                           served_.site.path() + "\",\"enableCache\":false}"),
              "ok");
    response = exchange(bare.port(), missing);
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, "<p>lost");
    EXPECT_EQ(exchange(bare.port(), makeRequest("GET", "/sub/..")).body, "<p>index");
}

TEST_F(ConsoleWireTest, WhateverElseIsTypedIsAnErrorOnOneLine)
{
    const std::string add = "connector/http/AddStaticContentPath ";
    const std::string lines[] = {
        "",
        "   ",
        "quit now",
        "Quit",
        "help me",
        "nonsense",
        "set",
        "set =",
        "set connector.directoryListing=perhaps",
        "connector/http/NoSuchMessage {}",
        add,
        add + "{",
        add + "[]",
        add + "null",
        add + "\"text\"",
        add + "{\"route\":\"/x\"} trailing",
        add + "{\"route\":[],\"path\":\"/tmp\",\"enableCache\":true}",
        add + "{\"route\":\"/x\",\"path\":\"\\ud800\",\"enableCache\":true}",
        add + std::string(100'000, '['),
        add + "{\"a\":" + std::string(100'000, '[') + std::string(100'000, ']') + "}",
        add + std::string(2'000'000, 'x'),
        std::string("\0\1\2\x1b[2J\xff\xfe", 9),
        std::string(5'000'000, 'x'),
        "{}",
        "%s%n%d",
    };
    for (const auto& line : lines) {
        SCOPED_TRACE(line.substr(0, 80));
        const auto answer = type(line);
        EXPECT_THAT(answer, StartsWith("error: "));
        EXPECT_THAT(answer, testing::Not(HasSubstr("\n")));
        EXPECT_LT(answer.size(), 400U);
    }
    EXPECT_THAT(type("help"), HasSubstr("quit")) << "the answers are still in step";
    EXPECT_EQ(served_.get("/ping").body, "pong");
}

TEST_F(ConsoleWireTest, ASettingTakesEffectOnTheNextRequest)
{
    served_.site.directory().write("docs/inner/a.html", "");
    EXPECT_EQ(served_.get("/docs/inner/").status, 404);
    EXPECT_EQ(type("set connector.directoryListing=true"), "ok");
    EXPECT_THAT(served_.get("/docs/inner/").body, HasSubstr("/docs/inner/a.html"));
    EXPECT_EQ(type("set connector.directoryListing=1"),
              "error: The setting connector.directoryListing takes true or false, not: 1");
    EXPECT_EQ(type("set connector.directoryListing=false"), "ok");
    EXPECT_EQ(served_.get("/docs/inner/").status, 404);
}

} // namespace
} // namespace connector::test
