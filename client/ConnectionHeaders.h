#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "contract/http/HttpTypes.h"

namespace connector::http::client {

/// Tells the headers that belong to one connection alone and may not be forwarded to the next
/// (RFC 9110 section 7.6.1): Connection and those it names, Keep-Alive, Proxy-Connection, TE,
/// Trailer, Transfer-Encoding and Upgrade.
class ConnectionHeaders
{
public:
    /// @param headers of one message, names in any letter case.
    explicit ConnectionHeaders(const StringMultimap& headers);

    /// @param name in any letter case.
    [[nodiscard]] bool contain(std::string_view name) const noexcept;

private:
    std::vector<std::string> named_; ///< By Connection.
};

} // namespace connector::http::client
