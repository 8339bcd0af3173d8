#pragma once

#include <Poco/JSON/Object.h>
#include <functional>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "contract/common/Export.h"
#include "contract/messaging/Message.h"

namespace connector::json {

/// Knows the JSON form of message types by their names: the way of messages from and to the world
/// outside the process. Held by `std::shared_ptr`; any thread may call it, and the registered
/// functions run on that thread with no lock held.
class CONNECTOR_API JsonSerializer
{
public:
    using Serialise = std::function<Poco::JSON::Object::Ptr(const Message&)>;
    using Deserialise = std::function<std::unique_ptr<Message>(const Poco::JSON::Object::Ptr&)>;

    JsonSerializer() = default;

    JsonSerializer(const JsonSerializer&) = delete;
    JsonSerializer& operator=(const JsonSerializer&) = delete;

    /// Registers a message type.
    /// @param type the run-time type that @p serialise is given.
    /// @throws std::invalid_argument "Message type already registered: " + typeName if the name or
    ///         the type is known.
    void registerType(const std::string& typeName, std::type_index type, Serialise serialise,
                      Deserialise deserialise);

    /// Forgets a type, if it is known. A conversion that runs meanwhile goes on.
    void unregisterType(const std::string& typeName);

    [[nodiscard]] bool knows(const std::string& typeName) const;

    /// All names, in ascending byte order.
    [[nodiscard]] std::vector<std::string> typeNames() const;

    /// The name under which the run-time type of @p message is registered.
    /// @throws std::invalid_argument "Unknown message type: " + the name of the C++ type.
    [[nodiscard]] std::string typeNameOf(const Message& message) const;

    /// The type name of @p message and its JSON form.
    /// @throws std::invalid_argument as `typeNameOf`; else what the registered function throws.
    [[nodiscard]] std::pair<std::string, Poco::JSON::Object::Ptr>
    toJson(const Message& message) const;

    /// Builds the message of that type from its JSON form.
    /// @throws std::invalid_argument "Unknown message type: " + typeName; else what the registered
    ///         function throws: POCO's exceptions for values of the wrong kind and for null.
    [[nodiscard]] std::unique_ptr<Message> fromJson(const std::string& typeName,
                                                    const Poco::JSON::Object::Ptr& object) const;

    /// The JSON form of @p message as UTF-8 text on one line, without spaces.
    /// @throws std::invalid_argument as `typeNameOf`.
    /// @throws std::runtime_error "The message holds text that is not UTF-8."
    [[nodiscard]] std::string toText(const Message& message) const;

    /// Builds the message of that type from JSON text (RFC 8259). Of members with equal names the
    /// last counts.
    /// @throws std::invalid_argument "The JSON text is not an object."; "Malformed JSON: " + reason
    ///         on anything but one object of at most 128 levels, in UTF-8 and without NUL
    ///         characters; else as `fromJson`.
    [[nodiscard]] std::unique_ptr<Message> fromText(const std::string& typeName,
                                                    const std::string& text) const;

    /// As `fromText`, but refuses members that the message does not have: for text that a person
    /// types. A message has the members that it is written with.
    /// @throws std::invalid_argument "Unknown member: " + its name; else as `fromText`.
    [[nodiscard]] std::unique_ptr<Message> fromTextStrictly(const std::string& typeName,
                                                            const std::string& text) const;

private:
    struct Entry
    {
        std::type_index type;
        Serialise serialise;
        Deserialise deserialise;
    };
    using Entries = std::map<std::string, std::shared_ptr<const Entry>>;

    std::pair<std::string, std::shared_ptr<const Entry>> entryOf(const Message& message) const;

    mutable std::shared_mutex mutex_; ///< Guards all below.
    Entries entries_;
    std::unordered_map<std::type_index, std::string> names_;
};

} // namespace connector::json
