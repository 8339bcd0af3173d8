#include "application/Application.h"

#include <exception>
#include <mutex>
#include <utility>

#include "client/PocoHttpClientServiceProvider.h"
#include "contract/common/Text.h"
#include "contract/http/Addresses.h"
#include "contract/http/HttpManagerMessages.h"
#include "contract/platform/JsonSerialization.h"
#include "manager/HttpCommandProvider.h"
#include "manager/HttpManagerJsonSerialization.h"
#include "manager/HttpManagerServiceProviderImpl.h"
#include "staticcontent/StaticContentManagerJsonSerialization.h"
#include "staticcontent/StaticContentManagerServiceProviderImpl.h"
#include "staticcontent/StaticContentServiceImpl.h"
#include "staticcontent/StaticContentServiceProvider.h"

namespace connector::http {

namespace {

constexpr common::Log kLog("connector::http");

/// Sends a message to the manager and waits for the reply.
/// @throws what the manager fails with.
template <typename M, typename... Fields>
std::unique_ptr<Message> ask(Connector& connector, Fields&&... fields)
{
    return connector.createContext()
        ->send(std::make_unique<M>(std::forward<Fields>(fields)...), kServerManager)
        .get();
}

std::shared_ptr<LocalConnector> makeConnector(const ApplicationOptions& options)
{
    if (options.logLevel) {
        common::Log::setLevel(*options.logLevel);
    }
    if (!options.logFile.empty()) {
        common::Log::logToFile(options.logFile);
    }
    return std::make_shared<LocalConnector>();
}

} // namespace

class Application::State
{
public:
    explicit State(const ApplicationOptions& options)
        : connector(makeConnector(options)),
          configuration(std::make_shared<configuration::LayeredConfiguration>()),
          administration(std::make_shared<administration::Administration>()),
          serializer(std::make_shared<json::JsonSerializer>()),
          pipeline(connector, configuration, options.pipeline),
          commands(connector, administration, kServerManager),
          manager(std::make_shared<HttpManagerServiceProviderImpl>(connector, options.serverLimits))
    {
        addJson(std::make_unique<StaticContentManagerJsonSerialization>(serializer),
                kContentManager);
        addJson(std::make_unique<HttpManagerJsonSerialization>(serializer), kServerManager);
        addStaticContent();
        connector->registerProvider(
            kHttpClient, std::make_shared<PocoHttpClientServiceProvider>(options.clientLimits));
        connector->registerProvider(kServerManager, manager);
    }

    const std::shared_ptr<LocalConnector> connector;
    const std::shared_ptr<configuration::LayeredConfiguration> configuration;
    const std::shared_ptr<administration::Administration> administration;
    const std::shared_ptr<json::JsonSerializer> serializer;
    DefaultPipeline pipeline;
    const HttpCommandProvider commands;
    const std::shared_ptr<ServiceProvider> manager;

    std::mutex mutex; ///< Guards receivers.
    std::map<std::string, Address> receivers;

private:
    /// Keeps the JSON form of a family of messages, all of which go to one receiver.
    void addJson(std::unique_ptr<json::JsonSerialization> family, const Address& receiver)
    {
        for (const auto& type : serializer->typeNames()) {
            receivers.emplace(type, receiver); // those of an earlier family keep theirs
        }
        families_.push_back(std::move(family));
    }

    void addStaticContent()
    {
        const auto service = std::make_shared<StaticContentServiceImpl>(
            configuration, std::map<std::string, std::wstring, std::greater<std::string>>(),
            std::map<std::string, bool, std::greater<std::string>>(), false);
        connector->registerProvider(kStaticContent,
                                    std::make_shared<StaticContentServiceProvider>(service));
        // Behind the stage by which the pipeline's routing table follows the service.
        connector->registerProvider(
            kContentManager, std::make_shared<StaticContentManagerServiceProviderImpl>(service));
    }

    std::vector<std::unique_ptr<json::JsonSerialization>> families_;
};

Application::Application(const ApplicationOptions& options)
    : state_(std::make_unique<State>(options))
{}

Application::~Application()
{
    try {
        stop();
        // The manager holds the bus, and the bus its providers.
        state_->connector->unregisterProvider(kServerManager, state_->manager);
    } catch (const std::exception& failure) {
        kLog.write(common::Level::Error, "Cannot stop the servers: ", failure.what());
    }
}

const std::shared_ptr<LocalConnector>& Application::connector() const noexcept
{
    return state_->connector;
}

const std::shared_ptr<configuration::LayeredConfiguration>&
Application::configuration() const noexcept
{
    return state_->configuration;
}

const std::shared_ptr<administration::Administration>& Application::administration() const noexcept
{
    return state_->administration;
}

const std::shared_ptr<json::JsonSerializer>& Application::serializer() const noexcept
{
    return state_->serializer;
}

DefaultPipeline& Application::pipeline() const noexcept
{
    return state_->pipeline;
}

void Application::mount(const std::string& route, std::shared_ptr<ServiceProvider> provider)
{
    state_->pipeline.mount(route, std::move(provider));
}

void Application::setReceiver(const std::string& typeName, const Address& receiver)
{
    const std::lock_guard lock(state_->mutex);
    state_->receivers.insert_or_assign(typeName, receiver);
}

std::map<std::string, Address> Application::receivers() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->receivers;
}

std::uint16_t Application::startServer(const ServerOptions& options)
{
    auto& bus = *state_->connector;
    ask<CreateHttpServer>(bus, options.name, Address(kPipelineEntry), options.port, "",
                          options.type, common::utf8ToWide(options.certificate.string()));
    try {
        const auto reply = ask<StartHttpServer>(bus, options.name);
        const auto* status = messageAs<HttpServerStatusResponse>(reply);
        if (status == nullptr) {
            throw std::runtime_error("The server manager gave no status.");
        }
        return status->port;
    } catch (...) {
        ask<DestroyHttpServer>(bus, options.name);
        throw;
    }
}

void Application::stop(const std::function<void(const std::string& name)>& ending)
{
    auto& bus = *state_->connector;
    const auto reply = ask<ListHttpServers>(bus);
    if (const auto* listed = messageAs<ListHttpServersResponse>(reply)) {
        for (const auto& name : listed->serverNames) {
            if (ending) {
                ending(name);
            }
            ask<DestroyHttpServer>(bus, name);
        }
    }
}

} // namespace connector::http
