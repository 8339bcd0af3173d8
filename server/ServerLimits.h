#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

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

/// Threads of a server's pool; a connection holds one for its life.
inline constexpr int kMinThreads = 4;
inline constexpr int kMaxThreads = 64;
inline constexpr std::chrono::seconds kPoolThreadIdleTime{60};
/// How long a thread waits for a next connection before it goes back to the pool.
inline constexpr std::chrono::seconds kThreadPatience{1};
/// Accepted connections that wait for a thread.
inline constexpr std::size_t kMostWaiting = 64;

/// A client that is silent for that long in the middle of a request, or that takes none of its
/// answer, is cut off. Short, since it holds a thread meanwhile.
inline constexpr std::chrono::seconds kClientTimeout{10};
/// An idle connection between two requests.
inline constexpr std::chrono::seconds kKeepAliveTimeout{5};
/// A request's head, from its first byte on, be it of an empty line: a client that dribbles is cut
/// off as well.
inline constexpr std::chrono::seconds kHeadTimeout{20};

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

/// Steps of the waits for a reply and for its body; a stop is noticed after one of them.
inline constexpr std::chrono::milliseconds kReplyStep{100};
inline constexpr std::chrono::milliseconds kBodyStep{200};

/// How long, and how much, a connection that closes with input unread goes on reading it, so that
/// the client gets to see the answer instead of a reset (RFC 9112 section 9.6).
inline constexpr std::chrono::seconds kLingerTime{1};
inline constexpr std::size_t kLingerBytes = std::size_t{4} << 20U;

} // namespace connector::http
