#include "server/ConnectionSocketImpl.h"

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <Poco/Timespan.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "server/HeadScanner.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"

namespace connector::http {

namespace {

using std::chrono::microseconds;

timeval toTimeval(microseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timeval value = {};
    value.tv_sec = seconds.count();
    value.tv_usec = (duration - seconds).count();
    return value;
}

/// Takes @p sent bytes off the front of the vector.
void advance(iovec (&parts)[2], std::size_t sent)
{
    for (auto& part : parts) {
        const auto used = std::min(sent, part.iov_len);
        part.iov_base = static_cast<char*>(part.iov_base) + used;
        part.iov_len -= used;
        sent -= used;
    }
}

} // namespace

ConnectionSocketImpl::ConnectionSocketImpl(poco_socket_t descriptor,
                                           const Poco::Net::SocketAddress& peer)
    : StreamSocketImpl(descriptor), descriptor_(descriptor), peer_(peer),
      local_(isLocalAddress(peer.host()))
{}

ConnectionSocketImpl::~ConnectionSocketImpl()
{
    ConnectionSocketImpl::close();
}

ConnectionSocketImpl& ConnectionSocketImpl::of(const Poco::Net::StreamSocket& socket)
{
    return static_cast<ConnectionSocketImpl&>(*socket.impl());
}

bool ConnectionSocketImpl::poll(const Poco::Timespan& timeout, int mode)
{
    if (mode != Poco::Net::Socket::SELECT_READ) {
        return StreamSocketImpl::poll(timeout, mode);
    }
    if (speaksHttp_) {
        return awaitHead(microseconds(timeout.totalMicroseconds()));
    }
    return buffered() > 0 || atEnd_ || StreamSocketImpl::poll(timeout, mode);
}

int ConnectionSocketImpl::receiveBytes(void* buffer, int length, int flags)
{
    if (flags != 0) {
        return StreamSocketImpl::receiveBytes(buffer, length, flags);
    }
    const auto wanted = static_cast<std::size_t>(std::max(length, 0));
    if (!libraryHead_.empty()) {
        return takeLibraryHead(buffer, wanted);
    }
    if (buffered() > 0) {
        return takeBuffered(buffer, wanted);
    }
    if (atEnd_ || wanted == 0) {
        return 0;
    }
    if (wanted < kReceiveSize) {
        awaitInput();
        return takeBuffered(buffer, wanted);
    }
    const auto received = receive(static_cast<char*>(buffer), wanted, receiveTimeout_);
    if (!received.has_value()) {
        throw Poco::TimeoutException();
    }
    atEnd_ = *received == 0;
    return static_cast<int>(*received);
}

int ConnectionSocketImpl::sendBytes(const void* buffer, int length, int flags)
{
    return StreamSocketImpl::sendBytes(buffer, length, flags | MSG_NOSIGNAL);
}

int ConnectionSocketImpl::available()
{
    return static_cast<int>(buffered()) + StreamSocketImpl::available();
}

void ConnectionSocketImpl::setReceiveTimeout(const Poco::Timespan& timeout)
{
    receiveTimeout_ = microseconds(timeout.totalMicroseconds());
}

Poco::Net::SocketAddress ConnectionSocketImpl::address()
{
    return localAddress();
}

const Poco::Net::SocketAddress& ConnectionSocketImpl::localAddress()
{
    if (!address_.has_value()) {
        address_ = StreamSocketImpl::address();
    }
    return *address_;
}

Poco::Net::SocketAddress ConnectionSocketImpl::peerAddress()
{
    return peer_;
}

void ConnectionSocketImpl::shutdown()
{
    // The library's own stop calls this from another thread.
    abort();
}

void ConnectionSocketImpl::close()
{
    std::unique_lock lock(closeMutex_);
    if (closed_) {
        return;
    }
    lock.unlock(); // so that an abort can cut the following short
    endSending();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall): subclasses close first
    if (!aborted_ && hasUnreadInput()) {
        readOutInput();
    }
    lock.lock();
    closed_ = true;
    StreamSocketImpl::close();
}

