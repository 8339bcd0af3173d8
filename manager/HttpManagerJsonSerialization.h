#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/platform/JsonSerialization.h"

namespace connector::http {

/// Gives the manager messages their JSON form, under "connector/http/" and the name of the class.
/// A member is named as the field. A missing or null member gives the default; a value of the wrong
/// kind fails with the library's exception.
///
/// | member                     | JSON             | default when reading             |
/// |----------------------------|------------------|----------------------------------|
/// | port                       | number           | 31415; 0 in a status             |
/// | address, serverNames       | array of strings | empty, also for any other value  |
/// | serverType                 | "http", "https"  | "http", also for any other text  |
/// | certLocation               | string, UTF-8    | ""                               |
/// | protocol                   | string           | "http"                           |
/// | dnsName                    | string           | "localhost"                      |
/// | started, running           | boolean          | false                            |
/// | all others                 | string           | ""                               |
///
/// Kept: the address of a status is read from the member "name", so a status that was read has an
/// empty address.
class CONNECTOR_API HttpManagerJsonSerialization final : public json::JsonSerialization
{
public:
    /// @throws std::invalid_argument "Message type already registered: " + the type name.
    explicit HttpManagerJsonSerialization(std::shared_ptr<json::JsonSerializer> serializer);
    ~HttpManagerJsonSerialization() override;
};

} // namespace connector::http
