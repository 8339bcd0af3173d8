#include "server/websocket/Utf8Validator.h"

#include <cstddef>
#include <cstring>

namespace connector::http::websocket {

namespace {

/// How many of the bytes from @p begin on are ASCII, counted in whole words.
std::size_t asciiPrefix(std::string_view bytes)
{
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::size_t count = 0;
    for (; bytes.size() - count >= 2 * sizeof(std::uint64_t); count += 2 * sizeof(std::uint64_t)) {
        std::uint64_t words[2];
        std::memcpy(words, bytes.data() + count, sizeof(words));
        if (((words[0] | words[1]) & kHighBits) != 0) {
            break;
        }
    }
    return count;
}

} // namespace

bool Utf8Validator::add(std::string_view bytes)
{
    std::size_t i = 0;
    while (i < bytes.size()) {
        if (missing_ == 0) {
            i += asciiPrefix(bytes.substr(i));
        }
        // The rest of a block that is not all ASCII goes byte by byte.
        for (std::size_t n = 0; n < 16 && i < bytes.size(); ++n, ++i) {
            if (!addByte(static_cast<std::uint8_t>(bytes[i]))) {
                return false;
            }
        }
    }
    return true;
}

bool Utf8Validator::addByte(std::uint8_t byte)
{
    if (missing_ == 0) {
        return byte < 0x80 || beginCharacter(byte);
    }
    if (byte < lowest_ || byte > highest_) {
        return false;
    }
    --missing_;
    lowest_ = 0x80;
    highest_ = 0xbf;
    return true;
}

bool Utf8Validator::beginCharacter(std::uint8_t lead)
{
    if (lead < 0xc2 || lead > 0xf4) { // a stray continuation, an overlong form, or above U+10FFFF
        return false;
    }
    if (lead < 0xe0) {
        missing_ = 1;
    } else if (lead < 0xf0) {
        missing_ = 2;
    } else {
        missing_ = 3;
    }
    if (lead == 0xe0) {
        lowest_ = 0xa0; // below: overlong
    } else if (lead == 0xed) {
        highest_ = 0x9f; // above: surrogates
    } else if (lead == 0xf0) {
        lowest_ = 0x90; // below: overlong
    } else if (lead == 0xf4) {
        highest_ = 0x8f; // above: beyond U+10FFFF
    }
    return true;
}

} // namespace connector::http::websocket
