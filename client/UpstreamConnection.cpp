#include "client/UpstreamConnection.h"

#include <Poco/Exception.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

#include "client/ClientContext.h"

namespace connector::http::client {

namespace {

using Poco::Net::SecureStreamSocket;
using Poco::Net::SocketAddress;
using Poco::Net::StreamSocket;

/// Bytes that fit into one TCP segment on every usual network.
constexpr std::size_t kOneSegment = 1200;
/// POCO counts bytes in int.
constexpr std::size_t kMaxTransfer = std::size_t{1} << 30U;

/// Used instead of POCO's poll, which opens a descriptor for each call.
/// @return the events; 0 after the timeout.
short pollFor(int descriptor, short events, std::chrono::milliseconds timeout)
{
    pollfd watched{descriptor, events, 0};
    int ready = 0;
    do {
        ready = ::poll(&watched, 1, static_cast<int>(timeout.count()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0 ? watched.revents : short{0};
}

/// @throws std::runtime_error with the system's text.
[[noreturn]] void failWith(int error)
{
    throw std::runtime_error(std::generic_category().message(error));
}

[[noreturn]] void failWith(int error, const SocketAddress& address)
{
    throw std::runtime_error(std::generic_category().message(error) + ": " + address.toString());
}

/// A socket that does not block and whose connection is under way.
StreamSocket beginToConnect(const SocketAddress& address)
{
    constexpr int kType = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
    const auto descriptor = ::socket(address.af(), kType, 0);
    if (descriptor < 0) {
        failWith(errno);
    }
    StreamSocket socket(new Poco::Net::StreamSocketImpl(descriptor));
    if (::connect(descriptor, address.addr(), address.length()) != 0 && errno != EINPROGRESS) {
        failWith(errno, address);
    }
    return socket;
}

void awaitConnection(const StreamSocket& socket, const SocketAddress& address,
                     std::chrono::steady_clock::time_point deadline,
                     const std::stop_token& stopToken)
{
    const auto descriptor = socket.impl()->sockfd();
    auto events = pollFor(descriptor, POLLOUT, kStopStep);
    for (; events == 0; events = pollFor(descriptor, POLLOUT, kStopStep)) {
        if (stopToken.stop_requested()) {
            throw std::runtime_error("The request was abandoned.");
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw Poco::TimeoutException("connect timed out", address.toString());
        }
    }
    if (const auto error = events == POLLOUT ? 0 : socket.impl()->socketError(); error != 0) {
        failWith(error, address);
    }
}

} // namespace

void UpstreamConnection::ShutDown::operator()() const noexcept
{
    ::shutdown(descriptor, SHUT_RDWR);
}

UpstreamConnection::UpstreamConnection(const UpstreamUrl& url, const ClientLimits& limits,
                                       const std::stop_token& stopToken)
    : silenceTimeout_(limits.silenceTimeout), secure_(url.secure)
{
    const SocketAddress address(url.host, url.port);
    const auto begin = std::chrono::steady_clock::now();
    deadline_ = begin + limits.answerTimeout;
    socket_ = beginToConnect(address);
    awaitConnection(socket_, address, std::min(begin + limits.connectTimeout, deadline_),
                    stopToken);
    descriptor_ = socket_.impl()->sockfd();
    onStop_.emplace(stopToken, ShutDown{descriptor_});
    if (secure_) {
        socket_.setNoDelay(true);
        completeHandshake(url.host);
    }
}

UpstreamConnection::~UpstreamConnection() = default;

void UpstreamConnection::completeHandshake(const std::string& host)
{
    socket_.setBlocking(false); // POCO does not see how the socket was made
    auto secure = SecureStreamSocket::attach(socket_, host, clientContext());
    socket_ = secure;
    for (auto state = secure.completeHandshake(); state != 1; state = secure.completeHandshake()) {
        if (state == 0) {
            throw Poco::Net::SSLConnectionUnexpectedlyClosedException();
        }
        receiveEvents_ = state == SecureStreamSocket::ERR_SSL_WANT_WRITE ? POLLOUT : POLLIN;
        awaitEvents();
    }
}

void UpstreamConnection::send(std::string_view head, std::string_view body)
{
    if (!secure_ && head.size() + body.size() > kOneSegment) {
        socket_.setNoDelay(true); // what fits in one leaves at once anyway
    }
    unsent_ = {head, body};
    receiveEvents_ = POLLIN;
    sendMore();
}

std::size_t UpstreamConnection::receive(char* into, std::size_t count)
{
    for (;;) {
        if (receiveEvents_ == 0) {
            static_cast<void>(remainingTime()); // the deadline also ends an answer without pauses
            if (const auto received = receiveSome(into, count)) {
                return *received;
            }
        }
        awaitEvents();
        receiveEvents_ = 0;
        sendMore();
    }
}

void UpstreamConnection::sendMore()
{
    sendEvents_ = 0;
    for (auto& part : unsent_) {
        while (!part.empty()) {
            const auto sent = sendSome(part);
            if (sent == 0) {
                return;
            }
            part.remove_prefix(sent);
        }
    }
}

std::size_t UpstreamConnection::sendSome(std::string_view bytes)
{
    const auto count = std::min(bytes.size(), kMaxTransfer);
    try {
        const auto sent =
            secure_ ? socket_.sendBytes(bytes.data(), static_cast<int>(count))
                    : ::send(descriptor_, bytes.data(), count, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            return static_cast<std::size_t>(sent);
        }
        const auto waitsForInput = secure_ && sent == SecureStreamSocket::ERR_SSL_WANT_READ;
        if (secure_ || errno == EAGAIN || errno == EINTR) {
            sendEvents_ = waitsForInput ? POLLIN : POLLOUT;
            return 0;
        }
    } catch (const std::exception&) { // as below
    }
    unsent_ = {}; // The connection is broken, which the next receive finds behind what has come.
    return 0;
}

std::optional<std::size_t> UpstreamConnection::receiveSome(char* into, std::size_t count)
{
    count = std::min(count, kMaxTransfer);
    const auto received = secure_ ? socket_.receiveBytes(into, static_cast<int>(count))
                                  : ::recv(descriptor_, into, count, MSG_DONTWAIT);
    if (received >= 0) {
        // A plain socket that had less than asked for is likely to be empty.
        receiveEvents_ = secure_ || static_cast<std::size_t>(received) == count ? 0 : POLLIN;
        return static_cast<std::size_t>(received);
    }
    if (!secure_ && errno == ECONNRESET && resetIsEnd_) {
        return 0;
    }
    if (!secure_ && errno != EAGAIN && errno != EINTR) {
        failWith(errno);
    }
    const auto waitsForOutput = secure_ && received == SecureStreamSocket::ERR_SSL_WANT_WRITE;
    receiveEvents_ = waitsForOutput ? POLLOUT : POLLIN;
    return std::nullopt;
}

void UpstreamConnection::awaitEvents() const
{
    const auto events = static_cast<short>(sendEvents_ | receiveEvents_);
    const auto remaining = remainingTime();
    if (pollFor(descriptor_, events, std::min(silenceTimeout_, remaining)) == 0 &&
        silenceTimeout_ <= remaining) {
        throw Poco::TimeoutException();
    }
}

std::chrono::milliseconds UpstreamConnection::remainingTime() const
{
    const auto remaining =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    if (remaining.count() <= 0) {
        throw Poco::TimeoutException("answer timed out");
    }
    return remaining;
}

} // namespace connector::http::client
