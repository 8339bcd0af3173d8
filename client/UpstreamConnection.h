#pragma once

#include <Poco/Net/StreamSocket.h>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <string_view>

#include "client/UpstreamUrl.h"

namespace connector::http {

/// One connection to an upstream server, for the thread that made it. A stop of the token ends
/// whatever blocks on it: at once, or within `kStopStep` while it connects. Looking the host's name
/// up can't be ended.
class UpstreamConnection
{
public:
    /// Connects, and completes the handshake of a secure connection. Certificates are not verified.
    /// @throws Poco::Exception, std::runtime_error when the host is unknown, does not accept within
    ///         `kConnectTimeout`, or the handshake fails; std::runtime_error "The request was
    ///         abandoned." when @p stopToken is stopped meanwhile.
    UpstreamConnection(const UpstreamUrl& url, const std::stop_token& stopToken);
    ~UpstreamConnection();

    UpstreamConnection(const UpstreamConnection&) = delete;
    UpstreamConnection& operator=(const UpstreamConnection&) = delete;

    /// Sends all of it.
    /// @throws Poco::Exception when the connection breaks, Poco::TimeoutException when the upstream
    ///         takes nothing for `kUpstreamTimeout`.
    void send(std::string_view bytes);

    /// Receives what is there, waiting for the first byte.
    /// @return how many bytes; 0 once the upstream has ended its stream.
    /// @throws Poco::Exception when the connection breaks, or a secure one ends without saying so;
    ///         Poco::TimeoutException when nothing comes for `kUpstreamTimeout`.
    std::size_t receive(char* into, std::size_t count);

private:
    /// Wakes the thread that blocks on the connection, and leaves the closing to it.
    struct ShutDown
    {
        int descriptor;
        void operator()() const noexcept;
    };

    Poco::Net::StreamSocket socket_;
    std::optional<std::stop_callback<ShutDown>> onStop_; ///< Gone before the socket closes.
};

} // namespace connector::http
