#include "server/PocoRequestHandler.h"

#include "server/HttpDate.h"
#include "server/PocoHttpServer.h"
#include "server/RequestExchange.h"
#include "server/ResponseHead.h"
#include "server/ServedRequest.h"

namespace connector::http {

namespace {

constexpr std::string_view kStarting = "starting";

void answerStarting(ServedRequest& request)
{
    const auto& received = request.connection().head();
    if (received.framing().hasBody()) {
        request.endConnection(); // a body stays unread
    }
    ResponseHead head(received.isHttp10(), request.keepsAlive(), currentHttpDate());
    head.addContentLength(kStarting.size());
    const auto bodiless = isBodiless(head.status(), received.method());
    request.connection().sendAll(head.format(), bodiless ? "" : kStarting);
}

} // namespace

PocoRequestHandler::PocoRequestHandler(PocoHttpServer& server) : server_(server) {}

void PocoRequestHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                       Poco::Net::HTTPServerResponse& /*response*/)
{
    auto& served = static_cast<ServedRequest&>(request); // the one kind there is
    PocoHttpServer::RequestScope scope(server_);
    if (!scope.isRunning()) {
        answerStarting(served);
        return;
    }
    RequestExchange(server_, scope, served).run();
}

} // namespace connector::http
