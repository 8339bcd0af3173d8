#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "contract/http/HttpRouter.h"

namespace connector::http::pipeline {

/// The routes of a pipeline: keeps each to one provider, and the plain not-found page in place
/// while no route leads to another one. Any thread may call it.
class RouteTable
{
public:
    /// Adds a route to the plain not-found page.
    /// @param notFound the address of that page.
    RouteTable(std::shared_ptr<HttpRouter> router, Address notFound);

    /// @throws std::invalid_argument "The route is taken by another provider: " + route if it leads
    ///         to another address than @p address. The plain not-found page gives way.
    void requireFree(const std::string& route, const Address& address) const;

    /// Adds a route, kept without a "/" at its end. Does nothing if it leads to @p address already.
    /// If the path of the not-found page lies below it, the route to the plain page is removed.
    /// @throws std::invalid_argument as `requireFree`.
    void add(const std::string& route, const Address& address);

    [[nodiscard]] const std::shared_ptr<HttpRouter>& router() const noexcept { return router_; }

private:
    const std::shared_ptr<HttpRouter> router_;
    const Address notFound_;
    std::mutex mutex_; ///< Held from the look at the table to its change.
};

} // namespace connector::http::pipeline
