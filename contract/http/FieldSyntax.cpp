#include "contract/http/FieldSyntax.h"

#include <algorithm>
#include <array>

namespace connector::http {

namespace {

/// A set of characters: one look-up for each character of every head.
using CharacterSet = std::array<bool, 256>;

constexpr CharacterSet kTokenCharacters = [] {
    CharacterSet set = {};
    for (const unsigned char c : std::string_view("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                  "abcdefghijklmnopqrstuvwxyz!#$%&'*+-.^_`|~")) {
        set[c] = true;
    }
    return set;
}();

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

} // namespace

bool isToken(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, isIn(kTokenCharacters));
}

bool isControl(char character)
{
    return kControls[static_cast<unsigned char>(character)];
}

bool isFieldValue(std::string_view text)
{
    return std::ranges::none_of(text, isIn(kNotInValues));
}

} // namespace connector::http
