#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "contract/common/Export.h"

/// Text conversions that no locale changes.
namespace connector::common {

/// @throws std::invalid_argument "The wide text holds a code point that Unicode does not have." on
///         surrogates and values above U+10FFFF.
[[nodiscard]] CONNECTOR_API std::string wideToUtf8(std::wstring_view text);

/// The names of files on Linux are bytes, usually but not always UTF-8: one that is not has no wide
/// form.
/// @throws std::invalid_argument "The text is not valid UTF-8." on malformed, overlong and
///         incomplete sequences, surrogates and values above U+10FFFF.
[[nodiscard]] CONNECTOR_API std::wstring utf8ToWide(std::string_view text);

/// Whether `utf8ToWide` would take @p text. Runs of ASCII pass eight bytes at a time.
[[nodiscard]] CONNECTOR_API bool isValidUtf8(std::string_view text) noexcept;

/// @return @p text with its control characters (C0, DEL, C1) escaped: a line feed as "\n", the
/// bytes
///         of others as "\x1B". In a text that is not UTF-8 every byte from 0x80 on is escaped.
[[nodiscard]] CONNECTOR_API std::string escapeControls(std::string text);

/// Lower-cases A-Z and nothing else.
[[nodiscard]] constexpr char toLowerAscii(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

/// Lower-cases A-Z and nothing else.
[[nodiscard]] CONNECTOR_API std::string toLowerAscii(std::string text);

/// Compares byte by byte, A-Z equal to a-z.
[[nodiscard]] constexpr bool equalsIgnoreCaseAscii(std::string_view a, std::string_view b) noexcept
{
    // The sizes first: most of what is compared differs there.
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return toLowerAscii(x) == toLowerAscii(y);
           });
}

} // namespace connector::common
