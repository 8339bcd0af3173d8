#include "contract/messaging/Context.h"

#include <algorithm>
#include <utility>

namespace connector {

Context::~Context() = default;

void Context::setAttribute(const std::string& name, std::string value)
{
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(attributes_, name, &Attribute::first);
    if (found == attributes_.end()) {
        attributes_.emplace_back(name, std::move(value));
    } else {
        found->second = std::move(value);
    }
}

std::optional<std::string> Context::getAttribute(const std::string& name) const
{
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(attributes_, name, &Attribute::first);
    return found == attributes_.end() ? std::nullopt : std::optional(found->second);
}

} // namespace connector
