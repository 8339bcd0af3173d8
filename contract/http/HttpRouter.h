#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contract/common/Export.h"
#include "contract/messaging/Address.h"

namespace connector::http {

/// The routing table: which address serves the paths under which prefix. Owned by
/// `std::shared_ptr`. Every operation may be called from any thread.
class CONNECTOR_API HttpRouter : public std::enable_shared_from_this<HttpRouter>
{
public:
    HttpRouter() = default;
    virtual ~HttpRouter();

    HttpRouter(const HttpRouter&) = delete;
    HttpRouter& operator=(const HttpRouter&) = delete;

    /// Adds a route. The longest prefix wins; among equal ones the first that was added.
    /// @param path the prefix, stored as it is.
    virtual void addRoute(const std::string& path, const Address& address) = 0;

    /// Removes the first route with exactly this prefix.
    /// @throws std::invalid_argument "No such route registered: " + path without one.
    virtual void removeRoute(const std::string& path) = 0;

    /// The address that serves @p path, or an empty address.
    virtual Address findAddress(const std::string& path) = 0;

    /// The routes in the order of lookup.
    virtual std::vector<std::pair<std::string, Address>> listRoutes() = 0;

    virtual std::shared_ptr<HttpRouter> getPtr() = 0;
};

} // namespace connector::http
