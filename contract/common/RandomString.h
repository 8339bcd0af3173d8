#pragma once

#include <string>

#include "contract/common/Export.h"

namespace connector::common {

/// A random string for identifiers and tokens that must not be guessed: each character is one of
/// A-Z, a-z, 0-9 with the same chance (5.95 bits), from the system's cryptographic source. Reads
/// that source about once in 64 strings of 16 characters; takes no lock.
/// A child of `fork` would repeat its parent's strings until it reads the source again.
///
/// @param length of the string, in characters.
/// @throws std::system_error if the source fails.
[[nodiscard]] CONNECTOR_API std::string randomString(unsigned char length);

} // namespace connector::common
