#include "server/HttpConnection.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <memory>

#include "server/ServedRequest.h"
#include "server/ServerLog.h"

namespace connector::http {

HttpConnection::~HttpConnection()
{
    socket_.close();
}

void HttpConnection::run()
{
    try {
        auto patience = parameters_.getTimeout();
        socket_.setReceiveTimeout(patience);
        ServedRequest request(socket_, parameters_);
        while (socket_.poll(patience, Poco::Net::Socket::SELECT_READ) && serve(request)) {
            patience = parameters_.getKeepAliveTimeout();
        }
    } catch (const Poco::Exception& failure) { // the handshake
        if (serverLogLimits.brokenConnections.admits(kServerLog, common::Level::Info)) {
            kServerLog.write(common::Level::Info, "Connection ended: " + failure.displayText());
        }
    }
}

bool HttpConnection::serve(ServedRequest& request)
{
    request.begin();
    const std::unique_ptr<Poco::Net::HTTPRequestHandler> handler(
        handlers_.createRequestHandler(request));
    handler->handleRequest(request, request.response());
    return request.keepsAlive();
}

} // namespace connector::http
