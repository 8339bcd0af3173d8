#include "contract/platform/Configuration.h"

#include <charconv>
#include <optional>

namespace connector::configuration {

namespace {

template <typename Integer>
std::optional<Value> parseInteger(const std::string& text)
{
    Integer number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || stop != end) {
        return std::nullopt;
    }
    return number;
}

} // namespace

Configuration::~Configuration() = default;

Value parseValue(const std::string& text)
{
    if (text == "true" || text == "false") {
        return text == "true";
    }
    for (const auto parse :
         {&parseInteger<int>, &parseInteger<long long>, &parseInteger<unsigned long long>}) {
        if (auto number = parse(text)) {
            return *std::move(number);
        }
    }
    return text;
}

} // namespace connector::configuration
