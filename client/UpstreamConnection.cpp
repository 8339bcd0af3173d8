#include "client/UpstreamConnection.h"

#include <Poco/Exception.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Timespan.h>
#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

#include "client/ClientContext.h"
#include "client/ClientLimits.h"

namespace connector::http {

namespace {

using Poco::Net::SocketAddress;
using Poco::Net::StreamSocket;

/// The library counts bytes in int.
constexpr std::size_t kMaxTransfer = std::size_t{1} << 30U;

Poco::Timespan toTimespan(std::chrono::microseconds duration)
{
    return {duration.count() / 1000000, duration.count() % 1000000};
}

void awaitConnection(StreamSocket& socket, const SocketAddress& address,
                     const std::stop_token& stopToken)
{
    constexpr int kModes = Poco::Net::Socket::SELECT_WRITE | Poco::Net::Socket::SELECT_ERROR;
    const auto deadline = std::chrono::steady_clock::now() + kConnectTimeout;
    while (!socket.poll(toTimespan(kStopStep), kModes)) {
        if (stopToken.stop_requested()) {
            throw std::runtime_error("The request was abandoned.");
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw Poco::TimeoutException("connect timed out", address.toString());
        }
    }
    if (const auto error = socket.impl()->socketError(); error != 0) {
        throw std::runtime_error(std::generic_category().message(error) + ": " +
                                 address.toString());
    }
}

} // namespace

void UpstreamConnection::ShutDown::operator()() const noexcept
{
    ::shutdown(descriptor, SHUT_RDWR);
}

UpstreamConnection::UpstreamConnection(const UpstreamUrl& url, const std::stop_token& stopToken)
{
    const SocketAddress address(url.host, url.port);
    socket_.connectNB(address);
    awaitConnection(socket_, address, stopToken);
    socket_.setBlocking(true);
    socket_.setNoDelay(true);
    socket_.setReceiveTimeout(toTimespan(kUpstreamTimeout));
    socket_.setSendTimeout(toTimespan(kUpstreamTimeout));
    onStop_.emplace(stopToken, ShutDown{socket_.impl()->sockfd()});
    if (url.secure) {
        socket_ = Poco::Net::SecureStreamSocket::attach(socket_, url.host, clientContext());
    }
}

UpstreamConnection::~UpstreamConnection() = default;

void UpstreamConnection::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto count = static_cast<int>(std::min(bytes.size(), kMaxTransfer));
        const auto sent = socket_.sendBytes(bytes.data(), count);
        if (sent <= 0) { // a secure connection whose time is up
            throw Poco::TimeoutException();
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::size_t UpstreamConnection::receive(char* into, std::size_t count)
{
    const auto received =
        socket_.receiveBytes(into, static_cast<int>(std::min(count, kMaxTransfer)));
    if (received < 0) { // a secure connection whose time is up
        throw Poco::TimeoutException();
    }
    return static_cast<std::size_t>(received);
}

} // namespace connector::http
