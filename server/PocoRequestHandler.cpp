#include "server/PocoRequestHandler.h"

#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponse.h>

#include "server/ConnectionSocketImpl.h"
#include "server/PocoHttpServer.h"
#include "server/RequestExchange.h"
#include "server/ResponseHead.h"

namespace connector::http {

namespace {

constexpr std::string_view kStarting = "starting";

void answerStarting(ConnectionSocketImpl& connection, Poco::Net::HTTPServerResponse& response)
{
    const auto& framing = connection.head().framing();
    // A body stays unread, so the connection can't go on behind it.
    response.setKeepAlive(!framing.chunked && framing.length == 0);
    ResponseHead head(connection.head().version() == Poco::Net::HTTPMessage::HTTP_1_0,
                      response.getKeepAlive(), response.get(Poco::Net::HTTPResponse::DATE));
    head.addContentLength(kStarting.size());
    connection.sendAll(head.format(), kStarting);
}

} // namespace

PocoRequestHandler::PocoRequestHandler(PocoHttpServer& server) : server_(server) {}

void PocoRequestHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                       Poco::Net::HTTPServerResponse& response)
{
    auto& received =
        static_cast<Poco::Net::HTTPServerRequestImpl&>(request); // the one kind there is
    PocoHttpServer::RequestScope scope(server_);
    if (!scope.isRunning()) {
        answerStarting(ConnectionSocketImpl::of(received.socket()), response);
        return;
    }
    RequestExchange(server_, scope, received, response).run();
}

} // namespace connector::http
