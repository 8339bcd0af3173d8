#pragma once

#include <Poco/JSON/Object.h>
#include <cstdint>
#include <string>
#include <vector>

#include "contract/common/Export.h"

/// What the reading functions of messages share. A missing member, or one that is null, gives the
/// default; any other scalar is converted by POCO's rules: a number reads as a string, "5" as a
/// number, and so on. An object or an array in the place of a scalar throws
/// `Poco::BadCastException`. POCO's exceptions pass through: its conversion exceptions for what
/// does not convert, `Poco::NullPointerException` for a null object.
namespace connector::json {

[[nodiscard]] CONNECTOR_API std::string readString(const Poco::JSON::Object::Ptr& object,
                                                   const std::string& key,
                                                   const std::string& defaultValue = "");

/// The texts "true" and "false" count as well; a number is true unless it is 0.
/// @throws Poco::BadCastException for any other text.
[[nodiscard]] CONNECTOR_API bool readBool(const Poco::JSON::Object::Ptr& object,
                                          const std::string& key, bool defaultValue);

/// @throws Poco::RangeException for a number that an unsigned 16-bit integer does not hold.
[[nodiscard]] CONNECTOR_API std::uint16_t readUInt16(const Poco::JSON::Object::Ptr& object,
                                                     const std::string& key,
                                                     std::uint16_t defaultValue);

/// The elements of an array in its order; empty if the member is missing or no array.
[[nodiscard]] CONNECTOR_API std::vector<std::string>
readStringArray(const Poco::JSON::Object::Ptr& object, const std::string& key);

} // namespace connector::json
