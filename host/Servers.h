#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "contract/http/HttpServer.h"
#include "contract/messaging/Connector.h"
#include "host/Options.h"

namespace connector::host {

/// The servers that the host starts itself. One thread.
class Servers
{
public:
    explicit Servers(std::shared_ptr<Connector> connector);

    /// Stops them.
    ~Servers();

    Servers(const Servers&) = delete;
    Servers& operator=(const Servers&) = delete;

    /// Starts what the options ask for.
    /// @throws std::runtime_error saying which server did not start, and why.
    void start(const Options& options);

    /// One line that ends in "HTTP: " and the port.
    [[nodiscard]] std::string describe() const;

    /// The beginnings of the addresses under which the servers are reached from this machine, such
    /// as "http://localhost:31415".
    [[nodiscard]] std::vector<std::string> origins() const;

private:
    const std::shared_ptr<http::HttpServer> main_;
};

} // namespace connector::host
