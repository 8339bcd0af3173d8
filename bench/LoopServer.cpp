// Ways to give connections threads, each with the same work for a request: see LoopWork.h.
//
//   loop-server PORT blocking           a thread for each connection
//   loop-server PORT epoll N [EVENTS]   N threads wait for events and serve them, EVENTS at a time
//   loop-server PORT handover N         one thread waits for events and hands them to N others
//   loop-server PORT engine N           the event loop of the HTTP servers, with N active threads
//
// It ends with the process: SIGTERM.

#include <Poco/ThreadPool.h>
#include <array>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "bench/LoopWork.h"
#include "contract/common/FileDescriptor.h"
#include "server/net/EventLoop.h"
#include "server/net/Listener.h"

namespace connector::bench {
namespace {

void serveBlocking(int listener)
{
    for (;;) {
        std::thread([socket = ::accept(listener, nullptr, nullptr)] {
            sendAtOnce(socket);
            std::array<char, kRequestSize> buffer;
            while (answerOnce(socket, buffer.data())) {
            }
            ::close(socket);
        }).detach();
    }
}

/// Accepts connections, and adds them to an epoll descriptor.
void acceptInto(int listener, int events, std::uint32_t flags)
{
    for (;;) {
        const int socket = ::accept(listener, nullptr, nullptr);
        sendAtOnce(socket);
        epoll_event event = {};
        event.events = EPOLLIN | flags;
        event.data.fd = socket;
        ::epoll_ctl(events, EPOLL_CTL_ADD, socket, &event);
    }
}

void serveEpoll(int listener, std::size_t threads, std::size_t atATime)
{
    const int events = ::epoll_create1(0);
    for (std::size_t i = 0; i < threads; ++i) {
        std::thread([=] {
            std::array<char, kRequestSize> buffer;
            std::vector<epoll_event> claimed(atATime);
            for (;;) {
                const int count =
                    ::epoll_wait(events, claimed.data(), static_cast<int>(atATime), -1);
                for (int event = 0; event < count; ++event) {
                    const int socket = claimed[static_cast<std::size_t>(event)].data.fd;
                    if (!answerOnce(socket, buffer.data())) {
                        ::close(socket);
                    }
                }
            }
        }).detach();
    }
    acceptInto(listener, events, EPOLLET);
}

/// Sockets that have input, on their way to a thread.
class Queue
{
public:
    void push(int socket)
    {
        {
            const std::lock_guard lock(mutex_);
            sockets_.push_back(socket);
        }
        changed_.notify_one();
    }

    int pop()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !sockets_.empty(); });
        const int socket = sockets_.front();
        sockets_.pop_front();
        return socket;
    }

private:
    std::mutex mutex_; ///< Guards sockets_.
    std::condition_variable changed_;
    std::deque<int> sockets_;
};

void serveHandedOver(int listener, std::size_t threads)
{
    static Queue queue;
    const int events = ::epoll_create1(0);
    for (std::size_t i = 0; i < threads; ++i) {
        std::thread([] {
            std::array<char, kRequestSize> buffer;
            for (;;) {
                const int socket = queue.pop();
                if (!answerOnce(socket, buffer.data())) {
                    ::close(socket);
                }
            }
        }).detach();
    }
    std::thread([events] {
        for (;;) {
            epoll_event event = {};
            if (::epoll_wait(events, &event, 1, -1) == 1) {
                queue.push(event.data.fd);
            }
        }
    }).detach();
    acceptInto(listener, events, EPOLLET);
}

class AnsweringSession final : public http::net::Session
{
public:
    using Session::Session;

    bool run(http::net::Turn& turn) noexcept override
    {
        return !turn.has(http::net::kReadable) || answerOnce(descriptor(), turn.scratch.data());
    }
};

void serveEngine(int listener, std::size_t threads)
{
    constexpr std::size_t kSessions = 10'000;
    Poco::ThreadPool pool("Connector", 4, 64, 60);
    const auto loop = std::make_shared<http::net::EventLoop>(
        pool, http::net::EventLoopSettings{.maxSessions = kSessions, .activeThreads = threads});
    loop->start();
    ::fcntl(listener, F_SETFL, O_NONBLOCK);
    loop->add(std::make_unique<http::net::Listener>(
        common::FileDescriptor(listener), kSessions,
        [](common::FileDescriptor accepted, const Poco::Net::SocketAddress& /*peer*/) {
            sendAtOnce(accepted.get());
            return std::make_unique<AnsweringSession>(std::move(accepted));
        }));
    for (;;) {
        ::pause();
    }
}

bool serve(const std::vector<std::string>& arguments)
{
    const auto number = [&](std::size_t i) { return std::stoul(arguments.at(i)); };
    const auto listener = listenOn(static_cast<std::uint16_t>(number(0)));
    const auto& mode = arguments.at(1);
    if (mode == "blocking") {
        serveBlocking(listener);
    } else if (mode == "epoll") {
        serveEpoll(listener, number(2), arguments.size() > 3 ? number(3) : 1);
    } else if (mode == "handover") {
        serveHandedOver(listener, number(2));
    } else if (mode == "engine") {
        serveEngine(listener, number(2));
    }
    return false;
}

} // namespace
} // namespace connector::bench

int main(int argc, char** argv)
{
    try {
        if (connector::bench::serve({argv + 1, argv + argc})) {
            return EXIT_SUCCESS;
        }
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
    }
    std::cerr << "usage: loop-server PORT blocking | PORT epoll N [EVENTS] | PORT handover N |"
                 " PORT engine N\n";
    return 2;
}
