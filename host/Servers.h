#pragma once

#include <functional>
#include <string>
#include <vector>

#include "application/Application.h"
#include "host/Options.h"

namespace connector::host {

/// The servers that the host starts. One thread.
class Servers
{
public:
    /// @param application outlives the object.
    explicit Servers(http::Application& application);

    /// Stops and removes every server, those that messages have created included. Blocks as long as
    /// their requests take to return.
    /// @param ending is told which one it is in front of each.
    /// @throws what the manager fails with.
    void stop(const std::function<void(const std::string& what)>& ending);

    /// Starts "main" and, unless the options leave it out, "secure": by the command of the default
    /// pair where the options say nothing about servers, else with their values.
    /// @return a line that ends in "HTTP: " and the port, followed by ", HTTPS: " and the port of
    ///         the secure server if there is one.
    /// @throws std::runtime_error "Cannot start the servers: " + reason.
    std::string start(const Options& options);

    /// The beginnings of the addresses under which the started servers are reached from this
    /// machine, such as "http://localhost:31415".
    [[nodiscard]] std::vector<std::string> origins() const;

private:
    std::string startEach(const Options& options);

    http::Application& application_;
    std::vector<std::string> started_; ///< Names, in the order of the start.
};

} // namespace connector::host
