#include "server/Acceptor.h"

#include <Poco/ThreadPool.h>
#include <algorithm>
#include <chrono>
#include <exception>
#include <string>
#include <sys/socket.h>
#include <utility>

#include "contract/common/Thread.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"

namespace connector::http {

namespace {

using common::Level;
using Poco::Net::StreamSocket;

/// Without descriptors or memory every accept fails at once: this keeps it from spinning.
constexpr std::chrono::milliseconds kPauseAfterFailure(20);

/// Closes a connection that nobody serves: others hold its socket too.
void drop(StreamSocket& connection)
{
    connection.shutdown(); // a reset, so that the close waits for nothing
    connection.close();
}

} // namespace

Acceptor::Acceptor(const Poco::Net::ServerSocket& socket, Poco::ThreadPool& pool, Serve serve)
    : socket_(socket), pool_(pool), serve_(std::move(serve)), work_(*this, &Acceptor::work),
      thread_(common::startThread("acceptor", [this] { accept(); }))
{}

Acceptor::~Acceptor()
{
    stop();
}

void Acceptor::stop()
{
    if (stopped_.exchange(true)) {
        return;
    }
    ::shutdown(socket_.impl()->sockfd(), SHUT_RDWR); // ends the wait for a connection
    thread_.join();
    Connections unserved;
    {
        const std::lock_guard lock(mutex_);
        unserved.swap(waiting_);
        arrived_.notify_all();
    }
    std::ranges::for_each(unserved, drop);
}

std::size_t Acceptor::threads() const
{
    const std::lock_guard lock(mutex_);
    return threads_;
}

void Acceptor::accept()
{
    while (!stopped_) {
        try {
            enqueue(socket_.acceptConnection());
        } catch (...) {
            if (!stopped_) {
                std::this_thread::sleep_for(kPauseAfterFailure);
            }
        }
    }
}

void Acceptor::enqueue(StreamSocket connection)
{
    std::unique_lock lock(mutex_);
    if (waiting_.size() >= kMostWaiting) {
        lock.unlock();
        drop(connection);
        return;
    }
    waiting_.push_back(std::move(connection));
    if (waiting_.size() <= idleThreads_) {
        lock.unlock(); // else who wakes up would wait for it
        arrived_.notify_one();
    } else if (threads_ < kMaxThreads) {
        ++threads_;
        lock.unlock();
        startThread();
    }
}

void Acceptor::startThread()
{
    try {
        pool_.start(work_);
    } catch (...) {
        Connections unserved;
        {
            const std::lock_guard lock(mutex_);
            if (--threads_ == 0) {
                unserved.swap(waiting_); // else one of the others takes it
            }
        }
        std::ranges::for_each(unserved, drop);
        kServerLog.write(Level::Warning, "There is no further thread for connections.");
    }
}

void Acceptor::work()
{
    std::unique_lock lock(mutex_);
    while (doAwaitConnection(lock)) {
        {
            auto connection = waiting_.front();
            waiting_.pop_front();
            lock.unlock();
            serve(connection);
        } // perhaps its last owner: without the lock
        lock.lock();
    }
    --threads_;
}

bool Acceptor::doAwaitConnection(std::unique_lock<std::mutex>& lock)
{
    ++idleThreads_;
    arrived_.wait_for(lock, kThreadPatience, [this] { return stopped_ || !waiting_.empty(); });
    --idleThreads_;
    return !waiting_.empty();
}

void Acceptor::serve(StreamSocket& connection) const noexcept
{
    try {
        try {
            serve_(connection);
        } catch (const std::exception& failure) {
            kServerLog.write(Level::Error,
                             std::string("Error while serving a connection: ") + failure.what());
        }
    } catch (...) { // NOLINT(bugprone-empty-catch)
        // Not even a log: the thread is there for other connections.
    }
}

} // namespace connector::http
