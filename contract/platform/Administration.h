#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "contract/common/Export.h"

namespace connector::administration {

/// What the console lists of a command.
struct Command
{
    std::string name;
    std::string description;

    bool operator==(const Command&) const = default;
};

/// The registry of the text commands of the administration console. Any thread may call it.
class CONNECTOR_API Administration
{
public:
    using Function = std::function<std::string()>;

    Administration() = default;

    Administration(const Administration&) = delete;
    Administration& operator=(const Administration&) = delete;

    /// Adds a command.
    /// @param function returns the text to show.
    /// @throws std::invalid_argument "Command already exists: " + name.
    void addCommand(const std::string& name, const std::string& description, Function function);

    /// Removes a command, if there is one of that name. A call of it that runs meanwhile goes on.
    void removeCommand(const std::string& name);

    /// All commands, in ascending byte order of their names.
    [[nodiscard]] std::vector<Command> listCommands() const;

    /// Runs a command on this thread, with no lock held.
    /// @return the text to show.
    /// @throws std::invalid_argument "No such command: " + name; else what the command throws.
    [[nodiscard]] std::string runCommand(const std::string& name) const;

private:
    struct Entry
    {
        std::string description;
        std::shared_ptr<const Function> function;
    };

    mutable std::mutex mutex_; ///< Guards commands_.
    std::map<std::string, Entry> commands_;
};

} // namespace connector::administration
