#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "contract/common/Export.h"

namespace connector::common {

/// @return @p failure, or for a null pointer, which must not be rethrown, a std::runtime_error
///         "Failed without an exception."
inline std::exception_ptr nonNullFailure(std::exception_ptr failure)
{
    if (failure == nullptr) {
        failure = std::make_exception_ptr(std::runtime_error("Failed without an exception."));
    }
    return failure;
}

/// The text of an exception: its what(), or for one of POCO its displayText().
CONNECTOR_API std::string textOf(const std::exception& failure);

/// The text of the exception that is being handled, as `textOf`; "Unknown exception." for one that
/// is no std::exception. Called in a catch block.
CONNECTOR_API std::string textOfCurrentException();

} // namespace connector::common
