#include "pipeline/HttpRouterImpl.h"

#include <algorithm>
#include <stdexcept>

#include "contract/common/Log.h"
#include "contract/http/PathStartsWith.h"

namespace connector::http {

namespace {

using common::Level;

constexpr common::Log kLog("connector::http::router");

} // namespace

HttpRouterImpl::HttpRouterImpl(std::vector<std::pair<std::string, Address>>&& routes)
    : routes_(std::move(routes))
{}

void HttpRouterImpl::addRoute(const std::string& path, const Address& address)
{
    const auto lock = locks_.lockExclusively();
    const auto shorter = std::ranges::find_if(
        routes_, [&path](const auto& route) { return route.first.size() < path.size(); });
    routes_.emplace(shorter, path, address);
}

void HttpRouterImpl::removeRoute(const std::string& path)
{
    const auto lock = locks_.lockExclusively();
    const auto found = std::ranges::find(routes_, path, &std::pair<std::string, Address>::first);
    if (found == routes_.end()) {
        throw std::invalid_argument("No such route registered: " + path);
    }
    routes_.erase(found);
}

Address HttpRouterImpl::findAddress(const std::string& path)
{
    const auto lock = locks_.lockShared();
    const auto found = std::ranges::find_if(
        routes_, [&path](const auto& route) { return pathStartsWith(path, route.first); });
    auto address = found == routes_.end() ? Address() : found->second;
    if (kLog.enabled(Level::Trace)) {
        kLog.write(Level::Trace, "Found address for path: " + path + ", to: " + address.toString());
    }
    return address;
}

std::vector<std::pair<std::string, Address>> HttpRouterImpl::listRoutes()
{
    const auto lock = locks_.lockShared();
    return routes_;
}

std::shared_ptr<HttpRouter> HttpRouterImpl::getPtr()
{
    return shared_from_this();
}

} // namespace connector::http
