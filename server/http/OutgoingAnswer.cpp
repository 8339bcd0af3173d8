#include "server/http/OutgoingAnswer.h"

#include <algorithm>
#include <array>

namespace connector::http {

namespace {

using net::IoStatus;

/// Up to here a file is read and leaves with its head in one system call, which costs less than
/// two.
constexpr std::size_t kSmallFile = std::size_t{16} << 10U;

/// What is sent of a file before other connections have a turn.
constexpr std::size_t kFileBytesPerTurn = std::size_t{512} << 10U;

OutgoingAnswer::Progress toProgress(IoStatus status)
{
    return status == IoStatus::WouldBlock ? OutgoingAnswer::Progress::WouldBlock
                                          : OutgoingAnswer::Progress::Failed;
}

} // namespace

OutgoingAnswer::Progress OutgoingAnswer::send(net::Transport& transport, std::span<char> scratch)
{
    return body_.isFile() ? sendFile(transport, scratch) : sendBuffer(transport);
}

OutgoingAnswer::Progress OutgoingAnswer::sendBuffer(net::Transport& transport)
{
    while (sent_ < size()) {
        const auto left = body_.buffer.view().substr(0, bodySize_).substr(bodySent());
        const std::array<iovec, 2> parts = {
            {headLeft(), {const_cast<char*>(left.data()), left.size()}}};
        const auto result = transport.send(parts);
        sent_ += result.bytes;
        if (result.status != IoStatus::Done) {
            return toProgress(result.status);
        }
    }
    return Progress::Done;
}

OutgoingAnswer::Progress OutgoingAnswer::sendFile(net::Transport& transport,
                                                  std::span<char> scratch)
{
    const auto isRead = bodySize_ <= kSmallFile || !transport.sendsFiles();
    const auto pause = sent_ + kFileBytesPerTurn;
    while (sent_ < size()) {
        if (sent_ >= pause) {
            return Progress::Paused;
        }
        const auto result = isRead ? sendRead(transport, scratch) : sendUnread(transport);
        sent_ += result.bytes;
        if (result.status != IoStatus::Done) {
            return toProgress(result.status);
        }
        if (result.bytes == 0) {
            return Progress::Truncated;
        }
    }
    return Progress::Done;
}

/// By the system: the head waits for the beginning of the file, to share a packet with it.
net::IoResult OutgoingAnswer::sendUnread(net::Transport& transport)
{
    if (sent_ < head_.size()) {
        const auto head = headLeft();
        return transport.send({&head, 1}, true);
    }
    return transport.sendFile(body_.range.file->descriptor(), body_.range.offset + bodySent(),
                              std::min(bodySize_ - bodySent(), kFileBytesPerTurn));
}

/// By reading a piece. What the transport does not take of it is read again.
net::IoResult OutgoingAnswer::sendRead(net::Transport& transport, std::span<char> scratch)
{
    const auto wanted = std::min(bodySize_ - bodySent(), scratch.size());
    const auto read =
        body_.range.file->readInto(body_.range.offset + bodySent(), scratch.first(wanted));
    const std::array<iovec, 2> parts = {{headLeft(), {scratch.data(), read}}};
    if (read == 0 && parts[0].iov_len == 0) {
        return {};
    }
    return transport.send(parts, bodySent() + read < bodySize_);
}

iovec OutgoingAnswer::headLeft() noexcept
{
    const auto sent = std::min(sent_, head_.size());
    return {head_.data() + sent, head_.size() - sent};
}

std::size_t OutgoingAnswer::bodySent() const noexcept
{
    return std::max(sent_, head_.size()) - head_.size();
}

} // namespace connector::http
