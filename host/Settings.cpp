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
    // Who follows a key reads the type that its default has and ignores any other, so that the
    // operator would never learn of the mistake.
    const auto present = configuration_->get(key);
    if (present.has_value() && kindOf(*present) != kindOf(parsed)) {
        throw std::invalid_argument("The setting " + key + " takes " + kindOf(*present) +
                                    ", not: " + value);
    }
    configuration_->set(key, std::move(parsed), "host");
}

} // namespace connector::host
