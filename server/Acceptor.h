#pragma once

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/RunnableAdapter.h>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace Poco {
class ThreadPool;
}

namespace connector::http {

/// Accepts the connections of a listening socket, on a thread of its own, and has each served on a
/// thread of a pool: 64 at once. As many more wait for a thread; what comes beyond them is closed
/// at once.
///
/// The library's own (Poco::Net::TCPServer) wakes and waits six times to hand a connection over:
/// with this one a connection for each request costs a third less.
class Acceptor
{
public:
    /// Serves a connection to its end, on a thread of the pool.
    using Serve = std::function<void(Poco::Net::StreamSocket&)>;

    /// Begins to accept.
    /// @param pool outlives the acceptor, and its threads serve for nobody else.
    Acceptor(const Poco::Net::ServerSocket& socket, Poco::ThreadPool& pool, Serve serve);

    /// Stops. There must be no threads any more.
    ~Acceptor();

    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

    /// Accepts no more, and closes the connections that wait. Those that are served go on.
    void stop();

    /// Threads that serve a connection, or wait for one to serve.
    [[nodiscard]] std::size_t threads() const;

private:
    using Connections = std::deque<Poco::Net::StreamSocket>;

    void accept();
    void enqueue(Poco::Net::StreamSocket connection);
    void startThread();
    void work();
    bool doAwaitConnection(std::unique_lock<std::mutex>& lock);
    void serve(Poco::Net::StreamSocket& connection) const noexcept;

    Poco::Net::ServerSocket socket_;
    Poco::ThreadPool& pool_;
    const Serve serve_;
    Poco::RunnableAdapter<Acceptor> work_;
    std::atomic<bool> stopped_ = false;

    mutable std::mutex mutex_; ///< Guards what follows.
    std::condition_variable arrived_;
    Connections waiting_;
    std::size_t threads_ = 0;
    std::size_t idleThreads_ = 0; ///< Of them, those that wait.

    std::thread thread_; ///< Runs `accept`.
};

} // namespace connector::http
