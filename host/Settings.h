#pragma once

#include <memory>
#include <string>

#include "contract/platform/LayeredConfiguration.h"

namespace connector::host {

/// The settings that an operator makes: the layer "host", above the defaults of the parts.
class Settings
{
public:
    explicit Settings(std::shared_ptr<configuration::LayeredConfiguration> configuration);

    /// Sets a key from text, as `configuration::parseValue` reads it. The parts follow at once. Any
    /// thread.
    /// @throws std::invalid_argument "Unknown setting: " + key for a key that no part has given a
    ///         default; "The setting " + key + " takes " + its kind + ", not: " + value for a value
    ///         of another kind than the key has; nothing is set then.
    void set(const std::string& key, const std::string& value) const;

private:
    const std::shared_ptr<configuration::LayeredConfiguration> configuration_;
};

} // namespace connector::host
