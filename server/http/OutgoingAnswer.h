#pragma once

#include <cstddef>
#include <string>

#include "contract/streams/DataBuffer.h"
#include "server/net/Transport.h"

namespace connector::http {

/// An answer on its way to the client.
class OutgoingAnswer
{
public:
    OutgoingAnswer() = default;

    /// @param bodySize how much of the body is sent.
    OutgoingAnswer(std::string head, common::DataBuffer body, std::size_t bodySize) noexcept
        : head_(std::move(head)), body_(std::move(body)), bodySize_(bodySize)
    {}

    /// Sends as much as the transport takes: head and body in one system call, if it takes all.
    /// @return `Done` once all is sent.
    net::IoStatus send(net::Transport& transport);

    /// Bytes sent so far.
    [[nodiscard]] std::size_t sent() const noexcept { return sent_; }

private:
    std::string head_;
    common::DataBuffer body_;
    std::size_t bodySize_ = 0;
    std::size_t sent_ = 0;
};

} // namespace connector::http
