#pragma once

#include <Poco/Net/HTTPRequestHandler.h>

namespace connector::http {

class PocoHttpServer;

/// Serves one HTTP request: while its server still starts, the server's own probe; after that the
/// request's way through the message pipeline, see RequestExchange.
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
