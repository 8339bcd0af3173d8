#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "contract/common/MemoryBudget.h"

/// The limits of a server, in one place.
namespace connector::http {

/// What every answer names as its server.
inline constexpr const char* kSoftwareVersion = "KORVELConnector/1.0";

/// Port of a server that was given none.
inline constexpr unsigned short kDefaultPort = 31415;
/// How many ports a start tries, upwards from the first.
inline constexpr int kStartAttempts = 500;
/// Connections that wait for accept.
inline constexpr int kListenBacklog = 64;

/// Output of a connection that the kernel holds before it is sent; what is sent and not
/// acknowledged comes on top.
inline constexpr int kMaxUnsentBytes = 256 << 10;

/// Threads of a server's pool, and how long an idle one is kept.
inline constexpr int kMinThreads = 4;
inline constexpr int kMaxThreads = 64;
inline constexpr std::chrono::seconds kPoolThreadIdleTime{60};

/// What one request may hold at most; what holds more is refused.
struct RequestLimits
{
    /// Bytes of the head, several times what browsers send. Status 431, as the next two.
    std::size_t head = std::size_t{64} << 10U;
    /// Header fields.
    std::size_t fields = 100;
    /// Cookies, in all Cookie fields together.
    std::size_t cookies = 100;
    /// Parameters of the query. Status 400.
    std::size_t parameters = 1000;
    /// Bytes of the body, which is held in memory whole. Status 413.
    std::uint64_t body = std::uint64_t{1} << 30U;
};

/// The limits of one WebSocket connection.
struct WebSocketLimits
{
    /// Bytes of a frame's payload from the client; a longer one closes the connection (1009).
    std::uint64_t frame = 8'000'000;
    /// A provider is asked for its next frame while less than this waits to be sent, in bytes. With
    /// a client that does not read, the connection holds that much and one frame.
    std::size_t sendQueue = 8'000'000;
    /// A client that takes nothing of what waits for it for that long is cut off.
    std::chrono::milliseconds sendTimeout = std::chrono::seconds(30);
    /// A client that sends nothing for that long, not even an answer to the ping that it gets after
    /// half of it, is cut off. 0: it may be silent for ever.
    std::chrono::milliseconds pingTimeout{0};
};

/// The limits of one server.
struct ServerLimits
{
    RequestLimits request = {};
    WebSocketLimits webSocket = {};

    /// A request's head as a whole, from its first byte on, be it of an empty line.
    std::chrono::milliseconds headTimeout = std::chrono::seconds(20);
    /// A client that is silent for that long within a request, or takes nothing of an answer.
    std::chrono::milliseconds silenceTimeout = std::chrono::seconds(10);
    /// A new connection without a byte of a request.
    std::chrono::milliseconds firstByteTimeout = std::chrono::seconds(10);
    /// An idle connection between two requests.
    std::chrono::milliseconds keepAliveTimeout = std::chrono::seconds(60);
    /// A TLS handshake as a whole.
    std::chrono::milliseconds handshakeTimeout = std::chrono::seconds(10);
    /// A request's body as a whole; an answer as a whole.
    std::chrono::milliseconds transferTimeout = std::chrono::hours(1);
    /// A body or an answer that is slower than that is cut off, in bytes a second, once
    /// `rateGrace` has passed. 0: no such limit.
    std::size_t minRate = 500;
    std::chrono::milliseconds rateGrace = std::chrono::seconds(10);
    /// How long a connection that closes with input unread goes on reading it, so that the client
    /// sees the answer instead of a reset (RFC 9112 section 9.6).
    std::chrono::milliseconds lingerTime = std::chrono::seconds(1);
    /// Connections at a time. Fewer if the process may not open that many descriptors.
    std::size_t maxConnections = 10'000;
    /// The memory of all bodies that are held at a time. Status 503. By default the process' one,
    /// which upstreams' bodies share. Null: unbounded.
    std::shared_ptr<common::MemoryBudget> bodyMemory = common::MemoryBudget::ofBodies();
};

/// How much a connection that closes with input unread goes on reading.
inline constexpr std::size_t kLingerBytes = std::size_t{4} << 20U;

/// The server's request to itself at its start.
inline constexpr std::chrono::seconds kProbeTimeout{10};

} // namespace connector::http
