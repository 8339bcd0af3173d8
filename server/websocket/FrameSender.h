#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/http/WebSocket.h"
#include "contract/streams/DataBuffer.h"
#include "server/ServerLimits.h"
#include "server/net/Transport.h"
#include "server/websocket/FrameFormat.h"
#include "server/websocket/WebSocketLimits.h"

namespace connector::http::websocket {

/// The frames of one connection on their way to the client. Any thread queues and flushes; nothing
/// blocks for the client. One thread at a time writes, whole frames after one another, and what is
/// queued meanwhile it takes along.
///
/// Pongs overtake data between two frames, the close frame comes last. A failed write ends the
/// sender: it drops what is queued and takes nothing more. So does a lack of memory while it sends.
class FrameSender
{
public:
    using Clock = std::chrono::steady_clock;

    struct Flushed
    {
        bool stuck = false;     ///< Sending failed, or needs `resume` once the socket is ready.
        bool more = false;      ///< Needs `resume` at once: the socket may take more.
        bool roomAgain = false; ///< There is room for a next frame: told once for each.
    };

    /// @param transport outlives the sender, or its `end`.
    /// @param queueLimit bytes that are queued before there is no room for a next frame.
    explicit FrameSender(net::Transport& transport,
                         std::size_t queueLimit = WebSocketLimits().sendQueue)
        : transport_(transport), queueLimit_(queueLimit)
    {}

    /// Queues a frame, cut into fragments of `kSendFrameSize`. Its final bit goes out with its last
    /// fragment.
    /// @return whether there is room for a next one; if not, a flush will tell when.
    bool queue(WebSocketFrame&& frame);

    /// `queue` and `flush` in one. Whether there is room is told as by a flush.
    Flushed send(WebSocketFrame&& frame);

    void queuePong(common::DataBuffer&& payload);
    void queuePing();

    /// Queues the close frame; whatever is queued after it is dropped.
    void queueClose(common::DataBuffer&& payload);

    /// Sends what is queued, as far as the client takes it. Does nothing while another thread does,
    /// or while the client takes nothing.
    Flushed flush();

    /// The socket takes data again: flushes.
    Flushed resume();

    [[nodiscard]] bool isBlocked() const { return blocked_; }

    /// Whether everything queued was sent, or dropped.
    [[nodiscard]] bool isIdle() const;

    /// Since when the client has taken nothing of what waits for it; nothing if it has.
    [[nodiscard]] std::optional<Clock::time_point> stalledSince() const;

    /// Fails when the client has taken nothing for @p limit of what waits for it.
    void failIfStalled(std::chrono::milliseconds limit);

    [[nodiscard]] bool hasFailed() const { return failed_; }

    /// Why sending failed; empty if it did not.
    [[nodiscard]] std::string failure() const;

    /// Drops what is queued and waits for the thread that is writing: the transport is not used any
    /// more once this has returned.
    void end();

private:
    /// One frame on the wire.
    struct Piece
    {
        FrameHead head;
        std::string_view body;
        common::DataBuffer owner; ///< Holds the body, and those of the fragments in front.
        bool isLast;              ///< Of the frame that was queued.
        bool isData;              ///< Counted in `queuedBytes_`.

        [[nodiscard]] std::size_t size() const { return head.view().size() + body.size(); }

        /// What the piece counts in the bounds of what is queued.
        [[nodiscard]] std::size_t cost() const { return kQueuedFrameCost + size(); }
    };

    void doQueue(WebSocketFrame&& frame);
    void doQueueFragments(WebSocketFrame&& frame);
    void doPush(Piece&& piece);
    void queueControl(std::uint8_t opcode, common::DataBuffer&& payload);
    Flushed doFlush(std::unique_lock<std::mutex>& lock);
    std::size_t doWrite(std::unique_lock<std::mutex>& lock);
    Flushed doTellRoom();
    bool doLoad();
    bool doHasLoaded() const { return current_ < loaded_.size(); }
    void doFail(const char* reason) noexcept;
    [[nodiscard]] std::string doDescribeFailure(const char* reason) const;
    void doDrop();
    bool doTakesMore() const { return !closing_ && !ended_ && !failed_; }
    std::size_t writeLoaded();
    std::size_t discardSent(std::size_t count);

    net::Transport& transport_;
    const std::size_t queueLimit_;

    mutable std::mutex mutex_; ///< Guards the members up to the next remark.
    std::condition_variable flushed_;
    std::deque<Piece> data_;
    std::deque<Piece> pongs_;           ///< And pings.
    std::size_t queuedBytes_ = 0;       ///< Cost of data that is not sent yet, what is loaded too.
    std::size_t pongBytes_ = 0;         ///< Cost of the pongs.
    bool roomAwaited_ = false;          ///< It was not told yet that there is room.
    bool flushing_ = false;             ///< A thread is writing.
    std::atomic<bool> blocked_ = false; ///< Read without the lock as well.
    bool closing_ = false;              ///< The close frame is queued.
    bool ended_ = false;
    bool stalled_ = false;           ///< The last write took nothing,
    Clock::time_point stalledSince_; ///< and no write did since then.
    std::string failure_;
    std::atomic<bool> failed_ = false; ///< There is a failure; read without the lock as well.

    // Belongs to the thread that flushes; while none does, guarded too.
    std::vector<Piece> loaded_; ///< Taken off the queues, in the order of sending.
    std::size_t current_ = 0;   ///< The first that is not sent,
    std::size_t offset_ = 0;    ///< and how much of it is.
};

} // namespace connector::http::websocket
