#pragma once

#include <string_view>

namespace connector::http {

/// The current time as the value of a Date field (RFC 9110 section 5.6.7), formatted once a second
/// by each thread. Valid until the calling thread asks again. Allocates nothing.
std::string_view currentHttpDate() noexcept;

} // namespace connector::http
