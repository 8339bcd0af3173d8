#include "contract/common/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <boost/locale/encoding_utf.hpp>

namespace connector::common {

namespace {

namespace conv = boost::locale::conv;
namespace utf = boost::locale::utf;

static_assert(sizeof(wchar_t) == 4, "a wide character is one code point here");

/// Skips runs of eight ASCII bytes.
const char* skipAscii(const char* at, const char* end) noexcept
{
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    for (; end - at >= 8; at += 8) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, at, sizeof(bytes));
        if ((bytes & kHighBits) != 0) {
            break;
        }
    }
    return at;
}

/// @return how many bytes of @p text, from its first one, are a control character; 0 if none.
std::size_t sizeOfControl(std::string_view text, bool utf8) noexcept
{
    const auto byte = static_cast<unsigned char>(text[0]);
    if (byte < 0x20 || byte == 0x7F || (byte >= 0x80 && !utf8)) {
        return 1;
    }
    return byte == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0 ? 2 : 0;
}

void appendEscape(std::string& text, char c)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
        text += "\\n";
    } else {
        text.append("\\x").append({kHex[byte >> 4U], kHex[byte & 0xFU]});
    }
}

} // namespace

std::string wideToUtf8(std::wstring_view text)
{
    try {
        return conv::utf_to_utf<char>(text.data(), text.data() + text.size(), conv::stop);
    } catch (const conv::conversion_error&) {
        throw std::invalid_argument("The wide text holds a code point that Unicode does not have.");
    }
}

std::wstring utf8ToWide(std::string_view text)
{
    try {
        return conv::utf_to_utf<wchar_t>(text.data(), text.data() + text.size(), conv::stop);
    } catch (const conv::conversion_error&) {
        throw std::invalid_argument("The text is not valid UTF-8.");
    }
}

bool isValidUtf8(std::string_view text) noexcept
{
    const char* at = text.data();
    const char* const end = at + text.size();
    while ((at = skipAscii(at, end)) != end) {
        const auto point = utf::utf_traits<char>::decode(at, end);
        if (point == utf::illegal || point == utf::incomplete) {
            return false;
        }
    }
    return true;
}

std::string escapeControls(std::string text)
{
    const auto utf8 = isValidUtf8(text);
    const auto controlAt = [utf8, view = std::string_view(text)](std::size_t at) {
        return sizeOfControl(view.substr(at), utf8);
    };
    std::size_t at = 0;
    while (at < text.size() && controlAt(at) == 0) {
        ++at;
    }
    if (at == text.size()) {
        return text;
    }
    std::string escaped(text, 0, at);
    while (at < text.size()) {
        auto control = controlAt(at);
        if (control == 0) {
            escaped += text[at++];
        }
        for (; control > 0; --control) {
            appendEscape(escaped, text[at++]);
        }
    }
    return escaped;
}

std::string toLowerAscii(std::string text)
{
    for (char& c : text) {
        c = toLowerAscii(c);
    }
    return text;
}

} // namespace connector::common
