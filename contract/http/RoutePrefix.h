#pragma once

#include <string>

#include "contract/common/Export.h"

namespace connector::http {

/// The prefix under which a route is kept: without one trailing "/", so "" for "/".
CONNECTOR_API std::string routePrefix(const std::string& route);

} // namespace connector::http
