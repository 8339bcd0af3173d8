#include "server/PocoRequestHandlerFactory.h"

#include "server/PocoRequestHandler.h"

namespace connector::http {

PocoRequestHandlerFactory::PocoRequestHandlerFactory(PocoHttpServer& server) : server_(server) {}

Poco::Net::HTTPRequestHandler*
PocoRequestHandlerFactory::createRequestHandler(const Poco::Net::HTTPServerRequest& /*request*/)
{
    return new PocoRequestHandler(server_); // the library takes it over
}

} // namespace connector::http
