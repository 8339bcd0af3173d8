#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <sys/uio.h>

namespace connector::http {
class TlsSession;
}

namespace connector::http::websocket {

/// The byte stream of an upgraded connection. No operation blocks but `await`. One thread reads
/// while another writes; `endOutput` and `shutDown` belong to the reading thread, with no write
/// under way.
class SocketChannel
{
public:
    virtual ~SocketChannel() = default;
    SocketChannel(const SocketChannel&) = delete;
    SocketChannel& operator=(const SocketChannel&) = delete;

    /// What to poll. The owner of the connection closes it, the channel never does.
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Takes what has arrived.
    /// @return how many bytes; 0 at the end of the stream; nothing when there is no input yet.
    /// @throws std::exception when the connection is broken.
    virtual std::optional<std::size_t> read(std::span<char> space) = 0;

    /// Takes what has arrived, or arrives within 10 milliseconds: one system call where waiting
    /// first and reading then would be two.
    /// @return as `read`. A channel that can't do that returns nothing at once.
    virtual std::optional<std::size_t> await(std::span<char> /*space*/) { return std::nullopt; }

    /// Whether there is input that polling the descriptor does not show.
    virtual bool hasHiddenInput() = 0;

    /// Hands over as much of the parts as the connection takes now. After 0 the next call must
    /// begin with the same bytes.
    /// @return how many bytes; 0 when the descriptor has to become writable first.
    /// @throws std::exception when the connection is broken.
    virtual std::size_t write(std::span<const iovec> parts) = 0;

    /// Tells the peer that nothing more will come. What is read afterwards has no meaning, except
    /// for its end.
    virtual void endOutput() noexcept = 0;

    /// Ends both directions.
    virtual void shutDown() noexcept = 0;

protected:
    explicit SocketChannel(int descriptor) : descriptor_(descriptor) {}

private:
    const int descriptor_;
};

/// A channel for the bytes of a descriptor as they are.
std::unique_ptr<SocketChannel> makePlainChannel(int descriptor);

/// A channel for the bytes of a TLS session over the descriptor.
/// @param session outlives the channel, or at least its use.
std::unique_ptr<SocketChannel> makeTlsChannel(int descriptor, TlsSession& session);

} // namespace connector::http::websocket
