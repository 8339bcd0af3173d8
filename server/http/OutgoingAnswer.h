#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>

#include "server/http/OutgoingBody.h"
#include "server/net/Transport.h"

namespace connector::http {

/// An answer on its way to the client.
class OutgoingAnswer
{
public:
    enum class Progress
    {
        Done,       ///< All is sent.
        WouldBlock, ///< The descriptor has to become writable first.
        Paused,    ///< There may be more to send at once, but other connections should have a turn.
        Truncated, ///< The file is shorter than it was when the answer was made.
        Failed     ///< The connection is broken.
    };

    OutgoingAnswer() = default;

    /// @param bodySize how much of the body is sent.
    OutgoingAnswer(std::string head, OutgoingBody body, std::size_t bodySize) noexcept
        : head_(std::move(head)), body_(std::move(body)), bodySize_(bodySize)
    {}

    /// Sends as much as the transport takes, and of a file at most some hundred KB. A body in
    /// memory and a small file leave with the head in one system call, if it takes all. A larger
    /// file is not read where the transport sends files; otherwise it is read in pieces.
    /// @param scratch is overwritten: where files are read into.
    Progress send(net::Transport& transport, std::span<char> scratch);

    /// Bytes sent so far.
    [[nodiscard]] std::size_t sent() const noexcept { return sent_; }

private:
    [[nodiscard]] std::size_t size() const noexcept { return head_.size() + bodySize_; }
    [[nodiscard]] iovec headLeft() noexcept;
    [[nodiscard]] std::size_t bodySent() const noexcept;
    Progress sendBuffer(net::Transport& transport);
    Progress sendFile(net::Transport& transport, std::span<char> scratch);
    net::IoResult sendUnread(net::Transport& transport);
    net::IoResult sendRead(net::Transport& transport, std::span<char> scratch);

    std::string head_;
    OutgoingBody body_;
    std::size_t bodySize_ = 0;
    std::size_t sent_ = 0;
};

} // namespace connector::http
