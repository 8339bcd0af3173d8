#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <sys/uio.h>

namespace connector::http::net {

enum class IoStatus
{
    Done,
    WouldBlock, ///< The descriptor has to become ready first.
    Ended,      ///< The peer has finished sending.
    Failed      ///< The connection is broken.
};

/// What a receive or a send has come to.
struct IoResult
{
    IoStatus status = IoStatus::Done;
    std::size_t bytes = 0; ///< Received or sent; a send may have sent some of them and then block.
    int error = 0;         ///< The `errno` of a failure; 0 for one of the encryption.
};

/// The reason of a failure as a text.
std::string describe(const IoResult& failure);

/// The byte stream of one connection. No operation blocks. One thread receives while another sends;
/// `handshake` and `endOutput` belong to the receiving thread.
class Transport
{
public:
    virtual ~Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    /// Opens the connection, in as many calls as it needs.
    virtual IoStatus handshake() = 0;

    /// Takes what has arrived. `Done` means at least one byte.
    virtual IoResult receive(std::span<char> space) = 0;

    /// Whether `receive` may find more without a new event of the descriptor.
    /// @param last what it returned, and @p asked for, last.
    [[nodiscard]] virtual bool mayHoldInput(const IoResult& last, std::size_t asked) = 0;

    /// Sends as much of the parts as goes. After `WouldBlock` the next call must begin with the
    /// bytes that were not sent.
    /// @param more whether something follows at once: the system may wait for it to fill a packet.
    virtual IoResult send(std::span<const iovec> parts, bool more = false) = 0;

    /// Whether `sendFile` sends files. If not, whoever sends one reads it.
    [[nodiscard]] virtual bool sendsFiles() const noexcept { return false; }

    /// Sends bytes of a file without taking them through this process (sendfile(2)). Blocks only
    /// for the storage.
    /// @return `Done` with 0 bytes at the end of the file.
    virtual IoResult sendFile(int file, std::uint64_t offset, std::size_t count);

    /// Tells the peer that nothing more will come, as far as that goes at once.
    virtual void endOutput() noexcept = 0;

    [[nodiscard]] virtual bool isSecure() const noexcept = 0;

    /// Receives from the socket itself, what an encryption would make of it or not.
    /// @param space is overwritten.
    IoResult discard(std::span<char> space) noexcept;

protected:
    explicit Transport(int descriptor) noexcept : descriptor_(descriptor) {}
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

private:
    const int descriptor_;
};

/// The bytes of a connected socket as they are.
/// @param descriptor stays open; it outlives the transport.
std::unique_ptr<Transport> makePlainTransport(int descriptor);

} // namespace connector::http::net
