#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "server/net/Session.h"
#include "server/net/Transport.h"

namespace connector::http {

/// What a connection has received and not taken yet. It lies in the scratch memory of the thread
/// during a turn; only what is left at its end is kept, so an idle connection holds no buffer.
class ConnectionInput
{
public:
    explicit ConnectionInput(net::Transport& transport) noexcept : transport_(transport) {}

    /// Takes note of what the turn tells of the socket.
    void note(const net::Turn& turn) noexcept;

    /// The bytes that were not taken yet. Valid until the next call.
    [[nodiscard]] std::string_view view() const noexcept { return input_; }

    /// Takes bytes off the front.
    void consume(std::size_t count) noexcept { input_.remove_prefix(count); }

    /// Takes all of it.
    std::string takeAll();

    /// Receives once, behind what is there.
    /// @return false if nothing has arrived. The end of the input counts as an arrival.
    bool receive(std::span<char> scratch);

    /// Receives once, to where the bytes are to stay. There must be no input that was not taken.
    /// @param count receives how many bytes.
    /// @return as `receive`.
    bool receiveInto(std::span<char> room, std::size_t& count);

    /// Keeps what is left beyond the turn.
    void keep();

    /// Whether all was received: the client has finished sending, or the connection is broken.
    [[nodiscard]] bool hasEnded() const noexcept { return ended_; }

    /// Whether the client has finished sending; some of what it sent may still be to receive.
    [[nodiscard]] bool isHungUp() const noexcept { return hungUp_; }

    /// Whether the connection has an error, or both sides have finished.
    [[nodiscard]] bool isBroken() const noexcept { return broken_; }

    /// Whether there is input that nobody has taken.
    [[nodiscard]] bool hasUnread(int descriptor) const noexcept;

private:
    void noteReceived(const net::IoResult& result, std::size_t asked);

    net::Transport& transport_;
    std::string_view input_; ///< In `kept_` or in the scratch memory of the turn.
    std::string kept_;
    bool readable_ = true; ///< A receive may find something.
    bool ended_ = false;
    bool hungUp_ = false;
    bool broken_ = false;
};

} // namespace connector::http
