#include "host/Servers.h"

#include <Poco/Exception.h>
#include <stdexcept>
#include <utility>

#include "contract/common/Log.h"
#include "contract/common/Text.h"
#include "contract/http/HttpManagerMessages.h"
#include "host/Pipeline.h"
#include "manager/HttpManagerServiceProviderImpl.h"

namespace connector::host {

namespace {

using http::ServerType;

constexpr common::Log kLog("connector::http");

constexpr const char* kMain = "main";
constexpr const char* kSecure = "secure";
constexpr std::uint16_t kMainPort = 31415;
constexpr std::uint16_t kSecurePort = 31515;

/// Sends a message to the manager and waits for the reply.
/// @throws what the manager fails with.
template <typename M, typename... Fields>
std::unique_ptr<Message> ask(Connector& connector, Fields&&... fields)
{
    return connector.createContext()
        ->send(std::make_unique<M>(std::forward<Fields>(fields)...), kServerManager)
        .get();
}

std::uint16_t portOf(const std::unique_ptr<Message>& reply)
{
    const auto* status = messageAs<http::HttpServerStatusResponse>(reply);
    if (status == nullptr) {
        throw std::runtime_error("The server manager gave no status.");
    }
    return status->port;
}

std::uint16_t startServer(Connector& connector, const char* name, ServerType type,
                          std::uint16_t port, const std::string& certificate)
{
    ask<http::CreateHttpServer>(connector, name, Address(kPipelineEntry), port, "", type,
                                common::utf8ToWide(certificate));
    return portOf(ask<http::StartHttpServer>(connector, name));
}

bool asksForDefaultPair(const Options& options)
{
    return !options.port && !options.securePort && options.certificate.empty() && options.secure;
}

} // namespace

Servers::Servers(std::shared_ptr<LocalConnector> connector,
                 std::shared_ptr<administration::Administration> administration,
                 const http::ServerLimits& limits)
    : connector_(std::move(connector)), administration_(std::move(administration)),
      commands_(connector_, administration_, kServerManager),
      manager_(std::make_shared<http::HttpManagerServiceProviderImpl>(connector_, limits))
{
    connector_->registerProvider(kServerManager, manager_);
}

Servers::~Servers()
{
    try {
        stop([](const std::string&) {});
        // The manager holds the bus, and the bus its providers.
        connector_->unregisterProvider(kServerManager, manager_);
    } catch (const std::exception& failure) {
        kLog.write(common::Level::Error, "Cannot stop the servers: ", failure.what());
    }
}

void Servers::stop(const std::function<void(const std::string& what)>& ending)
{
    const auto reply = ask<http::ListHttpServers>(*connector_);
    if (const auto* listed = messageAs<http::ListHttpServersResponse>(reply)) {
        for (const auto& name : listed->serverNames) {
            ending("the server \"" + name + "\"");
            ask<http::DestroyHttpServer>(*connector_, name);
        }
    }
}

std::string Servers::start(const Options& options)
{
    try {
        started_ = options.secure ? std::vector<std::string>{kMain, kSecure}
                                  : std::vector<std::string>{kMain};
        return asksForDefaultPair(options)
                   ? administration_->runCommand("connector.http.defaultServers")
                   : startByMessages(options);
    } catch (const Poco::Exception& failure) { // its what() is only the name of its class
        throw std::runtime_error("Cannot start the servers: " + failure.displayText());
    } catch (const std::exception& failure) {
        throw std::runtime_error(std::string("Cannot start the servers: ") + failure.what());
    }
}

std::string Servers::startByMessages(const Options& options)
{
    auto& bus = *connector_;
    auto line = "HTTP servers started. HTTP: " +
                std::to_string(startServer(bus, kMain, ServerType::HTTP,
                                           options.port.value_or(kMainPort), ""));
    if (options.secure) {
        line += ", HTTPS: " + std::to_string(startServer(bus, kSecure, ServerType::HTTPS,
                                                         options.securePort.value_or(kSecurePort),
                                                         options.certificate));
    }
    return line;
}

std::vector<std::string> Servers::origins() const
{
    std::vector<std::string> texts;
    for (const auto& name : started_) {
        const auto reply = ask<http::GetHttpServerStatus>(*connector_, name);
        if (const auto* status = messageAs<http::HttpServerStatusResponse>(reply)) {
            texts.push_back(status->protocol + "://localhost:" + std::to_string(status->port));
        }
    }
    return texts;
}

} // namespace connector::host
