#include "server/http/ConnectionInput.h"

#include <sys/ioctl.h>
#include <utility>

namespace connector::http {

using net::IoStatus;

void ConnectionInput::note(const net::Turn& turn) noexcept
{
    readable_ = readable_ || turn.has(net::kReadable | net::kHangUp | net::kBroken);
    hungUp_ = hungUp_ || turn.has(net::kHangUp | net::kBroken);
    broken_ = broken_ || turn.has(net::kBroken);
}

std::string ConnectionInput::takeAll()
{
    std::string all(input_);
    input_ = {};
    return all;
}

bool ConnectionInput::receive(std::span<char> scratch)
{
    if (!readable_) {
        return false;
    }
    keep(); // the scratch memory may hold the input so far
    const auto result = transport_.receive(scratch);
    noteReceived(result, scratch.size());
    if (result.status == IoStatus::Done) {
        input_ = {scratch.data(), result.bytes};
        if (!kept_.empty()) {
            kept_.append(input_);
            input_ = kept_;
        }
    }
    return result.status != IoStatus::WouldBlock;
}

bool ConnectionInput::receiveInto(std::span<char> room, std::size_t& count)
{
    count = 0;
    if (!readable_) {
        return false;
    }
    const auto result = transport_.receive(room);
    noteReceived(result, room.size());
    count = result.bytes;
    return result.status != IoStatus::WouldBlock;
}

void ConnectionInput::noteReceived(const net::IoResult& result, std::size_t asked)
{
    readable_ = hungUp_ ? result.status == IoStatus::Done : transport_.mayHoldInput(result, asked);
    ended_ = result.status == IoStatus::Ended || result.status == IoStatus::Failed;
}

void ConnectionInput::keep()
{
    if (input_.empty()) {
        std::string().swap(kept_); // frees its memory, as an assignment would not
    } else if (input_.data() >= kept_.data() && input_.data() < kept_.data() + kept_.size()) {
        kept_.erase(0, static_cast<std::size_t>(input_.data() - kept_.data()));
    } else {
        kept_.assign(input_);
    }
    input_ = kept_;
}

bool ConnectionInput::hasUnread(int descriptor) const noexcept
{
    int waiting = 0;
    return !input_.empty() ||
           (!ended_ && ::ioctl(descriptor, FIONREAD, &waiting) == 0 && waiting > 0);
}

} // namespace connector::http
