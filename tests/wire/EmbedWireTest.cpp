#include <gmock/gmock.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

TEST(EmbedWireTest, TheEmbeddingProgramServesItsProviderAndItsDirectory)
{
    const Site site;
    ChildProcess program({CONNECTOR_EMBED_BINARY, site.path(), std::to_string(findFreePort())});
    const auto line = program.readLine();
    const auto port = static_cast<std::uint16_t>(std::stoul(line.substr(line.find(' '))));
    const auto greeting = test::exchange(port, makeRequest("GET", "/hello?name=Ada%20L"));
    EXPECT_EQ(greeting.body, "Hello, Ada L!\n");
    EXPECT_EQ(greeting.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(test::exchange(port, makeRequest("GET", "/hello")).status, 400);
    EXPECT_EQ(test::exchange(port, makeRequest("POST", "/hello")).status, 405);
    EXPECT_EQ(test::exchange(port, makeRequest("GET", "/ten.json")).body, "0123456789");
    program.closeInput();
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.errors(), "");
}

} // namespace
} // namespace connector::test
