#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "application/Application.h"
#include "host/Console.h"
#include "host/Options.h"
#include "host/Servers.h"
#include "host/Settings.h"

namespace connector::host {

/// The parts of the program, put together. One thread.
class Host
{
public:
    /// Assembles everything that the options ask for; nothing listens yet.
    /// @throws std::invalid_argument naming the option that no part accepts; std::runtime_error as
    ///         `loadProvider`.
    explicit Host(const Options& options);

    /// Starts the servers.
    /// @return the lines that tell the operator what runs and where to look.
    /// @throws std::runtime_error saying which server did not start, and why.
    std::string start();

    /// Stops the servers, as `Servers::stop` does it.
    void stop(const std::function<void(const std::string& what)>& ending);

    /// A console that reaches the parts.
    [[nodiscard]] Console makeConsole(std::stop_token stop) const;

private:
    void mountRoutes();

    const Options options_;
    http::Application application_;
    const Settings settings_;
    Servers servers_;
};

} // namespace connector::host
