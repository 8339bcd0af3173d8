#pragma once

#include <string>

namespace connector::http {

/// Keeps the thread's OpenSSL error queue clean around calls that leave entries on it: an entry
/// that stays turns a later time-out on the same thread into a failure.
class ErrorQueueScope
{
public:
    ErrorQueueScope() noexcept;
    ~ErrorQueueScope();

    ErrorQueueScope(const ErrorQueueScope&) = delete;
    ErrorQueueScope& operator=(const ErrorQueueScope&) = delete;

    /// The reason that OpenSSL left for the first failure since the last call, which it forgets.
    std::string takeReason();
};

} // namespace connector::http
