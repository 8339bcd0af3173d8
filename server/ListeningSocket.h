#pragma once

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/ServerSocketImpl.h>
#include <Poco/Timespan.h>
#include <memory>

#include "server/ConnectionRegistry.h"

namespace connector::http {

/// Waits until there is a connection to accept, or an error to find out by accepting, in one system
/// call: the library's own wait takes four, for each connection.
/// @return false when @p timeout has passed.
bool awaitConnection(int listeningDescriptor, const Poco::Timespan& timeout);

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

    bool poll(const Poco::Timespan& timeout, int mode) override;
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
