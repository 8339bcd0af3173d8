#pragma once

#include <Poco/Net/HTTPRequestHandler.h>

namespace connector::http {

class PocoHttpServer;

/// Begins the exchange of one HTTP request (see RequestExchange): the connection goes on with it,
/// once the handler has returned.
class PocoRequestHandler : public Poco::Net::HTTPRequestHandler
{
public:
    /// @param server outlives the handler: its `stop` waits for every handler.
    explicit PocoRequestHandler(PocoHttpServer& server);

    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override;

private:
    PocoHttpServer& server_;
};

} // namespace connector::http
