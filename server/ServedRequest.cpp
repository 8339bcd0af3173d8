#include "server/ServedRequest.h"

#include <Poco/Exception.h>

namespace connector::http {

ServedRequest::ServedRequest(Poco::Net::StreamSocket& socket,
                             const Poco::Net::HTTPServerParams& parameters)
    : socket_(socket), connection_(ConnectionSocketImpl::of(socket)), parameters_(parameters)
{}

void ServedRequest::begin() noexcept
{
    keepsAlive_ = parameters_.getKeepAlive() && connection_.head().keepsAlive();
}

std::istream& ServedRequest::stream()
{
    throw Poco::IllegalStateException("The body is read from the connection.");
}

const Poco::Net::SocketAddress& ServedRequest::serverAddress() const
{
    return connection_.localAddress();
}

} // namespace connector::http
