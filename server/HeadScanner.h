#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "server/ServerLimits.h"

namespace connector::http {

/// Looks for the head of the next request in what a connection has received, in any fragments.
/// Empty lines in front of it are skipped: some clients send one behind a body (RFC 9112
/// section 2.2). A bare LF ends a line as well.
class HeadScanner
{
public:
    explicit HeadScanner(const RequestLimits& limits = {}) noexcept : maxSize_(limits.head) {}

    /// @param input all that was received behind the request before; from call to call it grows.
    /// @return the head, its empty line included, once it is whole: a view of @p input.
    /// @throws RequestRefusal with status 400 when the input can be no request, 431 when it is too
    ///         large.
    std::optional<std::string_view> scan(std::string_view input);

    /// Whether anything was received: from then on the time limit of the head runs.
    [[nodiscard]] bool hasBegun() const noexcept { return hasBegun_; }

    /// Whether part of a head was received, not just empty lines: the client waits for an answer.
    [[nodiscard]] bool hasHead() const noexcept { return searched_ > 0; }

private:
    std::size_t maxSize_;
    std::size_t headBegin_ = 0; ///< Behind the empty lines.
    std::size_t searched_ = 0;  ///< Bytes of the head in which no end was found.
    bool hasBegun_ = false;
};

} // namespace connector::http
