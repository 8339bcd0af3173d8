#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace connector::http::staticcontent {

/// The part of a request path that follows its route, as a path below the route's directory.
/// Empty and "." segments add nothing, so the result never begins with a "/"; a "/" at its end is
/// kept, since only a directory may be asked for in that way.
/// @return nothing for a remainder that names no file: one with a ".." segment, with a NUL, or
///         that is not UTF-8.
std::optional<std::string> relativePath(std::string_view remainder);

} // namespace connector::http::staticcontent
