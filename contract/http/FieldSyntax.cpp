#include "contract/http/FieldSyntax.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace connector::http {

namespace {

/// A set of characters: one look-up for each character of every head.
using CharacterSet = std::array<bool, 256>;

constexpr CharacterSet makeSet(std::initializer_list<std::string_view> parts)
{
    CharacterSet set = {};
    for (const auto part : parts) {
        for (const unsigned char c : part) {
            set[c] = true;
        }
    }
    return set;
}

constexpr std::string_view kAlphanumeric =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr auto kTokenCharacters = makeSet({kAlphanumeric, "!#$%&'*+-.^_`|~"});
constexpr auto kHostCharacters = makeSet({kAlphanumeric, "-._~!$&'()*+;="});
constexpr auto kHexDigits = makeSet({"0123456789ABCDEFabcdef"});

constexpr CharacterSet kControls = [] {
    CharacterSet set = {};
    std::fill(set.begin(), set.begin() + ' ', true);
    set[0x7F] = true;
    return set;
}();

constexpr CharacterSet kNotInValues = [] {
    auto set = kControls;
    set['\t'] = false;
    return set;
}();

auto isIn(const CharacterSet& set)
{
    return [&set](unsigned char character) { return set[character]; };
}

/// A registered name, which an IPv4 address is too.
bool isHostName(std::string_view text)
{
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%') {
            const auto digits = text.substr(at + 1, 2);
            if (digits.size() < 2 || !std::ranges::all_of(digits, isIn(kHexDigits))) {
                return false;
            }
            at += 2;
        } else if (!isIn(kHostCharacters)(static_cast<unsigned char>(text[at]))) {
            return false;
        }
    }
    return !text.empty();
}

bool isIpv6Address(std::string_view text)
{
    in6_addr address = {};
    return text.size() < INET6_ADDRSTRLEN &&
           ::inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1;
}

/// Nothing, or ":" and a port, which may be empty.
bool isPortSuffix(std::string_view text)
{
    if (text.empty() || text == ":") {
        return true;
    }
    std::uint16_t port = 0;
    const auto* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data() + 1, end, port);
    return text.front() == ':' && failure == std::errc() && stop == end;
}

} // namespace

std::optional<HeaderField> parseField(std::string_view line)
{
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || !isToken(line.substr(0, colon))) {
        return std::nullopt;
    }
    const auto value = trimBlanks(line.substr(colon + 1));
    if (!isFieldValue(value)) {
        return std::nullopt;
    }
    return HeaderField{line.substr(0, colon), value};
}

std::string_view trimBlanks(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::size_t tokenLength(std::string_view text)
{
    const auto end = std::ranges::find_if_not(text, isIn(kTokenCharacters));
    return static_cast<std::size_t>(end - text.begin());
}

bool isToken(std::string_view text)
{
    return !text.empty() && tokenLength(text) == text.size();
}

bool isControl(char character)
{
    return kControls[static_cast<unsigned char>(character)];
}

bool isFieldValue(std::string_view text)
{
    return std::ranges::none_of(text, isIn(kNotInValues));
}

bool isHost(std::string_view text)
{
    if (text.starts_with('[')) {
        const auto end = text.find(']');
        return end != std::string_view::npos && isIpv6Address(text.substr(1, end - 1)) &&
               isPortSuffix(text.substr(end + 1));
    }
    const auto end = std::min(text.find(':'), text.size());
    return isHostName(text.substr(0, end)) && isPortSuffix(text.substr(end));
}

} // namespace connector::http
