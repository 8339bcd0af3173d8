#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

    Site();

    /// The directory of the site.
    [[nodiscard]] std::string path() const { return (directory_.path() / "site").string(); }

    /// A further directory to serve.
    [[nodiscard]] std::string docs() const { return (directory_.path() / "docs").string(); }

    [[nodiscard]] const TemporaryDirectory& directory() const noexcept { return directory_; }

private:
    TemporaryDirectory directory_;
};

/// A host that serves the site at "/", its documents at "/docs" and constants.
class ServedSite
{
public:
    /// @param arguments further ones of the host.
    explicit ServedSite(std::vector<std::string> arguments = {});

    Site site;
    HostProcess host;

    [[nodiscard]] std::uint16_t port() const noexcept { return host.port(); }

    /// Exchanges a request on a connection of its own.
    [[nodiscard]] WireResponse get(const std::string& target, const std::string& headers = "") const
    {
        return exchange(port(), makeRequest("GET", target, headers));
    }
};

} // namespace connector::test
