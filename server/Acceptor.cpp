#include "server/Acceptor.h"

#include <Poco/Exception.h>
#include <Poco/ThreadPool.h>
#include <exception>
#include <sys/socket.h>
#include <utility>

#include "contract/common/Thread.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"

namespace connector::http {

using Poco::Net::StreamSocket;

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
    std::deque<StreamSocket> dropped;
    const std::lock_guard lock(mutex_);
    dropped.swap(waiting_);
    arrived_.notify_all();
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
        } catch (const Poco::Exception&) { // NOLINT(bugprone-empty-catch)
            // The client has gone again, or there are no descriptors: the accept has paused then.
        }
    }
}

void Acceptor::enqueue(StreamSocket connection)
{
    std::unique_lock lock(mutex_);
    if (waiting_.size() >= kMostWaiting) {
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
    } catch (const Poco::Exception& failure) { // another thread takes the connection
        kServerLog.write(common::Level::Warning,
                         "No further thread for connections: " + failure.displayText());
        const std::lock_guard lock(mutex_);
        --threads_;
    }
}

void Acceptor::work()
{
    std::unique_lock lock(mutex_);
    while (doAwaitConnection(lock)) {
        auto connection = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        serve(std::move(connection));
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

void Acceptor::serve(StreamSocket connection) const
{
    try {
        serve_(connection);
    } catch (const std::exception& failure) {
        kServerLog.write(common::Level::Error,
                         std::string("Error while serving a connection: ") + failure.what());
    }
}

} // namespace connector::http
