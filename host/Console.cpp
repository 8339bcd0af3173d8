#include "host/Console.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "contract/common/Failure.h"
#include "contract/common/Text.h"
#include "contract/messaging/Context.h"
#include "host/RouteSpec.h"

namespace connector::host {

namespace {

constexpr std::chrono::milliseconds kStopCheck{100};

/// Longest reason in an error, which may repeat what was typed.
constexpr std::size_t kMaxReasonBytes = 300;

/// A text as it may stand in an answer: one line of UTF-8, whatever bytes were typed.
std::string oneLine(std::string text)
{
    const auto readable = common::isValidUtf8(text);
    for (auto& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7f) {
            c = ' ';
        } else if (byte >= 0x80 && !readable) {
            c = '?';
        }
    }
    return common::escapeControls(std::move(text));
}

/// As a whole answer: only ends of lines are left of its control characters.
std::string escapeLines(const std::string& text)
{
    std::string escaped;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find('\n', begin);
        escaped += begin > 0 ? "\n" : "";
        escaped += common::escapeControls(text.substr(begin, end - begin));
    }
    return escaped;
}

/// The control characters that JSON text may hold as they are, escaped as JSON does: DEL and C1.
std::string escapeInJson(const std::string& json)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string escaped;
    for (std::size_t at = 0; at < json.size(); ++at) {
        auto byte = static_cast<unsigned char>(json[at]);
        const auto next = static_cast<unsigned char>(json[std::min(at + 1, json.size() - 1)]);
        if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
            byte = next; // U+0080 to U+009F
            ++at;
        } else if (byte != 0x7F) {
            escaped += json[at];
            continue;
        }
        escaped.append("\\u00").append({kHex[byte >> 4U], kHex[byte & 0xFU]});
    }
    return escaped;
}

std::string abbreviated(const std::string& text)
{
    return text.size() <= kMaxReasonBytes ? text : text.substr(0, kMaxReasonBytes) + "...";
}

Console::Answer makeError(const std::string& reason)
{
    return {"error: " + oneLine(abbreviated(reason))};
}

std::pair<std::string, std::string> splitWord(const std::string& line)
{
    constexpr const char* kBlank = " \t";
    const auto begin = line.find_first_not_of(kBlank);
    if (begin == std::string::npos) {
        return {};
    }
    const auto end = std::min(line.find_first_of(kBlank, begin), line.size());
    const auto rest = std::min(line.find_first_not_of(kBlank, end), line.size());
    const auto last = line.find_last_not_of(kBlank);
    return {line.substr(begin, end - begin), line.substr(rest, std::max(last + 1, rest) - rest)};
}

void requireNothing(const std::string& word, const std::string& rest)
{
    if (!rest.empty()) {
        throw std::invalid_argument(word + " stands alone on its line.");
    }
}

} // namespace

const Console::Answer Console::kTooLong = {"error: The line is too long."};

Console::Console(Reach reach, std::stop_token stop)
    : reach_(std::move(reach)), stop_(std::move(stop))
{}

Console::Answer Console::answer(const std::string& line) const
{
    const auto [word, rest] = splitWord(line);
    try {
        if (word == "quit") {
            requireNothing(word, rest);
            return {"ok", true};
        }
        return {escapeLines(run(word, rest))};
    } catch (...) {
        return makeError(common::textOfCurrentException());
    }
}

std::string Console::run(const std::string& word, const std::string& rest) const
{
    if (word == "help") {
        requireNothing(word, rest);
        return help();
    }
    if (word == "set") {
        const auto [key, value] = splitAssignment(rest);
        reach_.settings.set(key, value);
        return "ok";
    }
    if (reach_.receivers.contains(word)) {
        return send(word, rest);
    }
    if (isCommand(word)) {
        requireNothing(word, rest);
        auto text = reach_.administration->runCommand(word);
        return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
    }
    throw std::invalid_argument("Neither a command nor a message type: " + word);
}

std::string Console::help() const
{
    std::string text = "Commands:\n";
    for (const auto& [name, description] : reach_.administration->listCommands()) {
        text.append("  ").append(name).append("  ").append(description).append("\n");
    }
    text += "Messages, each followed by a JSON object:\n";
    for (const auto& [name, receiver] : reach_.receivers) {
        text.append("  ").append(name).append("\n");
    }
    return text + "Words:\n"
                  "  set KEY=VALUE  Set a configuration key.\n"
                  "  help  Show this text.\n"
                  "  quit  Stop the servers and end.";
}

std::string Console::send(const std::string& typeName, const std::string& json) const
{
    auto message = reach_.serializer->fromTextStrictly(typeName, json);
    auto reply = reach_.connector->createContext()->send(std::move(message),
                                                         Address(reach_.receivers.at(typeName)));
    while (!reply.waitFor(kStopCheck)) {
        if (stop_.stop_requested()) {
            throw std::runtime_error("The host is stopping.");
        }
    }
    const auto answer = reply.get();
    if (answer == nullptr) {
        throw std::runtime_error("There is no reply.");
    }
    if (messageAs<Message>(answer) != nullptr) {
        return "ok";
    }
    return reach_.serializer->typeNameOf(*answer) + " " +
           escapeInJson(reach_.serializer->toText(*answer));
}

bool Console::isCommand(const std::string& word) const
{
    return std::ranges::any_of(reach_.administration->listCommands(),
                               [&word](const auto& command) { return command.name == word; });
}

} // namespace connector::host
