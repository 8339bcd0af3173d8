#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/ClientLimits.h"
#include "contract/common/Export.h"
#include "contract/common/Log.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/Address.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/platform/Administration.h"
#include "contract/platform/JsonSerializer.h"
#include "contract/platform/LayeredConfiguration.h"
#include "pipeline/DefaultPipeline.h"
#include "server/ServerLimits.h"

namespace connector::http {

struct ApplicationOptions
{
    DefaultPipelineOptions pipeline;
    ClientLimits clientLimits; ///< Of the requests that the client service makes.
    ServerLimits serverLimits; ///< Of each server, of those that messages create as well.

    /// The threshold of the log, which the whole process shares. Unset: as it is, which is at first
    /// `Level::Warning`.
    std::optional<common::Level> logLevel;
    /// The file that the log is appended to. Empty: where it goes already, which is at first
    /// standard error.
    std::filesystem::path logFile;
};

/// A server of an Application.
struct ServerOptions
{
    std::string name = "main";
    ServerType type = ServerType::HTTP;
    std::uint16_t port = 0; ///< The next free one if it is taken; 0 stands for 31415.
    /// Of an HTTPS server; made if missing. Empty: none is kept.
    std::filesystem::path certificate;
};

/// Everything that a program needs to serve HTTP, put together: a bus, its configuration and
/// administration, the JSON form of messages, the default pipeline with static content and the
/// client service, and the server manager. Timers and the log need no start: the first timer starts
/// the tick thread of the process.
///
/// Providers, routes and receivers may be added at any time, from any thread; the servers are
/// started and stopped by one thread. It must not be destroyed by one of its own requests.
class CONNECTOR_API Application
{
public:
    /// Puts the parts together; nothing listens yet.
    /// @throws std::runtime_error as `Log::logToFile`; std::invalid_argument as DefaultPipeline.
    explicit Application(const ApplicationOptions& options = {});

    /// Stops the servers, as `stop` does. A failure is logged.
    ~Application();

    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    // The parts, which live as long as the application at least. None is null.
    [[nodiscard]] const std::shared_ptr<LocalConnector>& connector() const noexcept;
    [[nodiscard]] const std::shared_ptr<configuration::LayeredConfiguration>&
    configuration() const noexcept;
    [[nodiscard]] const std::shared_ptr<administration::Administration>&
    administration() const noexcept;
    [[nodiscard]] const std::shared_ptr<json::JsonSerializer>& serializer() const noexcept;
    [[nodiscard]] DefaultPipeline& pipeline() const noexcept;

    /// Leads a route to a provider; see `DefaultPipeline::mount`.
    void mount(const std::string& route, std::shared_ptr<ServiceProvider> provider);

    /// Names the provider that takes the messages of a type which come from outside of the process
    /// in their JSON form, such as a line of connector-host's console.
    /// @param typeName as it is registered with `serializer`.
    /// @param receiver the provider's address. It replaces an earlier one.
    void setReceiver(const std::string& typeName, const Address& receiver);

    /// The receivers by type name: those of the server manager and the static content, and those
    /// that were set.
    [[nodiscard]] std::map<std::string, Address> receivers() const;

    /// Creates and starts a server whose requests pass the pipeline. Blocks until it answers.
    /// @return the port that it listens on.
    /// @throws std::invalid_argument "Server with the specified name already exists."; else as
    ///         `HttpServer::start`. A server that did not start is removed.
    std::uint16_t startServer(const ServerOptions& options = {});

    /// Stops and removes every server, those that messages have created included. Blocks as long as
    /// their requests take to return.
    /// @param ending if set, is told the name of each one first.
    /// @throws what the manager fails with.
    void stop(const std::function<void(const std::string& name)>& ending = nullptr);

private:
    class State;

    const std::unique_ptr<State> state_;
};

} // namespace connector::http
