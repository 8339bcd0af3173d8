#include "contract/platform/Administration.h"

#include <stdexcept>

namespace connector::administration {

void Administration::addCommand(const std::string& name, const std::string& description,
                                Function function)
{
    auto shared = std::make_shared<const Function>(std::move(function));
    const std::lock_guard lock(mutex_);
    if (!commands_.try_emplace(name, Entry{description, shared}).second) {
        throw std::invalid_argument("Command already exists: " + name);
    }
}

void Administration::removeCommand(const std::string& name)
{
    std::map<std::string, Entry>::node_type removed; // destroyed after the lock is released
    const std::lock_guard lock(mutex_);
    removed = commands_.extract(name);
}

std::vector<Command> Administration::listCommands() const
{
    const std::lock_guard lock(mutex_);
    std::vector<Command> commands;
    commands.reserve(commands_.size());
    for (const auto& [name, entry] : commands_) {
        commands.push_back({name, entry.description});
    }
    return commands;
}

std::string Administration::runCommand(const std::string& name) const
{
    std::shared_ptr<const Function> function;
    {
        const std::lock_guard lock(mutex_);
        const auto command = commands_.find(name);
        if (command == commands_.end()) {
            throw std::invalid_argument("No such command: " + name);
        }
        function = command->second.function;
    }
    return (*function)();
}

} // namespace connector::administration
