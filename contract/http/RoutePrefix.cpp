#include "contract/http/RoutePrefix.h"

namespace connector::http {

std::string routePrefix(const std::string& route)
{
    return !route.empty() && route.back() == '/' ? route.substr(0, route.size() - 1) : route;
}

} // namespace connector::http
