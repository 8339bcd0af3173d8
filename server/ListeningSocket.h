#pragma once

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/ServerSocketImpl.h>
#include <memory>

#include "server/ConnectionRegistry.h"

namespace connector::http {

/// Accepts a connection. Blocks until there is one.
/// @param peer receives the client's address.
/// @return the connection's descriptor, which the caller closes.
/// @throws Poco::Net::NetException when there is none to accept.
int acceptDescriptor(int listeningDescriptor, Poco::Net::SocketAddress& peer);

/// Accepts connections as ConnectionSocketImpl and enters each in a registry.
class ListeningSocketImpl : public Poco::Net::ServerSocketImpl
{
public:
    explicit ListeningSocketImpl(std::shared_ptr<ConnectionRegistry> registry);

    Poco::Net::SocketImpl* acceptConnection(Poco::Net::SocketAddress& peer) override;
    ~ListeningSocketImpl() override;

private:
    const std::shared_ptr<ConnectionRegistry> registry_;
};

/// A server socket whose connections are ConnectionSocketImpl. Copies share the one socket, as with
/// every socket of the networking library.
class ListeningSocket : public Poco::Net::ServerSocket
{
public:
    explicit ListeningSocket(std::shared_ptr<ConnectionRegistry> registry);
};

} // namespace connector::http
