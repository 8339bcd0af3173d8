#include "server/websocket/FrameSender.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace connector::http::websocket {

namespace {

/// Data frames that are loaded at a time. Pongs can overtake the others.
constexpr std::size_t kLoadPieces = 64;
constexpr std::size_t kLoadBytes = 262'144;

/// What one flush sends at most, before others get the thread.
constexpr std::size_t kFlushBytes = 4'194'304;

/// Releases a lock as long as it lives.
class Unlocked
{
public:
    explicit Unlocked(std::unique_lock<std::mutex>& lock) : lock_(lock) { lock_.unlock(); }
    ~Unlocked() { lock_.lock(); }

    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    std::unique_lock<std::mutex>& lock_;
};

} // namespace

bool FrameSender::queue(WebSocketFrame&& frame)
{
    const std::lock_guard lock(mutex_);
    if (!doTakesMore()) {
        return false;
    }
    doQueue(std::move(frame));
    roomAwaited_ = queuedBytes_ >= queueLimit_;
    return !roomAwaited_;
}

FrameSender::Flushed FrameSender::send(WebSocketFrame&& frame)
{
    std::unique_lock lock(mutex_);
    if (!doTakesMore()) {
        return {};
    }
    doQueue(std::move(frame));
    roomAwaited_ = true;
    return flushing_ || blocked_ ? doTellRoom() : doFlush(lock);
}

void FrameSender::doQueue(WebSocketFrame&& frame)
{
    if (frame.payload.size() > kSendFrameSize) {
        doQueueFragments(std::move(frame));
        return;
    }
    const auto body = frame.payload.view();
    doPush({FrameHead(frame.flags, body.size()), body, std::move(frame.payload), true, true});
}

/// Queues all fragments or, short of memory, none: the last one owns the payload of the others.
void FrameSender::doQueueFragments(WebSocketFrame&& frame)
{
    std::vector<Piece> fragments;
    auto rest = frame.payload.view();
    auto flags = frame.flags;
    while (rest.size() > kSendFrameSize) {
        const auto body = rest.substr(0, kSendFrameSize);
        fragments.push_back({FrameHead(flags & ~kFinalBit, body.size()), body, {}, false, true});
        rest.remove_prefix(body.size());
        flags = Continuation;
    }
    // A provider may itself send one message in several frames: only its last one has the bit.
    flags = static_cast<std::uint8_t>(flags | (frame.flags & kFinalBit));
    fragments.push_back(
        {FrameHead(flags, rest.size()), rest, std::move(frame.payload), true, true});
    std::size_t cost = 0;
    for (const auto& fragment : fragments) {
        cost += fragment.cost();
    }
    data_.insert(data_.end(), std::move_iterator(fragments.begin()),
                 std::move_iterator(fragments.end()));
    queuedBytes_ += cost;
}

void FrameSender::doPush(Piece&& piece)
{
    const auto cost = piece.cost();
    if (flushing_ || doHasLoaded() || !data_.empty() || !pongs_.empty()) {
        data_.push_back(std::move(piece));
    } else { // the usual case, which needs no queue
        loaded_.clear();
        current_ = 0;
        loaded_.push_back(std::move(piece));
    }
    queuedBytes_ += cost;
}

void FrameSender::queuePong(common::DataBuffer&& payload)
{
    queueControl(Pong, std::move(payload));
}

void FrameSender::queuePing()
{
    queueControl(Ping, {});
}

void FrameSender::queueControl(std::uint8_t opcode, common::DataBuffer&& payload)
{
    const std::lock_guard lock(mutex_);
    if (!doTakesMore()) {
        return;
    }
    if (pongBytes_ > kPongQueueLimit) {
        pongs_.clear();
        pongBytes_ = 0;
    }
    const auto body = payload.view();
    pongs_.push_back(
        {FrameHead(kFinalBit | opcode, body.size()), body, std::move(payload), true, false});
    pongBytes_ += pongs_.back().cost();
}

void FrameSender::queueClose(common::DataBuffer&& payload)
{
    const std::lock_guard lock(mutex_);
    if (doTakesMore()) {
        doQueue(WebSocketFrame(std::move(payload), kFinalBit | Close));
        closing_ = true;
    }
}

FrameSender::Flushed FrameSender::flush()
{
    std::unique_lock lock(mutex_);
    if (flushing_ || blocked_) {
        return {}; // whoever flushes will tell, or has told
    }
    return doFlush(lock);
}

FrameSender::Flushed FrameSender::resume()
{
    std::unique_lock lock(mutex_);
    if (flushing_) {
        return {};
    }
    return doFlush(lock);
}

FrameSender::Flushed FrameSender::doFlush(std::unique_lock<std::mutex>& lock)
{
    flushing_ = true;
    blocked_ = false;
    auto more = false;
    try {
        std::size_t sent = 0;
        while (!blocked_ && doLoad()) {
            const auto written = doWrite(lock);
            sent += written;
            if (written == 0 && !stalled_) {
                stalledSince_ = Clock::now();
            }
            stalled_ = written == 0;
            more = !stalled_ && sent >= kFlushBytes && doLoad();
            blocked_ = stalled_ || more;
        }
    } catch (const std::exception& failure) {
        doFail(failure.what());
    }
    flushing_ = false;
    if (ended_) {
        flushed_.notify_all();
    }
    auto flushed = doTellRoom();
    flushed.more = more && !failed_;
    flushed.stuck = (blocked_ && !more) || failed_;
    return flushed;
}

