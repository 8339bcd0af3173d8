#include "contract/platform/JsonReading.h"

#include <Poco/JSON/Array.h>

namespace connector::json {

namespace {

/// `Object::optValue` would do, but that it turns every failed conversion into the default.
template <typename T>
T read(const Poco::JSON::Object::Ptr& object, const std::string& key, const T& defaultValue)
{
    const auto value = object->get(key);
    return value.isEmpty() ? defaultValue : value.convert<T>();
}

} // namespace

std::string readString(const Poco::JSON::Object::Ptr& object, const std::string& key,
                       const std::string& defaultValue)
{
    return read(object, key, defaultValue);
}

bool readBool(const Poco::JSON::Object::Ptr& object, const std::string& key, bool defaultValue)
{
    return read(object, key, defaultValue);
}

std::uint16_t readUInt16(const Poco::JSON::Object::Ptr& object, const std::string& key,
                         std::uint16_t defaultValue)
{
    return read(object, key, defaultValue);
}

std::vector<std::string> readStringArray(const Poco::JSON::Object::Ptr& object,
                                         const std::string& key)
{
    const auto array = object->getArray(key);
    std::vector<std::string> strings;
    if (!array.isNull()) {
        strings.reserve(array->size());
        for (const auto& element : *array) {
            strings.push_back(element.convert<std::string>());
        }
    }
    return strings;
}

} // namespace connector::json
