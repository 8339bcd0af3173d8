#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

/// What the fuzz targets share. An exception that leaves a target is a finding as well, so a target
/// catches the documented ones only.
namespace connector::fuzz {

/// Ends the process, with the property's text, unless it holds.
inline void require(bool holds, std::string_view property)
{
    if (!holds) {
        std::cerr << "Does not hold: " << property << '\n';
        std::abort();
    }
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

/// Takes the text up to @p mark, and the mark, off the front of @p text.
inline std::string_view takeUntil(std::string_view& text, char mark)
{
    const auto part = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

/// The result of read(text, step), which must not depend on the size of the pieces.
template <typename Read>
auto readInPieces(std::string_view text, Read read)
{
    const auto whole = read(text, std::max<std::size_t>(text.size(), 1));
    for (const std::size_t step : {1U, 2U, 7U, 64U}) {
        require(read(text, step) == whole, "The result does not depend on the size of the pieces.");
    }
    return whole;
}

} // namespace connector::fuzz