void ConnectionSocketImpl::sendAll(std::string_view head, std::string_view body)
{
    iovec parts[2] = {{const_cast<char*>(head.data()), head.size()},
                      {const_cast<char*>(body.data()), body.size()}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    auto remaining = head.size() + body.size();
    // The first call never blocks, so that the usual answer needs no time-out set.
    int flags = MSG_NOSIGNAL | MSG_DONTWAIT;
    while (remaining > 0) {
        const auto sent = ::sendmsg(descriptor_, &message, flags);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        const auto wouldBlock = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
        if (wouldBlock && (flags & MSG_DONTWAIT) == 0) {
            throw Poco::TimeoutException("The client takes no data.");
        }
        if (sent < 0 && !wouldBlock) {
            throw Poco::Net::NetException("Sending failed", std::strerror(errno), errno);
        }
        if (sent > 0) {
            remaining -= static_cast<std::size_t>(sent);
            advance(parts, static_cast<std::size_t>(sent));
        }
        if (remaining > 0 && !sendTimeoutSet_) {
            const auto timeout = toTimeval(kClientTimeout);
            ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
            sendTimeoutSet_ = true;
        }
        flags = MSG_NOSIGNAL;
    }
}

std::string_view ConnectionSocketImpl::awaitInput()
{
    if (buffered() == 0 && !atEnd_ && !fill(receiveTimeout_)) {
        throw Poco::TimeoutException();
    }
    return input();
}

std::string ConnectionSocketImpl::takeBuffered()
{
    std::string taken(buffer_.data() + begin_, buffered());
    begin_ = end_;
    return taken;
}

void ConnectionSocketImpl::abort() noexcept
{
    aborted_ = true;
    const std::lock_guard lock(closeMutex_);
    if (closed_) {
        return;
    }
    const linger reset = {1, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
    ::shutdown(descriptor_, SHUT_RDWR);
}

bool ConnectionSocketImpl::awaitHead(microseconds patience)
{
    HeadScanner scanner;
    try {
        return receiveHead(scanner, patience) ||
               (scanner.hasHead() &&
                refuse(atEnd_ ? RequestRefusal(400, "The request's head is truncated.")
                              : RequestRefusal(408, "The request's head did not arrive in time.")));
    } catch (const RequestRefusal& refusal) {
        return refuse(refusal);
    }
}

bool ConnectionSocketImpl::receiveHead(HeadScanner& scanner, microseconds patience)
{
    std::optional<Clock::time_point> deadline;
    for (;;) {
        if (const auto head = scanner.scan(input())) {
            begin_ = static_cast<std::size_t>(head->data() + head->size() - buffer_.data());
            head_.assign(*head);
            return true;
        }
        auto wait = scanner.hasHead() ? microseconds(kClientTimeout) : patience;
        if (scanner.hasBegun()) {
            const auto now = Clock::now();
            deadline = deadline.value_or(now + kHeadTimeout);
            wait = std::min(wait, std::chrono::duration_cast<microseconds>(*deadline - now));
        }
        if (atEnd_ || wait <= microseconds::zero() || !fill(wait)) {
            return false;
        }
    }
}

bool ConnectionSocketImpl::fill(microseconds timeout)
{
    if (begin_ > 0) {
        const auto kept = buffered();
        std::memmove(buffer_.data(), buffer_.data() + begin_, kept);
        begin_ = 0;
        end_ = kept;
    }
    buffer_.resize(end_ + kReceiveSize);
    const auto received = receive(buffer_.data() + end_, kReceiveSize, timeout);
    if (!received.has_value()) {
        return false;
    }
    end_ += *received;
    atEnd_ = *received == 0;
    return true;
}

bool ConnectionSocketImpl::refuse(const RequestRefusal& refusal) noexcept
{
    if (serverLogLimits.refusals.admits(kServerLog, common::Level::Info)) {
        kServerLog.write(common::Level::Info, refusal.what());
    }
    atEnd_ = false; // the input that is left is read out, so that the client sees the answer
    sendAtOnce(RefusalAnswer(refusal).text());
    return false;
}

int ConnectionSocketImpl::takeLibraryHead(void* buffer, std::size_t length)
{
    const auto taken = libraryHead_.copy(static_cast<char*>(buffer), length);
    libraryHead_.erase(0, taken);
    return static_cast<int>(taken);
}

int ConnectionSocketImpl::takeBuffered(void* buffer, std::size_t length) noexcept
{
    const auto taken = std::min(length, buffered());
    std::memcpy(buffer, buffer_.data() + begin_, taken);
    begin_ += taken;
    return static_cast<int>(taken);
}

std::optional<std::size_t> ConnectionSocketImpl::receive(char* buffer, std::size_t length,
                                                         microseconds timeout)
{
    applyReceiveTimeout(timeout);
    ssize_t received = 0;
    do {
        received = ::recv(descriptor_, buffer, length, 0);
    } while (received < 0 && errno == EINTR);
    if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        return std::nullopt;
    }
    // A broken connection ends like a finished one: there is no more input.
    return static_cast<std::size_t>(std::max<ssize_t>(received, 0));
}

void ConnectionSocketImpl::sendAtOnce(std::string_view text) noexcept
{
    static_cast<void>(::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

void ConnectionSocketImpl::applyReceiveTimeout(microseconds timeout)
{
    // Zero would mean forever.
    const auto applied = std::max(timeout, microseconds(1000));
    if (applied == appliedTimeout_) {
        return;
    }
    const auto value = toTimeval(applied);
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof(value));
    appliedTimeout_ = applied;
}

bool ConnectionSocketImpl::hasUnreadInput()
{
    if (atEnd_) {
        return false;
    }
    int waiting = 0;
    return buffered() > 0 || (::ioctl(descriptor_, FIONREAD, &waiting) == 0 && waiting > 0);
}

void ConnectionSocketImpl::readOutInput() noexcept
{
    ::shutdown(descriptor_, SHUT_WR);
    const auto deadline = Clock::now() + kLingerTime;
    std::array<char, 4096> dropped;
    for (std::size_t total = 0; total < kLingerBytes;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd watched = {descriptor_, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) <= 0) {
            return;
        }
        const auto received = ::recv(descriptor_, dropped.data(), dropped.size(), MSG_DONTWAIT);
        if (received <= 0) {
            return;
        }
        total += static_cast<std::size_t>(received);
    }
}

} // namespace connector::http
