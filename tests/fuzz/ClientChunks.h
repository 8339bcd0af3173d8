#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace connector::fuzz {

/// The body that the client's reader makes of a chunked one, or nothing if it refuses it.
std::optional<std::string> readAsClient(std::string_view input, std::size_t step);

} // namespace connector::fuzz
