#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contract/platform/JsonSerializer.h"

namespace connector::json {

/// Base of the classes that give a family of messages its JSON form: the constructor of each
/// registers its messages, and the destructor here takes them out again.
class CONNECTOR_API JsonSerialization
{
public:
    virtual ~JsonSerialization();

    JsonSerialization(const JsonSerialization&) = delete;
    JsonSerialization& operator=(const JsonSerialization&) = delete;

protected:
    template <typename M>
    using Write = Poco::JSON::Object::Ptr (*)(const M&);
    template <typename M>
    using Read = std::unique_ptr<M> (*)(const Poco::JSON::Object::Ptr&);

    /// @param serializer must not be null.
    explicit JsonSerialization(std::shared_ptr<JsonSerializer> serializer);

    /// Registers the message type @p M with the function that writes a message into a new object
    /// and the one that builds a message from an object.
    /// @throws std::invalid_argument "Message type already registered: " + typeName.
    template <typename M>
    void registerMessage(const std::string& typeName, Write<M> write, Read<M> read)
    {
        registerType(
            typeName, typeid(M),
            // The serializer chose the function by the exact type of the message.
            [write](const Message& message) { return write(static_cast<const M&>(message)); },
            [read](const Poco::JSON::Object::Ptr& object) -> std::unique_ptr<Message> {
                return read(object);
            });
    }

private:
    void registerType(const std::string& typeName, std::type_index type,
                      JsonSerializer::Serialise serialise, JsonSerializer::Deserialise deserialise);

    const std::shared_ptr<JsonSerializer> serializer_;
    std::vector<std::string> registered_;
};

} // namespace connector::json
