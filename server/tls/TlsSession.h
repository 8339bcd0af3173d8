#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string_view>

#include "server/tls/OpenSslPtr.h"

namespace connector::http {

/// TLS over one connected socket, the server's side. The handshake is part of the first receive or
/// send.
///
/// One thread may receive while another sends; two must not do the same at once. What waits for the
/// socket waits without the lock, and returns when the socket is shut down.
class TlsSession
{
public:
    /// @param context outlives the session.
    /// @param descriptor stays open; it outlives the session.
    TlsSession(SSL_CTX* context, int descriptor);

    /// Receives what is there, at most @p length bytes. Blocks until something is.
    /// @return how many bytes; 0 when the client has finished or the connection is broken, a
    ///         handshake that failed included; nothing when @p timeout has passed. A client that
    ///         dribbles parts of a handshake or of a record gains no time by them.
    std::optional<std::size_t> receive(char* buffer, std::size_t length,
                                       std::chrono::microseconds timeout);

    /// Sends all of @p bytes, in records as large as they may be. Blocks until the kernel has them.
    /// @throws Poco::TimeoutException when the client takes nothing for @p timeout;
    ///         Poco::Net::NetException when the connection is broken.
    void send(std::string_view bytes, std::chrono::microseconds timeout);

    /// Receives what is there without blocking.
    /// @return how many bytes; 0 as for `receive`; nothing when there is nothing yet.
    std::optional<std::size_t> receiveNow(char* buffer, std::size_t length);

    /// Sends what goes without blocking. After 0 the next call must begin with the same bytes, and
    /// not be shorter.
    /// @return how many bytes; 0 when the socket has to become writable first.
    /// @throws Poco::Net::NetException when the connection is broken.
    std::size_t sendNow(std::string_view bytes);

    /// Whether there is input that polling the socket does not show.
    bool holdsInput();

    /// Bytes that `receiveNow` is sure to find.
    std::size_t pending();

    /// Tells the client that no more will be sent (RFC 8446 section 6.1), if that is possible at
    /// once. Afterwards nothing can be sent or received; the memory of the session is released.
    void end() noexcept;

private:
    enum class Outcome
    {
        Done,
        WantsInput,
        WantsOutput,
        Finished, ///< The client has said that it sends no more.
        Broken
    };

    template <typename Operation>
    Outcome attempt(Operation operation);
    Outcome tryReceive(char* buffer, std::size_t length, std::size_t& received);
    /// @throws Poco::Net::NetException when the connection is broken.
    Outcome trySend(std::string_view bytes, std::size_t& sent);
    /// @return false when the time has passed.
    bool waitFor(Outcome wanted, std::chrono::steady_clock::time_point deadline) const;

    const int descriptor_;
    std::mutex mutex_; ///< Guards all below.
    OpenSslPtr<SSL> ssl_;
    bool broken_ = false;
};

} // namespace connector::http
