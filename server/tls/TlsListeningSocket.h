#pragma once

#include <Poco/Net/Context.h>
#include <Poco/Net/ServerSocket.h>
#include <memory>

#include "server/ConnectionRegistry.h"

namespace connector::http {

/// A secure server socket whose connections are TlsConnectionSocketImpl, each entered in a
/// registry. Copies share the one socket, as with every socket of the networking library.
class TlsListeningSocket : public Poco::Net::ServerSocket
{
public:
    TlsListeningSocket(const Poco::Net::Context::Ptr& context,
                       std::shared_ptr<ConnectionRegistry> registry);
};

} // namespace connector::http
