#include "contract/platform/JsonSerializer.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Parser.h>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include <boost/core/demangle.hpp>

#include "contract/common/Text.h"

namespace connector::json {

namespace {

/// Deeper text is refused before it can exhaust the stack.
constexpr std::size_t kMaxDepth = 128;

[[noreturn]] void throwUnknown(const std::string& typeName)
{
    throw std::invalid_argument("Unknown message type: " + typeName);
}

Poco::JSON::Object::Ptr parseObject(const std::string& text)
{
    const auto start = text.find_first_not_of(" \t\r\n");
    if (start == std::string::npos || text[start] != '{') {
        throw std::invalid_argument("The JSON text is not an object.");
    }
    if (!common::isValidUtf8(text)) {
        throw std::invalid_argument("Malformed JSON: the text is not valid UTF-8");
    }
    try {
        Poco::JSON::Parser parser;
        parser.setDepth(kMaxDepth);
        parser.setAllowNullByte(false);
        return parser.parse(text).extract<Poco::JSON::Object::Ptr>();
    } catch (const Poco::Exception& failure) {
        throw std::invalid_argument("Malformed JSON: " + failure.message());
    }
}

} // namespace

void JsonSerializer::registerType(const std::string& typeName, std::type_index type,
                                  Serialise serialise, Deserialise deserialise)
{
    auto entry =
        std::make_shared<const Entry>(Entry{type, std::move(serialise), std::move(deserialise)});
    const std::lock_guard lock(mutex_);
    if (entries_.count(typeName) > 0 || names_.count(type) > 0) {
        throw std::invalid_argument("Message type already registered: " + typeName);
    }
    entries_.emplace(typeName, std::move(entry));
    names_.emplace(type, typeName);
}

void JsonSerializer::unregisterType(const std::string& typeName)
{
    Entries::node_type removed; // destroyed after the lock is released
    const std::lock_guard lock(mutex_);
    removed = entries_.extract(typeName);
    if (!removed.empty()) {
        names_.erase(removed.mapped()->type);
    }
}

bool JsonSerializer::knows(const std::string& typeName) const
{
    const std::shared_lock lock(mutex_);
    return entries_.count(typeName) > 0;
}

std::vector<std::string> JsonSerializer::typeNames() const
{
    const std::shared_lock lock(mutex_);
    std::vector<std::string> names;
    names.reserve(entries_.size());
    for (const auto& [name, entry] : entries_) {
        names.push_back(name);
    }
    return names;
}

std::string JsonSerializer::typeNameOf(const Message& message) const
{
    return entryOf(message).first;
}

std::pair<std::string, Poco::JSON::Object::Ptr> JsonSerializer::toJson(const Message& message) const
{
    auto [name, entry] = entryOf(message);
    return {std::move(name), entry->serialise(message)};
}

std::unique_ptr<Message> JsonSerializer::fromJson(const std::string& typeName,
                                                  const Poco::JSON::Object::Ptr& object) const
{
    std::shared_ptr<const Entry> entry;
    {
        const std::shared_lock lock(mutex_);
        const auto place = entries_.find(typeName);
        if (place == entries_.end()) {
            throwUnknown(typeName);
        }
        entry = place->second;
    }
    return entry->deserialise(object);
}

std::string JsonSerializer::toText(const Message& message) const
{
    std::ostringstream stream;
    toJson(message).second->stringify(stream);
    auto text = std::move(stream).str();
    if (!common::isValidUtf8(text)) {
        throw std::runtime_error("The message holds text that is not UTF-8.");
    }
    return text;
}

std::unique_ptr<Message> JsonSerializer::fromText(const std::string& typeName,
                                                  const std::string& text) const
{
    if (!knows(typeName)) {
        throwUnknown(typeName);
    }
    return fromJson(typeName, parseObject(text));
}

std::unique_ptr<Message> JsonSerializer::fromTextStrictly(const std::string& typeName,
                                                          const std::string& text) const
{
    if (!knows(typeName)) {
        throwUnknown(typeName);
    }
    const auto object = parseObject(text);
    auto message = fromJson(typeName, object);
    const auto known = toJson(*message).second;
    for (const auto& name : object->getNames()) {
        if (!known->has(name)) {
            throw std::invalid_argument("Unknown member: " + name);
        }
    }
    return message;
}

std::pair<std::string, std::shared_ptr<const JsonSerializer::Entry>>
JsonSerializer::entryOf(const Message& message) const
{
    const std::shared_lock lock(mutex_);
    const auto name = names_.find(typeid(message));
    if (name == names_.end()) {
        throwUnknown(boost::core::demangle(typeid(message).name()));
    }
    return {name->second, entries_.at(name->second)};
}

} // namespace connector::json
