#include "contract/http/FieldSyntax.h"

#include <algorithm>

namespace connector::http {

namespace {

bool isTokenCharacter(char character)
{
    const auto isAlphanumeric = (character >= '0' && character <= '9') ||
                                (character >= 'A' && character <= 'Z') ||
                                (character >= 'a' && character <= 'z');
    return isAlphanumeric ||
           std::string_view("!#$%&'*+-.^_`|~").find(character) != std::string_view::npos;
}

} // namespace

bool isToken(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, isTokenCharacter);
}

bool isControl(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

bool isFieldValue(std::string_view text)
{
    return std::ranges::none_of(
        text, [](char character) { return isControl(character) && character != '\t'; });
}

} // namespace connector::http
