#include "manager/HttpManagerServiceProviderImpl.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include "server/PocoHttpServer.h"
#include "server/tls/PocoHttpsServer.h"

namespace connector::http {

namespace {

/// The port of a server that is not told another; see HttpServer::setPort.
constexpr unsigned short kPortUnset = 0;

Reply acknowledge()
{
    return makeReadyFuture(std::make_unique<Message>());
}

template <typename E>
Reply fail(const char* text)
{
    return makeFailedFuture<std::unique_ptr<Message>>(E(text));
}

std::shared_ptr<HttpServer> makeServer(ServerType type, const std::shared_ptr<Connector>& connector,
                                       const ServerLimits& limits)
{
    switch (type) {
    case ServerType::HTTP:
        return std::make_shared<PocoHttpServer>(connector, kPortUnset, limits);
    case ServerType::HTTPS:
        return std::make_shared<PocoHttpsServer>(connector, kPortUnset, limits);
    }
    return nullptr;
}

/// Kept: an HTTPS server is a PocoHttpServer as well, and reports HTTP.
ServerType reportedTypeOf(const HttpServer& server)
{
    if (dynamic_cast<const PocoHttpServer*>(&server) != nullptr) {
        return ServerType::HTTP;
    }
    throw std::runtime_error("Unknown server type.");
}

} // namespace

HttpManagerServiceProviderImpl::HttpManagerServiceProviderImpl(std::shared_ptr<Connector> connector,
                                                               const ServerLimits& limits)
    : connector_(std::move(connector)), limits_(limits)
{}

HttpManagerServiceProviderImpl::~HttpManagerServiceProviderImpl() = default;

template <typename Action>
Reply HttpManagerServiceProviderImpl::withServer(const std::string& name, const Action& action)
{
    const manager::HandlerGate::Turn turn(gate_, PocoHttpServer::currentStopToken());
    const auto found = servers_.find(name);
    if (found == servers_.end()) {
        return fail<std::runtime_error>("No server with the specified name exists.");
    }
    return action(*found->second);
}

Reply HttpManagerServiceProviderImpl::makeReadyStatus(const std::string& name)
{
    auto& server = *servers_.at(name);
    auto address = server.getAddress();
    const auto port = server.getPort();
    auto protocol = server.getProtocol();
    auto dnsName = server.getDnsName();
    auto socketAddress = server.getSocketAddress();
    auto routableAddress = server.getRoutableAddress();
    const auto started = server.isStarted();
    const auto running = server.isRunning();
    return makeReadyFuture<std::unique_ptr<Message>>(std::make_unique<HttpServerStatusResponse>(
        name, std::move(address), std::move(protocol), std::move(dnsName),
        std::move(routableAddress), std::move(socketAddress), port, reportedTypeOf(server), started,
        running));
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<SetHttpServerSocketAddress>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer&) { return makeReadyStatus(message->name); });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<SetHttpServerPort>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer&) { return makeReadyStatus(message->name); });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<SetHttpServerAddress>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer&) { return makeReadyStatus(message->name); });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<GetHttpServerStatus>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer&) { return makeReadyStatus(message->name); });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<ListHttpServers>&& /*message*/,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    const manager::HandlerGate::Turn turn(gate_, PocoHttpServer::currentStopToken());
    std::vector<std::string> names;
    names.reserve(servers_.size());
    for (const auto& [name, server] : servers_) {
        names.push_back(name);
    }
    return makeReadyFuture<std::unique_ptr<Message>>(
        std::make_unique<ListHttpServersResponse>(std::move(names)));
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<DestroyHttpServer>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer& server) {
        server.stop(); // here, since whoever else holds the server would keep it serving
        servers_.erase(message->name);
        return acknowledge();
    });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<StopHttpServer>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer& server) {
        server.stop();
        return makeReadyStatus(message->name);
    });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<StartHttpServer>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    return withServer(message->name, [&](HttpServer& server) {
        server.start();
        return makeReadyStatus(message->name);
    });
}

Reply HttpManagerServiceProviderImpl::handle(std::unique_ptr<CreateHttpServer>&& message,
                                             Address&& /*address*/,
                                             std::shared_ptr<Context>&& /*context*/)
{
    const manager::HandlerGate::Turn turn(gate_, PocoHttpServer::currentStopToken());
    if (servers_.contains(message->name)) {
        return fail<std::invalid_argument>("Server with the specified name already exists.");
    }
    const auto server = makeServer(message->serverType, connector_, limits_);
    if (server == nullptr) {
        return fail<std::invalid_argument>("Unknown server type.");
    }
    server->setAddress(message->address);
    server->setPort(message->port);
    server->setSocketAddress(message->socketAddress);
    server->setCertLocation(message->certLocation);
    servers_.emplace(message->name, server);
    return acknowledge();
}

} // namespace connector::http
