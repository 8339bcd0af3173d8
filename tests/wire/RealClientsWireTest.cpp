#include <filesystem>
#include <gmock/gmock.h>

#include "tests/support/Browser.h"
#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

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

TEST(RealClientsWireTest, ABrowserEchoes)
{
    const TemporaryDirectory directory;
    directory.write("site/echo.html", R"(<!doctype html><body><script>
const hold = document.body.appendChild(document.createElement("iframe"));
hold.contentDocument.open(); // delays the load event
const large = "räksmörgås ".repeat(5000000 / 14 + 1);
const cases = [["text", "Hällo €"], ["binary", Uint8Array.of(0, 128, 255)], ["5 MB", large]];
const socket = new WebSocket(location.href.replace("http", "ws").replace("echo.html", "sockets"));
socket.binaryType = "arraybuffer";
const note = text => document.body.append(text + " ");
const sendNext = () => cases.length ? socket.send(cases[0][1]) : socket.close(4000);
socket.onopen = sendNext;
socket.onmessage = ({data}) => {
    const [name, sent] = cases.shift();
    const same = typeof sent === "string" ? data === sent : "" + new Uint8Array(data) === "" + sent;
    note(name + "=" + same);
    sendNext();
};
socket.onclose = ({code, wasClean}) => {
    note(code + "=" + wasClean);
    hold.contentDocument.close();
};
</script>)");
    const HostProcess host(
        kHostBinary, {"--no-secure", "--echo", "/sockets", (directory.path() / "site").string()});
    EXPECT_THAT(loadInBrowser("http://127.0.0.1:" + std::to_string(host.port()) + "/echo.html", {},
                              directory.path()),
                HasSubstr("text=true binary=true 5 MB=true 4000=true"));
}

} // namespace
} // namespace connector::test
