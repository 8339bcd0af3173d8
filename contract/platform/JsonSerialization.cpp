#include "contract/platform/JsonSerialization.h"

namespace connector::json {

JsonSerialization::JsonSerialization(std::shared_ptr<JsonSerializer> serializer)
    : serializer_(std::move(serializer))
{}

JsonSerialization::~JsonSerialization()
{
    for (const auto& typeName : registered_) {
        serializer_->unregisterType(typeName);
    }
}

void JsonSerialization::registerType(const std::string& typeName, std::type_index type,
                                     JsonSerializer::Serialise serialise,
                                     JsonSerializer::Deserialise deserialise)
{
    registered_.reserve(registered_.size() + 1); // so that nothing fails once it is registered
    serializer_->registerType(typeName, type, std::move(serialise), std::move(deserialise));
    registered_.push_back(typeName);
}

} // namespace connector::json
