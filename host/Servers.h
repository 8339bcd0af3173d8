#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contract/messaging/LocalConnector.h"
#include "contract/platform/Administration.h"
#include "host/Options.h"
#include "manager/HttpCommandProvider.h"
#include "server/ServerLimits.h"

namespace connector::host {

/// Where the manager messages are sent.
inline constexpr const char* kServerManager = "connector/http/manager";

/// The server manager on the bus, its commands, and the servers that the host starts by them. One
/// thread.
class Servers
{
public:
    /// @param limits of every server, of those that messages create as well.
    Servers(std::shared_ptr<LocalConnector> connector,
            std::shared_ptr<administration::Administration> administration,
            const http::ServerLimits& limits);

    /// Stops and removes every server that is left.
    ~Servers();

    Servers(const Servers&) = delete;
    Servers& operator=(const Servers&) = delete;

    /// Stops and removes every server, those that messages have created included. Blocks as long as
    /// their requests take to return.
    /// @param ending is told which one it is in front of each.
    /// @throws what the manager fails with.
    void stop(const std::function<void(const std::string& what)>& ending);

    /// Starts "main" and, unless the options leave it out, "secure": by the command of the default
    /// pair where the options say nothing about servers, else by messages with their values.
    /// @return a line that ends in "HTTP: " and the port, followed by ", HTTPS: " and the port of
    ///         the secure server if there is one.
    /// @throws std::runtime_error "Cannot start the servers: " + reason.
    std::string start(const Options& options);

    /// The beginnings of the addresses under which the started servers are reached from this
    /// machine, such as "http://localhost:31415".
    [[nodiscard]] std::vector<std::string> origins() const;

private:
    std::string startByMessages(const Options& options);

    const std::shared_ptr<LocalConnector> connector_;
    const std::shared_ptr<administration::Administration> administration_;
    const http::HttpCommandProvider commands_;
    const std::shared_ptr<ServiceProvider> manager_;
    std::vector<std::string> started_; ///< Names, in the order of the start.
};

} // namespace connector::host
