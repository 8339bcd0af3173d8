#include "staticcontent/StaticContentManagerJsonSerialization.h"

#include <utility>

#include "contract/common/Text.h"
#include "contract/http/StaticContentMessages.h"
#include "contract/platform/JsonReading.h"

namespace connector::http {

namespace {

using Object = Poco::JSON::Object;

Object::Ptr write(const AddStaticContentPath& message)
{
    Object::Ptr object(new Object);
    object->set("route", message.route);
    object->set("path", common::wideToUtf8(message.path));
    object->set("enableCache", message.enableCache);
    return object;
}

std::unique_ptr<AddStaticContentPath> read(const Object::Ptr& object)
{
    return std::make_unique<AddStaticContentPath>(
        json::readString(object, "route"), common::utf8ToWide(json::readString(object, "path")),
        json::readBool(object, "enableCache", false));
}

} // namespace

StaticContentManagerJsonSerialization::StaticContentManagerJsonSerialization(
    std::shared_ptr<json::JsonSerializer> serializer)
    : JsonSerialization(std::move(serializer))
{
    registerMessage<AddStaticContentPath>("connector/http/AddStaticContentPath", write, read);
}

StaticContentManagerJsonSerialization::~StaticContentManagerJsonSerialization() = default;

} // namespace connector::http
