#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "contract/common/Export.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/Address.h"
#include "contract/messaging/MessageAPI.h"

/// The messages of the server manager. Each is a plain record whose constructor takes the fields in
/// the order of their declaration.
namespace connector::http {

class HttpManagerServiceProvider;

/// Registers a new server, which is not started yet. Answered with a plain Message.
class CONNECTOR_API CreateHttpServer final
    : public MessageAPI<CreateHttpServer, HttpManagerServiceProvider>
{
public:
    CreateHttpServer(std::string name, Address address, std::uint16_t port,
                     std::string socketAddress, ServerType serverType, std::wstring certLocation);
    ~CreateHttpServer() override;

    std::string name;
    Address address;
    std::uint16_t port;
    std::string socketAddress;
    ServerType serverType;
    std::wstring certLocation;
};

/// Starts a server. Answered with an HttpServerStatusResponse.
class CONNECTOR_API StartHttpServer final
    : public MessageAPI<StartHttpServer, HttpManagerServiceProvider>
{
public:
    explicit StartHttpServer(std::string name);
    ~StartHttpServer() override;

    std::string name;
};

/// Stops a server. Answered with an HttpServerStatusResponse.
class CONNECTOR_API StopHttpServer final
    : public MessageAPI<StopHttpServer, HttpManagerServiceProvider>
{
public:
    explicit StopHttpServer(std::string name);
    ~StopHttpServer() override;

    std::string name;
};

/// Removes a server. Answered with a plain Message.
class CONNECTOR_API DestroyHttpServer final
    : public MessageAPI<DestroyHttpServer, HttpManagerServiceProvider>
{
public:
    explicit DestroyHttpServer(std::string name);
    ~DestroyHttpServer() override;

    std::string name;
};

/// Asks for a server's status. Answered with an HttpServerStatusResponse.
class CONNECTOR_API GetHttpServerStatus final
    : public MessageAPI<GetHttpServerStatus, HttpManagerServiceProvider>
{
public:
    explicit GetHttpServerStatus(std::string name);
    ~GetHttpServerStatus() override;

    std::string name;
};

/// Asks for the names of all servers. Answered with a ListHttpServersResponse.
class CONNECTOR_API ListHttpServers final
    : public MessageAPI<ListHttpServers, HttpManagerServiceProvider>
{
public:
    ListHttpServers();
    ~ListHttpServers() override;
};

/// Answered with an HttpServerStatusResponse; the server keeps its address.
class CONNECTOR_API SetHttpServerAddress final
    : public MessageAPI<SetHttpServerAddress, HttpManagerServiceProvider>
{
public:
    SetHttpServerAddress(std::string name, Address address);
    ~SetHttpServerAddress() override;

    std::string name;
    Address address;
};

/// Answered with an HttpServerStatusResponse; the server keeps its port.
class CONNECTOR_API SetHttpServerPort final
    : public MessageAPI<SetHttpServerPort, HttpManagerServiceProvider>
{
public:
    SetHttpServerPort(std::string name, std::uint16_t port);
    ~SetHttpServerPort() override;

    std::string name;
    std::uint16_t port;
};

/// Answered with an HttpServerStatusResponse; the server keeps its socket address.
class CONNECTOR_API SetHttpServerSocketAddress final
    : public MessageAPI<SetHttpServerSocketAddress, HttpManagerServiceProvider>
{
public:
    SetHttpServerSocketAddress(std::string name, std::string socketAddress);
    ~SetHttpServerSocketAddress() override;

    std::string name;
    std::string socketAddress;
};

/// The names of all servers, in no particular order.
class CONNECTOR_API ListHttpServersResponse final : public Message
{
public:
    explicit ListHttpServersResponse(std::vector<std::string>&& serverNames);
    ~ListHttpServersResponse() override;

    std::vector<std::string> serverNames;
};

/// The state of one server.
class CONNECTOR_API HttpServerStatusResponse final : public Message
{
public:
    HttpServerStatusResponse(std::string name, Address address, std::string protocol,
                             std::string dnsName, std::string routableAddress,
                             std::string socketAddress, std::uint16_t port, ServerType serverType,
                             bool started, bool running);
    ~HttpServerStatusResponse() override;

    std::string name;
    Address address;
    std::string protocol;
    std::string dnsName;
    std::string routableAddress;
    std::string socketAddress;
    std::uint16_t port;
    ServerType serverType;
    bool started;
    bool running;
};

} // namespace connector::http
