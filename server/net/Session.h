#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "contract/common/FileDescriptor.h"

namespace connector::http::net {

class EventLoop;

/// What has happened to a session since it last ran: a set of the bits below.
using Events = std::uint8_t;

inline constexpr Events kReadable = 1U << 0U; ///< There is input.
inline constexpr Events kWritable = 1U << 1U; ///< The socket takes output again.
inline constexpr Events kHangUp = 1U << 2U;   ///< The peer has finished sending.
inline constexpr Events kBroken = 1U << 3U;   ///< The connection has an error or is closed.
inline constexpr Events kWoken = 1U << 4U;    ///< A handle was woken.
inline constexpr Events kDeadline = 1U << 5U; ///< The deadline has passed.
inline constexpr Events kStop = 1U << 6U;     ///< The server stops.
inline constexpr Events kMakeRoom = 1U << 7U; ///< There are too many sessions; sent to idle ones.

/// One run of a session.
struct Turn
{
    Events events;
    std::span<char> scratch; ///< Memory of the thread, for this run alone.

    [[nodiscard]] bool has(Events any) const noexcept { return (events & any) != 0; }
};

using Clock = std::chrono::steady_clock;

/// Names one session of a loop, also after its end: never another one in its place.
struct Key
{
    std::uint32_t index = 0;
    std::uint32_t generation = 0;
};

/// One descriptor that an event loop watches, and what is done about it: a listening socket, a
/// connection. The loop owns it, and runs it on one worker thread at a time.
class Session
{
public:
    explicit Session(common::FileDescriptor descriptor) noexcept
        : descriptor_(std::move(descriptor))
    {}

    /// Closes the descriptor.
    virtual ~Session() = default;

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Handles events until there is nothing more to do without blocking. The events of the
    /// descriptor are edge triggered: input that is left unread is not announced again.
    /// @return whether the session goes on; if not, the loop destroys it.
    virtual bool run(Turn& turn) noexcept = 0;

    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

protected:
    [[nodiscard]] EventLoop& loop() const noexcept { return *loop_; }
    [[nodiscard]] Key key() const noexcept { return key_; }

    /// Has the session run with `kDeadline` once @p deadline has passed, unless another one is set.
    void setDeadline(Clock::time_point deadline) noexcept;

    /// Says since when the session is idle, so that it may have to make room for a new one; the
    /// largest time if it is not.
    void setIdleSince(Clock::time_point since) noexcept;

private:
    friend class EventLoop;
    friend class SessionTable;

    const common::FileDescriptor descriptor_;
    EventLoop* loop_ = nullptr; ///< Set by the loop before the first run.
    Key key_;
};

/// Wakes a session from any thread, also after the session or its server has ended: then nothing
/// happens.
class Handle
{
public:
    Handle() = default;
    Handle(std::shared_ptr<EventLoop> loop, Key key) noexcept : loop_(std::move(loop)), key_(key) {}

    /// Has the session run with `kWoken`. Does not block.
    void wake() const noexcept;

private:
    std::shared_ptr<EventLoop> loop_;
    Key key_;
};

} // namespace connector::http::net
