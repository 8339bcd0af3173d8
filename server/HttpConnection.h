#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/TCPServerConnection.h>
#include <Poco/Net/TCPServerConnectionFactory.h>

namespace connector::http {

class ServedRequest;

/// Serves the requests of one connection, one after the other, on a thread of the server's pool.
/// The library's own loop, but for what its requests and responses cost: see ServedRequest.
class HttpConnection final : public Poco::Net::TCPServerConnection
{
public:
    HttpConnection(const Poco::Net::StreamSocket& socket,
                   Poco::Net::HTTPServerParams::Ptr parameters,
                   Poco::Net::HTTPRequestHandlerFactory::Ptr handlers);

    /// Closes the socket, which others hold too.
    ~HttpConnection() override;

    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    /// Returns once the connection has ended.
    void run() override;

private:
    /// @return whether a next request may follow.
    bool serve(ServedRequest& request);

    const Poco::Net::HTTPServerParams::Ptr parameters_;
    Poco::Net::HTTPRequestHandlerFactory::Ptr handlers_;
};

/// Makes a HttpConnection for every connection.
class HttpConnectionFactory final : public Poco::Net::TCPServerConnectionFactory
{
public:
    HttpConnectionFactory(Poco::Net::HTTPServerParams::Ptr parameters,
                          Poco::Net::HTTPRequestHandlerFactory::Ptr handlers);

    Poco::Net::TCPServerConnection*
    createConnection(const Poco::Net::StreamSocket& socket) override;

private:
    const Poco::Net::HTTPServerParams::Ptr parameters_;
    Poco::Net::HTTPRequestHandlerFactory::Ptr handlers_;
};

} // namespace connector::http
