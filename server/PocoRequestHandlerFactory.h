#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>

namespace connector::http {

class PocoHttpServer;

/// Makes a PocoRequestHandler for every request.
class PocoRequestHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    /// @param server owns the factory's listener and outlives both.
    explicit PocoRequestHandlerFactory(PocoHttpServer& server);

    Poco::Net::HTTPRequestHandler*
    createRequestHandler(const Poco::Net::HTTPServerRequest& request) override;

private:
    PocoHttpServer& server_;
};

} // namespace connector::http
