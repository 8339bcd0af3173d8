#include <gmock/gmock.h>

#include "tests/support/Browser.h"
#include "tests/support/Document.h"
#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

/// The shell commands of the document under a heading, up to the next one.
std::string commandsUnder(const std::string& heading)
{
    const auto document = readFile(CONNECTOR_SOURCE_DIR "/docs/operating.md");
    const auto title = "### " + heading + "\n";
    const auto section = document.substr(document.find(title) + title.size());
    std::string commands;
    for (const auto& line : fencedLines(section.substr(0, section.find("\n##")), "sh")) {
        commands += line + "\n";
    }
    return commands;
}

TEST(CertificateWireTest, ABrowserTrustsOnesOwnCertificateAfterTheDocumentedCommands)
{
    const Site site;
    site.directory.write("site/cookie.html", "<p></p><script>cookieStore.getAll().then(all => all"
                                             ".forEach(cookie => document.body.append(cookie.name"
                                             ", ' secure ', cookie.secure)));</script>");
    const auto home = site.directory.path();
    const auto run = [&home](const std::string& commands) {
        ChildProcess shell(
            {"env", "HOME=" + home.string(), "sh", "-euc", "cd \"$HOME\"\n" + commands});
        auto output = shell.readRest();
        EXPECT_EQ(shell.wait(), 0) << shell.errors();
        return output;
    };

    run(commandsUnder("Using one's own"));
    const auto certificate = readFile(home / "certificate.pem");
    const HostProcess host(kHostBinary, {"--certificate", home / "certificate.pem", site.path(),
                                         "--secure-port", std::to_string(findFreePort())});
    EXPECT_EQ(readFile(home / "certificate.pem"), certificate);

    const auto port = std::to_string(host.securePort());
    auto trusting = commandsUnder("Trusting it");
    trusting.replace(trusting.find("31515"), 5, port);
    EXPECT_EQ(run(trusting), readFile(site.path() + "/index.html"));
    EXPECT_THAT(loadInBrowser("https://localhost:" + port + "/cookie.html",
                              {"--virtual-time-budget=5000"}, home),
                HasSubstr("JSESSIONID2 secure true"));
}

} // namespace
} // namespace connector::test
