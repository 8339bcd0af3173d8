#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

#include "server/websocket/AwakeWait.h"

namespace connector::http::websocket {

/// What the WebSocket connections of a server have in common: how many are open, so that its stop
/// can give them the time to say goodbye, and which of them talked last. Any thread.
class OpenWebSockets
{
public:
    /// Counts one connection while it lives.
    class Scope
    {
    public:
        explicit Scope(OpenWebSockets& open) : open_(open)
        {
            const std::lock_guard lock(open_.mutex_);
            ++open_.count_;
        }
        ~Scope()
        {
            const std::lock_guard lock(open_.mutex_);
            --open_.count_;
            // Notified with the lock held: the server may be gone once it was let go.
            open_.changed_.notify_all();
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        OpenWebSockets& open_;
    };

    [[nodiscard]] AwakeWait::LastTurn& lastTurn() noexcept { return lastTurn_; }

    /// Blocks until none is open, @p limit at most.
    void waitForNone(std::chrono::milliseconds limit)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, limit, [this] { return count_ == 0; });
    }

private:
    std::mutex mutex_; ///< Guards the count.
    std::condition_variable changed_;
    std::size_t count_ = 0;
    AwakeWait::LastTurn lastTurn_ = nullptr;
};

} // namespace connector::http::websocket
