#include "contract/messaging/Context.h"

#include <utility>

namespace connector {

Context::~Context() = default;

void Context::setAttribute(const std::string& name, std::string value)
{
    const std::lock_guard lock(mutex_);
    attributes_[name] = std::move(value);
}

std::optional<std::string> Context::getAttribute(const std::string& name) const
{
    const std::lock_guard lock(mutex_);
    const auto found = attributes_.find(name);
    return found == attributes_.end() ? std::nullopt : std::optional(found->second);
}

} // namespace connector
