#include "contract/platform/JsonReading.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>

namespace connector::json {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

/// POCO would convert an object or an array to its JSON text, and to whether it has members.
void requireScalar(const Var& value, const std::string& key)
{
    const auto& type = value.type();
    if (type == typeid(Object::Ptr) || type == typeid(Object) || type == typeid(Array::Ptr) ||
        type == typeid(Array)) {
        throw Poco::BadCastException("The member " + key + " takes no object and no array");
    }
}

/// `Object::optValue` would do, but that it turns every failed conversion into the default.
template <typename T>
T read(const Object::Ptr& object, const std::string& key, const T& defaultValue)
{
    const auto value = object->get(key);
    if (value.isEmpty()) {
        return defaultValue;
    }
    requireScalar(value, key);
    return value.convert<T>();
}

} // namespace

std::string readString(const Object::Ptr& object, const std::string& key,
                       const std::string& defaultValue)
{
    return read(object, key, defaultValue);
}

bool readBool(const Object::Ptr& object, const std::string& key, bool defaultValue)
{
    const auto value = object->get(key);
    if (value.isString() && value != "true" && value != "false") { // POCO would take it for true
        throw Poco::BadCastException("The member " + key + " takes true or false");
    }
    return read(object, key, defaultValue);
}

std::uint16_t readUInt16(const Object::Ptr& object, const std::string& key,
                         std::uint16_t defaultValue)
{
    return read(object, key, defaultValue);
}

std::vector<std::string> readStringArray(const Object::Ptr& object, const std::string& key)
{
    const auto array = object->getArray(key);
    std::vector<std::string> strings;
    if (!array.isNull()) {
        strings.reserve(array->size());
        for (const auto& element : *array) {
            requireScalar(element, key);
            strings.push_back(element.convert<std::string>());
        }
    }
    return strings;
}

} // namespace connector::json
