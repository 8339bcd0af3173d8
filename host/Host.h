#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "contract/messaging/LocalConnector.h"
#include "contract/platform/Administration.h"
#include "contract/platform/JsonSerialization.h"
#include "contract/platform/JsonSerializer.h"
#include "contract/platform/LayeredConfiguration.h"
#include "host/Console.h"
#include "host/Options.h"
#include "host/Pipeline.h"
#include "host/Servers.h"
#include "host/Settings.h"

namespace connector::host {

/// The parts of the program, put together. One thread.
class Host
{
public:
    /// Assembles everything that the options ask for; nothing listens yet.
    /// @throws std::invalid_argument naming the option that no part accepts.
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
    const Options options_;
    const std::shared_ptr<LocalConnector> connector_;
    const std::shared_ptr<configuration::LayeredConfiguration> configuration_;
    const std::shared_ptr<administration::Administration> administration_;
    const std::shared_ptr<json::JsonSerializer> serializer_;
    const std::unique_ptr<json::JsonSerialization> contentJson_;
    const std::unique_ptr<json::JsonSerialization> managerJson_;
    const Settings settings_;
    Pipeline pipeline_;
    Servers servers_; ///< The last: they are stopped before anything goes that a request may use.
};

} // namespace connector::host
