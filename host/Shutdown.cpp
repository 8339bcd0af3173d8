#include "host/Shutdown.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace connector::host {

namespace {

using common::FileDescriptor;

/// Of the two seconds that an operator is promised, the process needs some to end.
constexpr std::chrono::milliseconds kLongestEnd{1800};

bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t endingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    for (const int signal : {SIGHUP, SIGUSR1, SIGUSR2, SIGALRM}) {
        if (!isIgnored(signal)) { // a blocked one would arrive all the same
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

template <std::size_t N>
void waitForAny(std::array<pollfd, N>& polled)
{
    while (poll(polled.data(), polled.size(), -1) < 0 && errno == EINTR) {
    }
}

} // namespace

Shutdown::Shutdown()
{
    ending("the start");
    const auto handled = endingSignals();
    pthread_sigmask(SIG_BLOCK, &handled, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    signals_ = FileDescriptor::require(signalfd(-1, &handled, SFD_CLOEXEC));
    event_ = FileDescriptor::require(eventfd(0, EFD_CLOEXEC));
    watcher_ = std::thread([this] { watch(); });
}

Shutdown::~Shutdown()
{
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    request();
    watcher_.join();
}

void Shutdown::request() noexcept
{
    if (requested_.request_stop()) {
        eventfd_write(event_.get(), 1);
    }
}

void Shutdown::wait() const
{
    std::array<pollfd, 1> polled = {pollfd{event_.get(), POLLIN, 0}};
    waitForAny(polled);
}

void Shutdown::ending(const std::string& what)
{
    const std::lock_guard lock(mutex_);
    lateLine_ = "connector-host: " + what + " did not end in time.\n";
}

void Shutdown::watch()
{
    std::array<pollfd, 2> polled = {pollfd{signals_.get(), POLLIN, 0},
                                    pollfd{event_.get(), POLLIN, 0}};
    waitForAny(polled);
    request();
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kLongestEnd, [this] { return ended_; })) {
        pollfd errors = {STDERR_FILENO, POLLOUT, 0};
        if (poll(&errors, 1, 0) == 1) { // otherwise nobody reads it, and the write would block
            static_cast<void>(!write(STDERR_FILENO, lateLine_.data(), lateLine_.size()));
        }
        std::_Exit(kForcedEnd);
    }
}

} // namespace connector::host
