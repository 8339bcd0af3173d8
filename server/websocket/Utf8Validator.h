#pragma once

#include <cstdint>
#include <string_view>

namespace connector::http::websocket {

/// Checks that a text that arrives in pieces is UTF-8 (RFC 3629): no overlong forms, no surrogates,
/// nothing above U+10FFFF. Not synchronised.
class Utf8Validator
{
public:
    /// Takes the next bytes of the text.
    /// @return false if the text can't be UTF-8 any more, whatever follows; that is told at the
    ///         first bad byte, and nothing may be added afterwards.
    [[nodiscard]] bool add(std::string_view bytes);

    /// Whether the text so far ends with a whole character.
    [[nodiscard]] bool isComplete() const { return missing_ == 0; }

    void reset() { *this = Utf8Validator(); }

private:
    bool addByte(std::uint8_t byte);
    bool beginCharacter(std::uint8_t lead);

    int missing_ = 0; ///< Bytes that the current character lacks.
    std::uint8_t lowest_ = 0x80;
    std::uint8_t highest_ = 0xbf; ///< With lowest_, the range of the next byte of the character.
};

} // namespace connector::http::websocket
