#include "host/Shutdown.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace connector::host {

namespace {

/// Of the two seconds that an operator is promised, the process needs some to end.
constexpr std::chrono::milliseconds kLongestEnd{1800};

int requireDescriptor(int descriptor)
{
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return descriptor;
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
    sigset_t handled;
    sigemptyset(&handled);
    sigaddset(&handled, SIGINT);
    sigaddset(&handled, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &handled, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    signals_ = requireDescriptor(signalfd(-1, &handled, SFD_CLOEXEC));
    event_ = requireDescriptor(eventfd(0, EFD_CLOEXEC));
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
    close(signals_);
    close(event_);
}

void Shutdown::request() noexcept
{
    if (requested_.request_stop()) {
        eventfd_write(event_, 1);
    }
}

void Shutdown::wait() const
{
    std::array<pollfd, 1> polled = {pollfd{event_, POLLIN, 0}};
    waitForAny(polled);
}

void Shutdown::watch()
{
    std::array<pollfd, 2> polled = {pollfd{signals_, POLLIN, 0}, pollfd{event_, POLLIN, 0}};
    waitForAny(polled);
    request();
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kLongestEnd, [this] { return ended_; })) {
        constexpr std::string_view kLate = "connector-host: something did not end in time.\n";
        pollfd errors = {STDERR_FILENO, POLLOUT, 0};
        if (poll(&errors, 1, 0) == 1) { // else nobody reads it, and the write would not return
            static_cast<void>(!write(STDERR_FILENO, kLate.data(), kLate.size()));
        }
        std::_Exit(EXIT_SUCCESS);
    }
}

} // namespace connector::host