/// Writes once what is loaded, without the lock.
/// @return how many bytes.
std::size_t FrameSender::doWrite(std::unique_lock<std::mutex>& lock)
{
    std::size_t written = 0;
    std::size_t released = 0;
    {
        const Unlocked unlocked(lock);
        written = writeLoaded();
        released = discardSent(written);
    }
    queuedBytes_ -= released;
    return written;
}

FrameSender::Flushed FrameSender::doTellRoom()
{
    const auto roomAgain = roomAwaited_ && queuedBytes_ < queueLimit_ && doTakesMore();
    roomAwaited_ = roomAwaited_ && !roomAgain;
    return {.roomAgain = roomAgain};
}

bool FrameSender::doLoad()
{
    if (doHasLoaded()) {
        return true;
    }
    loaded_.clear();
    current_ = 0;
    if (pongs_.empty() && data_.empty()) {
        return false;
    }
    loaded_.reserve(pongs_.size() + std::min(data_.size(), kLoadPieces)); // nothing fails below
    std::move(pongs_.begin(), pongs_.end(), std::back_inserter(loaded_));
    pongs_.clear();
    pongBytes_ = 0;
    std::size_t bytes = 0;
    while (!data_.empty() && loaded_.size() < kLoadPieces && bytes < kLoadBytes) {
        bytes += data_.front().size();
        loaded_.push_back(std::move(data_.front()));
        data_.pop_front();
    }
    return !loaded_.empty() && !ended_;
}

std::size_t FrameSender::writeLoaded()
{
    std::array<iovec, 2 * kLoadPieces> parts;
    std::size_t count = 0;
    auto skipped = offset_;
    for (auto i = current_; i < loaded_.size() && count + 2 <= parts.size(); ++i) {
        for (auto bytes : {loaded_[i].head.view(), loaded_[i].body}) {
            const auto sent = std::min(skipped, bytes.size());
            skipped -= sent;
            bytes.remove_prefix(sent);
            if (!bytes.empty()) {
                parts[count++] = {const_cast<char*>(bytes.data()), bytes.size()};
            }
        }
    }
    const auto result = transport_.send({parts.data(), count});
    if (result.status == net::IoStatus::Failed) {
        throw std::runtime_error(net::describe(result));
    }
    return result.bytes;
}

std::size_t FrameSender::discardSent(std::size_t count)
{
    std::size_t released = 0;
    offset_ += count;
    while (current_ < loaded_.size() && offset_ >= loaded_[current_].size()) {
        auto& piece = loaded_[current_++];
        offset_ -= piece.size();
        released += piece.isData ? piece.cost() : 0;
        piece.owner = {};
    }
    return released;
}

void FrameSender::doFail(const char* reason) noexcept
{
    try {
        failure_ = doDescribeFailure(reason);
    } catch (const std::exception&) {
        failure_ = "Out of memory!"; // needs none: it fits into the string object
    }
    failed_ = true;
    doDrop();
}

std::string FrameSender::doDescribeFailure(const char* reason) const
{
    if (!doHasLoaded()) {
        return reason;
    }
    const auto& piece = loaded_[current_];
    const auto headSize = piece.head.view().size();
    return std::string(piece.isLast ? "Unable to send final frame of websocket data: "
                                    : "Unable to send websocket continuation frame: ") +
           std::to_string(offset_ - std::min(offset_, headSize)) + " of " +
           std::to_string(piece.body.size()) + " bytes sent, " + reason;
}

void FrameSender::doDrop()
{
    data_.clear();
    pongs_.clear();
    loaded_.clear();
    current_ = offset_ = queuedBytes_ = pongBytes_ = 0;
    blocked_ = stalled_ = false;
}

bool FrameSender::isIdle() const
{
    const std::lock_guard lock(mutex_);
    return !flushing_ && !doHasLoaded() && data_.empty() && pongs_.empty();
}

std::optional<FrameSender::Clock::time_point> FrameSender::stalledSince() const
{
    const std::lock_guard lock(mutex_);
    return stalled_ ? std::optional(stalledSince_) : std::nullopt;
}

void FrameSender::failIfStalled(std::chrono::milliseconds limit)
{
    const std::lock_guard lock(mutex_);
    if (stalled_ && !flushing_ && Clock::now() - stalledSince_ >= limit) {
        doFail("the client takes no data");
    }
}

std::string FrameSender::failure() const
{
    const std::lock_guard lock(mutex_);
    return failure_;
}

void FrameSender::end()
{
    std::unique_lock lock(mutex_);
    ended_ = true;
    flushed_.wait(lock, [this] { return !flushing_; });
    doDrop();
}

} // namespace connector::http::websocket
