#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/StreamSocket.h>

namespace connector::http {

class ServedRequest;

/// Serves the requests of one connection, one after the other. The library's own loop, but for what
/// its requests and responses cost: see ServedRequest.
class HttpConnection
{
public:
    /// The arguments outlive the connection.
    HttpConnection(Poco::Net::StreamSocket& socket, const Poco::Net::HTTPServerParams& parameters,
                   Poco::Net::HTTPRequestHandlerFactory& handlers)
        : socket_(socket), parameters_(parameters), handlers_(handlers)
    {}

    /// Closes the socket, which others hold too.
    ~HttpConnection();

    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    /// Returns once the connection has ended. On the thread that is the connection's.
    void run();

private:
    /// @return whether a next request may follow.
    bool serve(ServedRequest& request);

    Poco::Net::StreamSocket& socket_;
    const Poco::Net::HTTPServerParams& parameters_;
    Poco::Net::HTTPRequestHandlerFactory& handlers_;
};

} // namespace connector::http
