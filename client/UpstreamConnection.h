#pragma once

#include <Poco/Net/StreamSocket.h>
#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "client/ClientLimits.h"
#include "client/UpstreamUrl.h"

namespace connector::http::client {

/// One connection to an upstream server, for the thread that made it. It sends and receives at the
/// same time, so that an upstream may answer before it has read the whole request. A stop of the
/// token ends whatever blocks on it: at once, or within `kStopStep` while it connects. Looking the
/// host's name up can't be ended.
class UpstreamConnection
{
public:
    /// Connects, and completes the handshake of a secure connection. Certificates are not verified.
    /// @param limits its answerTimeout begins once the host's name is looked up, and ends whatever
    ///        blocks on the connection.
    /// @throws Poco::Exception, std::runtime_error when the host is unknown, does not accept within
    ///         the connectTimeout, or the handshake fails or takes too long; std::runtime_error
    ///         "The request was abandoned." when @p stopToken is stopped meanwhile.
    UpstreamConnection(const UpstreamUrl& url, const ClientLimits& limits,
                       const std::stop_token& stopToken);
    ~UpstreamConnection();

    UpstreamConnection(const UpstreamConnection&) = delete;
    UpstreamConnection& operator=(const UpstreamConnection&) = delete;

    /// Begins to send head and body, once. What is not taken at once is sent while `receive` waits;
    /// both outlive that. An upstream that takes no more of it may have answered nevertheless:
    /// `receive` tells.
    void send(std::string_view head, std::string_view body);

    /// Receives what is there, waiting for the first byte and sending meanwhile.
    /// @return how many bytes; 0 once the upstream has ended its stream.
    /// @throws std::runtime_error, Poco::Exception when the connection breaks, or a secure one ends
    ///         without saying so; Poco::TimeoutException when nothing moves for the silenceTimeout,
    ///         and "answer timed out" once the answerTimeout is over.
    std::size_t receive(char* into, std::size_t count);

    /// From now on a reset counts as the end of the upstream's stream: one that refuses a request
    /// before it has read it whole, and closes, can't but reset the connection.
    void takeResetAsEnd() noexcept { resetIsEnd_ = true; }

private:
    /// Wakes the thread that blocks on the connection, and leaves the closing to it.
    struct ShutDown
    {
        int descriptor;
        void operator()() const noexcept;
    };

    void completeHandshake(const std::string& host);

    /// @return 0 when the socket takes no more for now, or any more at all.
    std::size_t sendSome(std::string_view bytes);
    std::optional<std::size_t> receiveSome(char* into, std::size_t count);
    void sendMore();
    void awaitEvents() const;
    /// Until the end of the answer; fails when there is none left.
    [[nodiscard]] std::chrono::milliseconds remainingTime() const;

    const std::chrono::milliseconds silenceTimeout_;
    std::chrono::steady_clock::time_point deadline_; ///< Of the whole answer.
    Poco::Net::StreamSocket socket_;
    int descriptor_ = -1;
    bool secure_ = false;
    bool resetIsEnd_ = false;
    std::array<std::string_view, 2> unsent_;
    short sendEvents_ = 0;    ///< What a transfer of either direction waits for.
    short receiveEvents_ = 0; ///< 0: there may be more to receive already.
    std::optional<std::stop_callback<ShutDown>> onStop_; ///< Gone before the socket closes.
};

} // namespace connector::http::client
