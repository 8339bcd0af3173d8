#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/platform/JsonSerialization.h"

namespace connector::http {

/// The JSON form of AddStaticContentPath, "connector/http/AddStaticContentPath":
/// `{"route":"/docs","path":"/srv/docs","enableCache":false}`. Members that are missing read as
/// empty texts and false; the directory's text is UTF-8.
class CONNECTOR_API StaticContentManagerJsonSerialization final : public json::JsonSerialization
{
public:
    /// @param serializer receives the message type; must not be null.
    explicit StaticContentManagerJsonSerialization(
        std::shared_ptr<json::JsonSerializer> serializer);
    ~StaticContentManagerJsonSerialization() override;
};

} // namespace connector::http
