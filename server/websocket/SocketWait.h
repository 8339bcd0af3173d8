#pragma once

#include <atomic>
#include <chrono>
#include <functional>

namespace connector::http::websocket {

/// Where the thread of a connection sleeps: until its socket is ready, or another thread has news.
class SocketWait
{
public:
    /// @throws std::system_error when there is no descriptor left to make.
    explicit SocketWait(int socket);
    ~SocketWait();

    SocketWait(const SocketWait&) = delete;
    SocketWait& operator=(const SocketWait&) = delete;

    /// Sleeps. The connection's own thread only.
    /// @param events of poll(2), asked for after news would be noticed, so that none is lost: what
    ///        another thread changed before its `wake` is seen either there or by waking up.
    ///        Nothing means not to sleep.
    /// @param timeout the longest sleep.
    /// @return the events of the socket.
    int wait(const std::function<int()>& events, std::chrono::milliseconds timeout);

    /// Ends the sleep; cheap while there is none. Any thread.
    void wake() noexcept;

    static constexpr int kDoNotSleep = -1;

private:
    const int socket_;
    const int news_; ///< An eventfd.
    std::atomic<bool> sleeping_ = false;
};

} // namespace connector::http::websocket
