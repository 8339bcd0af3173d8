#include "server/http/ServedRequest.h"

#include <Poco/Exception.h>

#include "server/http/HttpConnection.h"

namespace connector::http {

namespace {

[[noreturn]] void refuse()
{
    throw Poco::IllegalStateException("Bodies and answers pass through the connection.");
}

} // namespace

std::istream& ServedRequest::stream()
{
    refuse();
}

const Poco::Net::SocketAddress& ServedRequest::clientAddress() const
{
    return connection_.clientAddress();
}

const Poco::Net::SocketAddress& ServedRequest::serverAddress() const
{
    return connection_.localAddress();
}

bool ServedRequest::secure() const
{
    return connection_.isSecure();
}

void ServedRequest::Response::sendContinue()
{
    refuse();
}

std::ostream& ServedRequest::Response::send()
{
    refuse();
}

void ServedRequest::Response::sendFile(const std::string& /*path*/,
                                       const std::string& /*mediaType*/)
{
    refuse();
}

void ServedRequest::Response::sendBuffer(const void* /*buffer*/, std::size_t /*length*/)
{
    refuse();
}

void ServedRequest::Response::redirect(const std::string& /*uri*/, HTTPStatus /*status*/)
{
    refuse();
}

void ServedRequest::Response::requireAuthentication(const std::string& /*realm*/)
{
    refuse();
}

} // namespace connector::http
