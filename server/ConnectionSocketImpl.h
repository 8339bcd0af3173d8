#pragma once

#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/RequestHead.h"

namespace connector::http {

class HeadScanner;
class RequestRefusal;

/// The socket of one accepted connection, as the networking library uses it.
///
/// It differs from the library's own socket in what a server under load and a stop need:
/// - `poll` for input is the receive itself, into a buffer, so that a kept-alive request costs one
///   system call to read instead of four to wait; the addresses are asked for once;
/// - `poll` returns once a whole, well-formed request head is there; any other is refused with its
///   status, and the connection is at its end: the library's parser takes much that is malformed,
///   and drops some requests without an answer;
/// - the head is parsed once, see `head`; the library reads it only where it is passed on, and
///   never reads beyond it, so that the body and what follows are read from here;
/// - head and body of an answer leave in one call;
/// - `abort` may be called by any thread at any time, also while the connection closes.
///
/// All operations but `abort` belong to the one thread that serves the connection.
class ConnectionSocketImpl : public Poco::Net::StreamSocketImpl
{
public:
    /// What one receive into the buffer takes at most; a head that is larger takes several.
    static constexpr std::size_t kReceiveSize = 4096;

    /// Takes the descriptor over.
    ConnectionSocketImpl(poco_socket_t descriptor, const Poco::Net::SocketAddress& peer);

    /// The connection behind a socket that a server of ours accepted.
    static ConnectionSocketImpl& of(const Poco::Net::StreamSocket& socket);

    bool poll(const Poco::Timespan& timeout, int mode) override;
    using StreamSocketImpl::receiveBytes;
    int receiveBytes(void* buffer, int length, int flags) override;
    using StreamSocketImpl::sendBytes;
    int sendBytes(const void* buffer, int length, int flags) override;
    int available() override;
    void setReceiveTimeout(const Poco::Timespan& timeout) override;
    Poco::Net::SocketAddress address() override;
    Poco::Net::SocketAddress peerAddress() override;
    void shutdown() override;
    void close() override;

    /// Sends @p head and then @p body, in one system call where the kernel takes them whole. Blocks
    /// until all is handed to the kernel.
    /// @throws Poco::TimeoutException when the client takes nothing for `kClientTimeout`;
    ///         Poco::Net::NetException when the connection is broken.
    virtual void sendAll(std::string_view head, std::string_view body);

    /// The head of the current request, until the next is waited for.
    [[nodiscard]] const RequestHead& head() const noexcept { return head_; }

    /// Lets the library read the current head, as it came.
    void passHeadToLibrary() { libraryHead_ = head_.text(); }

    /// As `peerAddress` and `address`.
    [[nodiscard]] const Poco::Net::SocketAddress& clientAddress() const noexcept { return peer_; }
    const Poco::Net::SocketAddress& localAddress();

    /// Whether the client is on this machine.
    [[nodiscard]] bool isLocal() const noexcept { return local_; }

    /// What was received and not taken yet. Blocks for more if that is nothing.
    /// @return nothing when there will be no more.
    /// @throws Poco::TimeoutException when nothing arrives within the receive timeout.
    std::string_view awaitInput();

    /// Takes @p count bytes of the input.
    void consume(std::size_t count) noexcept { begin_ += count; }

    /// What was received and not taken yet, for whoever goes on to read from the descriptor.
    std::string takeBuffered();

    /// From here on the connection speaks another protocol: `poll` waits for bytes, not for heads.
    void leaveHttp() noexcept { speaksHttp_ = false; }

    /// Ends the connection with a reset, which leaves no TIME_WAIT behind. Whatever blocks on the
    /// connection returns. Any thread; does not block.
    void abort() noexcept;

    /// Whether the connection was closed. Any thread.
    [[nodiscard]] bool isClosed() const noexcept { return closed_; }
    ~ConnectionSocketImpl() override;

protected:
    /// Receives what is there, at most @p length bytes. Blocks until something is.
    /// @return how many bytes; 0 when there will be no more, for whatever reason; nothing when
    ///         @p timeout has passed.
    virtual std::optional<std::size_t> receive(char* buffer, std::size_t length,
                                               std::chrono::microseconds timeout);

    /// Sends @p text if it goes without blocking.
    virtual void sendAtOnce(std::string_view text) noexcept;

    /// Says what there is to say at the end of the connection. The descriptor closes next.
    virtual void endSending() noexcept {}

    std::size_t buffered() const noexcept { return end_ - begin_; }

private:
    using Clock = std::chrono::steady_clock;

    /// @return false when there is no request to read: the client is silent, has finished, or was
    ///         refused.
    bool awaitHead(std::chrono::microseconds patience);
    /// @return false when the input ended, or did not come in time.
    /// @throws RequestRefusal
    bool receiveHead(HeadScanner& scanner, std::chrono::microseconds patience);
    /// Receives behind what the buffer holds, and enlarges it if need be.
    /// @return false when @p timeout passed without input.
    bool fill(std::chrono::microseconds timeout);
    bool refuse(const RequestRefusal& refusal) noexcept;
    int takeLibraryHead(void* buffer, std::size_t length);
    int takeBuffered(void* buffer, std::size_t length) noexcept;
    std::string_view input() const noexcept { return {buffer_.data() + begin_, buffered()}; }
    void applyReceiveTimeout(std::chrono::microseconds timeout);
    bool hasUnreadInput();
    void readOutInput() noexcept;

    const int descriptor_;
    const Poco::Net::SocketAddress peer_;
    const bool local_;
    std::optional<Poco::Net::SocketAddress> address_;

    std::vector<char> buffer_; ///< Empty until the first receive.
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    RequestHead head_;
    std::string libraryHead_; ///< The part of the head that the library has not read yet.
    bool speaksHttp_ = true;
    bool atEnd_ = false; ///< The client has finished sending, or the connection is broken.
    bool sendTimeoutSet_ = false;
    std::chrono::microseconds receiveTimeout_{0}; ///< What the library asked for.
    std::chrono::microseconds appliedTimeout_{0}; ///< What the kernel was told.

    std::mutex closeMutex_; ///< Guards the descriptor's life: `abort` against `close`.
    std::atomic<bool> closed_ = false;
    std::atomic<bool> aborted_ = false;
};

} // namespace connector::http
