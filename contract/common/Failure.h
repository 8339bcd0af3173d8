#pragma once

#include <exception>
#include <stdexcept>

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

} // namespace connector::common
