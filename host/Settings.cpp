#include "host/Settings.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace connector::host {

namespace {

using configuration::Value;

std::string kindOf(const Value& value)
{
    return boost::apply_visitor(
        [](const auto& held) -> std::string {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, bool>) {
                return "true or false";
            } else if constexpr (std::is_integral_v<Held>) {
                return "a whole number";
            } else if constexpr (std::is_floating_point_v<Held>) {
                return "a number";
            } else {
                return "text";
            }
        },
        value);
}

} // namespace

Settings::Settings(std::shared_ptr<configuration::LayeredConfiguration> configuration)
    : configuration_(std::move(configuration))
{}

void Settings::set(const std::string& key, const std::string& value) const
{
    auto parsed = configuration::parseValue(value);
    // Nobody follows an unknown key, and whoever follows a key ignores values of another type than
    // its default: without these checks the operator would not learn of the mistake.
    const auto present = configuration_->get(key);
    if (!present.has_value()) {
        throw std::invalid_argument("Unknown setting: " + key);
    }
    if (kindOf(*present) != kindOf(parsed)) {
        throw std::invalid_argument("The setting " + key + " takes " + kindOf(*present) +
                                    ", not: " + value);
    }
    configuration_->set(key, std::move(parsed), "host");
}

} // namespace connector::host
