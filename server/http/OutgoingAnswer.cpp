#include "server/http/OutgoingAnswer.h"

#include <algorithm>
#include <array>

namespace connector::http {

namespace {

/// Takes @p sent bytes off the front of the vector.
void advance(std::array<iovec, 2>& parts, std::size_t sent)
{
    for (auto& part : parts) {
        const auto used = std::min(sent, part.iov_len);
        part.iov_base = static_cast<char*>(part.iov_base) + used;
        part.iov_len -= used;
        sent -= used;
    }
}

} // namespace

net::IoStatus OutgoingAnswer::send(net::Transport& transport)
{
    const auto body = body_.view().substr(0, bodySize_);
    std::array<iovec, 2> parts = {
        {{head_.data(), head_.size()}, {const_cast<char*>(body.data()), body.size()}}};
    advance(parts, sent_);
    while (sent_ < head_.size() + bodySize_) {
        const auto result = transport.send(parts);
        sent_ += result.bytes;
        advance(parts, result.bytes);
        if (result.status != net::IoStatus::Done) {
            return result.status;
        }
    }
    return net::IoStatus::Done;
}

} // namespace connector::http
