#include "contract/http/HttpManagerMessages.h"

#include <utility>

#include "contract/http/HttpManagerServiceProvider.h"

namespace connector::http {

CreateHttpServer::CreateHttpServer(std::string name_, Address address_, std::uint16_t port_,
                                   std::string socketAddress_, ServerType serverType_,
                                   std::wstring certLocation_)
    : name(std::move(name_)), address(std::move(address_)), port(port_),
      socketAddress(std::move(socketAddress_)), serverType(serverType_),
      certLocation(std::move(certLocation_))
{}
CreateHttpServer::~CreateHttpServer() = default;

StartHttpServer::StartHttpServer(std::string name_) : name(std::move(name_)) {}
StartHttpServer::~StartHttpServer() = default;

StopHttpServer::StopHttpServer(std::string name_) : name(std::move(name_)) {}
StopHttpServer::~StopHttpServer() = default;

DestroyHttpServer::DestroyHttpServer(std::string name_) : name(std::move(name_)) {}
DestroyHttpServer::~DestroyHttpServer() = default;

GetHttpServerStatus::GetHttpServerStatus(std::string name_) : name(std::move(name_)) {}
GetHttpServerStatus::~GetHttpServerStatus() = default;

ListHttpServers::ListHttpServers() = default;
ListHttpServers::~ListHttpServers() = default;

SetHttpServerAddress::SetHttpServerAddress(std::string name_, Address address_)
    : name(std::move(name_)), address(std::move(address_))
{}
SetHttpServerAddress::~SetHttpServerAddress() = default;

SetHttpServerPort::SetHttpServerPort(std::string name_, std::uint16_t port_)
    : name(std::move(name_)), port(port_)
{}
SetHttpServerPort::~SetHttpServerPort() = default;

SetHttpServerSocketAddress::SetHttpServerSocketAddress(std::string name_,
                                                       std::string socketAddress_)
    : name(std::move(name_)), socketAddress(std::move(socketAddress_))
{}
SetHttpServerSocketAddress::~SetHttpServerSocketAddress() = default;

ListHttpServersResponse::ListHttpServersResponse(std::vector<std::string>&& serverNames_)
    : serverNames(std::move(serverNames_))
{}
ListHttpServersResponse::~ListHttpServersResponse() = default;

HttpServerStatusResponse::HttpServerStatusResponse(std::string name_, Address address_,
                                                   std::string protocol_, std::string dnsName_,
                                                   std::string routableAddress_,
                                                   std::string socketAddress_, std::uint16_t port_,
                                                   ServerType serverType_, bool started_,
                                                   bool running_)
    : name(std::move(name_)), address(std::move(address_)), protocol(std::move(protocol_)),
      dnsName(std::move(dnsName_)), routableAddress(std::move(routableAddress_)),
      socketAddress(std::move(socketAddress_)), port(port_), serverType(serverType_),
      started(started_), running(running_)
{}
HttpServerStatusResponse::~HttpServerStatusResponse() = default;

} // namespace connector::http
