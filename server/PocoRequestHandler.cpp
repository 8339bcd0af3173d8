#include "server/PocoRequestHandler.h"

#include "server/PocoHttpServer.h"
#include "server/http/HttpConnection.h"
#include "server/http/ServedRequest.h"

namespace connector::http {

PocoRequestHandler::PocoRequestHandler(PocoHttpServer& server) : server_(server) {}

void PocoRequestHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                       Poco::Net::HTTPServerResponse& /*response*/)
{
    auto& connection = static_cast<ServedRequest&>(request).connection(); // the one kind there is
    connection.beginExchange(server_);
}

} // namespace connector::http
