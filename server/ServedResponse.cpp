#include "server/ServedResponse.h"

#include <Poco/Exception.h>

namespace connector::http {

namespace {

[[noreturn]] void refuse()
{
    throw Poco::IllegalStateException("Answers leave through the connection.");
}

} // namespace

void ServedResponse::sendContinue()
{
    refuse();
}

std::ostream& ServedResponse::send()
{
    refuse();
}

void ServedResponse::sendFile(const std::string& /*path*/, const std::string& /*mediaType*/)
{
    refuse();
}

void ServedResponse::sendBuffer(const void* /*buffer*/, std::size_t /*length*/)
{
    refuse();
}

void ServedResponse::redirect(const std::string& /*uri*/, HTTPStatus /*status*/)
{
    refuse();
}

void ServedResponse::requireAuthentication(const std::string& /*realm*/)
{
    refuse();
}

} // namespace connector::http
