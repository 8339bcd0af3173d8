#include "pipeline/RouteTable.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "contract/http/PathStartsWith.h"
#include "contract/http/RoutePrefix.h"

namespace connector::http::pipeline {

namespace {

using Route = std::pair<std::string, Address>;

/// What the router fetches in place of any 404.
constexpr const char* kNotFoundPath = "/pagenotfound.html";

} // namespace

RouteTable::RouteTable(std::shared_ptr<HttpRouter> router, Address notFound)
    : router_(std::move(router)), notFound_(std::move(notFound))
{
    router_->addRoute(kNotFoundPath, notFound_);
}

void RouteTable::requireFree(const std::string& route, const Address& address) const
{
    const auto prefix = routePrefix(route);
    for (const auto& [path, present] : router_->listRoutes()) {
        if (path == prefix && present != address && present != notFound_) {
            throw std::invalid_argument("The route is taken by another provider: " + route);
        }
    }
}

void RouteTable::add(const std::string& route, const Address& address)
{
    const auto prefix = routePrefix(route);
    const std::lock_guard lock(mutex_);
    requireFree(route, address);
    const auto routes = router_->listRoutes();
    if (std::ranges::find(routes, Route(prefix, address)) != routes.end()) {
        return;
    }
    router_->addRoute(prefix, address);
    if (pathStartsWith(kNotFoundPath, prefix) &&
        std::ranges::find(routes, notFound_, &Route::second) != routes.end()) {
        router_->removeRoute(kNotFoundPath); // the plain page, which stands in front of its equals
    }
}

} // namespace connector::http::pipeline
