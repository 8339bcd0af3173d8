#include "contract/http/PercentEncode.h"

namespace connector::http {

std::string percentEncode(std::string_view text, bool (*mayStand)(char))
{
    static constexpr const char* kDigits = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const auto character : text) {
        if (mayStand(character)) {
            encoded += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
    }
    return encoded;
}

} // namespace connector::http
