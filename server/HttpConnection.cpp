#include "server/HttpConnection.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <memory>
#include <utility>

#include "server/ServedRequest.h"
#include "server/ServerLog.h"

namespace connector::http {

using Poco::Net::HTTPRequestHandlerFactory;
using Poco::Net::HTTPServerParams;

HttpConnection::HttpConnection(const Poco::Net::StreamSocket& socket,
                               HTTPServerParams::Ptr parameters,
                               HTTPRequestHandlerFactory::Ptr handlers)
    : TCPServerConnection(socket), parameters_(std::move(parameters)),
      handlers_(std::move(handlers))
{}

HttpConnection::~HttpConnection()
{
    socket().close();
}

void HttpConnection::run()
{
    try {
        auto patience = parameters_->getTimeout();
        socket().setReceiveTimeout(patience);
        ServedRequest request(socket(), *parameters_);
        while (socket().poll(patience, Poco::Net::Socket::SELECT_READ) && serve(request)) {
            patience = parameters_->getKeepAliveTimeout();
        }
    } catch (const Poco::Exception& failure) { // the handshake, or leave to send the body
        if (kServerLog.enabled(common::Level::Info)) {
            kServerLog.write(common::Level::Info, "Connection ended: " + failure.displayText());
        }
    }
}

bool HttpConnection::serve(ServedRequest& request)
{
    request.begin();
    if (request.awaitsContinue()) {
        request.connection().sendAll("HTTP/1.1 100 Continue\r\n\r\n", "");
    }
    const std::unique_ptr<Poco::Net::HTTPRequestHandler> handler(
        handlers_->createRequestHandler(request));
    handler->handleRequest(request, request.response());
    return request.keepsAlive();
}

HttpConnectionFactory::HttpConnectionFactory(HTTPServerParams::Ptr parameters,
                                             HTTPRequestHandlerFactory::Ptr handlers)
    : parameters_(std::move(parameters)), handlers_(std::move(handlers))
{}

Poco::Net::TCPServerConnection*
HttpConnectionFactory::createConnection(const Poco::Net::StreamSocket& socket)
{
    return new HttpConnection(socket, parameters_, handlers_); // the library takes it over
}

} // namespace connector::http
