#pragma once

#include <map>
#include <memory>
#include <stop_token>
#include <string>

#include "contract/messaging/Connector.h"
#include "contract/platform/Administration.h"
#include "contract/platform/JsonSerializer.h"
#include "host/Settings.h"

namespace connector::host {

/// What the operator's lines mean: commands of the administration, messages in their JSON form, and
/// a few words of its own. Pure but for what these do: it reads and writes nothing itself.
class Console
{
public:
    /// What the lines reach.
    struct Reach
    {
        std::shared_ptr<Connector> connector;
        std::shared_ptr<administration::Administration> administration;
        std::shared_ptr<json::JsonSerializer> serializer;
        Settings settings;
        std::map<std::string, Address> receivers; ///< Where a message goes, by its type name.
    };

    struct Answer
    {
        std::string text; ///< Without an end of line; one line unless a command made more of it.
        bool quit = false;
    };

    /// The answer to a line beyond the length that is read.
    static const Answer kTooLong;

    /// @param stop once stopped, an answer that is still awaited is given up.
    Console(Reach reach, std::stop_token stop);

    /// Carries a line out; blocks as long as that takes. Never throws for what stands in it.
    ///
    /// | line                   | answer                                                          |
    /// |------------------------|-----------------------------------------------------------------|
    /// | help                   | the commands, message types and words                           |
    /// | quit                   | "ok", with `quit` set                                           |
    /// | set KEY=VALUE          | "ok"                                                            |
    /// | a command's name       | its text                                                        |
    /// | a type name and JSON   | the type name and JSON of the reply, or "ok" for a bare Message |
    /// | any other, any failure | "error: " and the reason on one line                            |
    Answer answer(const std::string& line) const;

private:
    [[nodiscard]] std::string run(const std::string& word, const std::string& rest) const;
    [[nodiscard]] std::string help() const;
    [[nodiscard]] std::string send(const std::string& typeName, const std::string& json) const;
    [[nodiscard]] bool isCommand(const std::string& word) const;

    const Reach reach_;
    const std::stop_token stop_;
};

} // namespace connector::host
