#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerParams.h>
#include <memory>

#include "server/ServerLimits.h"

namespace connector::http {

/// What the connections of a server share. Outlives them.
struct HttpService
{
    const ServerLimits& limits;
    Poco::Net::HTTPServerParams::Ptr parameters;
    std::unique_ptr<Poco::Net::HTTPRequestHandlerFactory> handlers;
};

} // namespace connector::http
