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

void answerStarting(Poco::Net::HTTPServerRequestImpl& request,
                    Poco::Net::HTTPServerResponse& response)
{
    response.setContentLength64(static_cast<Poco::Int64>(kStarting.size()));
    // A body stays unread, so the connection can't go on behind it.
    response.setKeepAlive(!request.hasContentLength() && !request.getChunkedTransferEncoding());
    ConnectionSocketImpl::of(request.socket()).sendAll(formatHead(response), kStarting);
}

} // namespace

PocoRequestHandler::PocoRequestHandler(PocoHttpServer& server) : server_(server) {}

void PocoRequestHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                       Poco::Net::HTTPServerResponse& response)
{
    auto& received = dynamic_cast<Poco::Net::HTTPServerRequestImpl&>(request);
    if (!server_.isRunning()) {
        answerStarting(received, response);
        return;
    }
    const PocoHttpServer::RequestScope scope(server_);
    RequestExchange(server_, received, response).run();
}

} // namespace connector::http
