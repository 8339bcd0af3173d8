#pragma once

#include <string>

#include "contract/common/Export.h"

namespace connector::http {

/// Whether the request path @p path lies under @p prefix. An empty prefix matches every path, the
/// empty one included; any other match ends at a "/" or at the end of the path. A prefix that
/// itself ends in "/" is matched as it stands.
CONNECTOR_API bool pathStartsWith(const std::string& path, const std::string& prefix);

} // namespace connector::http
