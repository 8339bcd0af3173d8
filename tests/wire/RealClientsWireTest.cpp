#include <filesystem>
#include <gtest/gtest.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

TEST(RealClientsWireTest, NodeEchoes)
{
    // Packages of its own: builds may run side by side.
    const TemporaryDirectory directory;
    std::filesystem::copy(CONNECTOR_SOURCE_DIR "/tests/node", directory.path());
    ChildProcess npm(
        {"npm", "ci", "--prefer-offline", "--no-audit", "--no-fund", "--prefix", directory.path()});
    const auto said = npm.readRest();
    ASSERT_EQ(npm.wait(), 0) << said << npm.errors();

    const HostProcess host(kHostBinary, {"--no-secure", "--echo", "/echo"});
    ChildProcess node({"node", directory.path() / "echo.mjs",
                       "ws://127.0.0.1:" + std::to_string(host.port()) + "/echo"});
    EXPECT_EQ(node.readRest(), "text\nempty\nbinary\n5 MB text\n5 MB binary\nfragments\n"
                               "still there?\n4000\n1009\n");
    EXPECT_EQ(node.wait(), 0) << node.errors();
}

} // namespace
} // namespace connector::test
