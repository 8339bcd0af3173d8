#pragma once

#include <chrono>
#include <cstddef>

/// The limits of outgoing HTTP, in one place.
namespace connector::http::client {

/// How often a request is tried.
inline constexpr int kAttempts = 5;

/// An upstream that does not accept the connection for that long.
inline constexpr std::chrono::seconds kConnectTimeout{10};
/// An upstream that takes, or sends, nothing for that long.
inline constexpr std::chrono::seconds kUpstreamTimeout{30};
/// Steps of the waits that watch a stop token.
inline constexpr std::chrono::milliseconds kStopStep{100};

/// Largest head of an answer, in bytes.
inline constexpr std::size_t kMaxResponseHead = std::size_t{64} << 10U;
/// Interim answers (1xx) before the final one.
inline constexpr int kMaxInterimResponses = 32;
/// Largest body of an answer, in bytes. It is held in memory whole.
inline constexpr std::size_t kMaxResponseBody = std::size_t{512} << 20U;

} // namespace connector::http::client
