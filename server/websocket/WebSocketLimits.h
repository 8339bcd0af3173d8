#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

/// What bounds WebSocket connections beside `WebSocketLimits`, which a server may change.
namespace connector::http::websocket {

/// Longest payload of a frame to a client, in bytes; what is longer leaves in fragments.
inline constexpr std::uint32_t kSendFrameSize = 2'000'000;

/// Bytes of unsent pongs beyond which only the newest is kept (RFC 6455 section 5.5.3).
inline constexpr std::size_t kPongQueueLimit = 65'536;

/// What `WebSocketLimits::sendQueue` and the limit of pongs count for a frame beside its head and
/// payload: the memory to keep it queued. So they bound the number of frames as well, however short
/// those are.
inline constexpr std::size_t kQueuedFrameCost = 128;

/// Once the connection is closing, a client that takes nothing of what waits for it for that long
/// is cut off.
inline constexpr std::chrono::seconds kClosingSendTimeout{2};

/// How long frames of a client that has hung up wait for a subscriber to request them.
inline constexpr std::chrono::seconds kUndeliveredTime{5};

/// After the close frame has left, the client's own or its end of the connection is waited for: so
/// long in all, so long without input, and so long in all once the server stops.
inline constexpr std::chrono::milliseconds kLingerTime{2000};
inline constexpr std::chrono::milliseconds kLingerSilence{500};
inline constexpr std::chrono::milliseconds kStopTime{250};

/// Bytes received behind a frame that waits for the subscriber's demand; then the socket is not
/// read. Control frames among them are handled at once.
inline constexpr std::size_t kReadAhead = 65'536;

/// How often a connection receives in a row, before others get its thread.
inline constexpr int kReceivesPerTurn = 4;

/// How many frames a provider publishes in a row, each within the request for it, before the
/// connection's thread looks at the socket again.
inline constexpr int kRequestsPerStep = 64;

} // namespace connector::http::websocket
