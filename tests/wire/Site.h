#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "tests/support/HostProcess.h"
#include "tests/support/RawClient.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::test {

/// The program under test.
inline const std::string kHostBinary = CONNECTOR_HOST_BINARY;

/// A small site in a directory that also holds what must never be served.
class Site
{
public:
    static constexpr std::size_t kBigBytes = 3'000'000;

    Site()
    {
        const std::pair<const char*, std::string> files[] = {
            {"site/index.html", "<p>index"}, {"site/pagenotfound.html", "<p>lost"},
            {"site/ten.json", "0123456789"}, {"site/sub/index.html", "<p>sub"},
            {"site/sub/.html", "<p>dot"},    {"site/big.mp4", std::string(kBigBytes, 'b')},
            {"docs/guide.html", "<p>guide"}, {"secret.html", "SECRET"}};
        for (const auto& [name, content] : files) {
            directory.write(name, content);
        }
    }

    /// The directory of the site.
    [[nodiscard]] std::string path() const { return (directory.path() / "site").string(); }

    /// A further directory to serve.
    [[nodiscard]] std::string docs() const { return (directory.path() / "docs").string(); }

    const TemporaryDirectory directory;
};

/// A host that serves the site at "/", its documents at "/docs" and "/lib", and constants.
class ServedSite
{
public:
    Site site;
    HostProcess host{kHostBinary,
                     {"--no-secure", "--content", "/docs=" + site.docs(), "--cached-content",
                      "/lib=" + site.docs(), "--constant", "/ping=200,pong", "--constant",
                      "/gone=410,", site.path()}};

    [[nodiscard]] std::uint16_t port() const noexcept { return host.port(); }

    /// Exchanges a request on a connection of its own.
    [[nodiscard]] WireResponse get(const std::string& target, const std::string& headers = "") const
    {
        return exchange(port(), makeRequest("GET", target, headers));
    }
};

class ServedSiteTest : public testing::Test
{
protected:
    std::string type(const std::string& line) { return served_.host.console(line); }

    ServedSite served_;
};

} // namespace connector::test
