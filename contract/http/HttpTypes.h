#pragma once

#include <string>
#include <unordered_map>

namespace connector::http {

/// Headers, cookies or parameters: several values per name, in the container's own order.
using StringMultimap = std::unordered_multimap<std::string, std::string>;

/// The kind of a server.
enum class ServerType
{
    HTTP = 0,
    HTTPS = 1
};

} // namespace connector::http
