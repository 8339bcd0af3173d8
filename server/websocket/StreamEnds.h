#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>

#include "contract/http/WebSocket.h"
#include "contract/streams/Demand.h"
#include "contract/streams/Streams.h"
#include "server/websocket/CloseStatus.h"

namespace connector::http::websocket {

/// The bridge's ends of the two streams of a `WebSocket` reply, and whether they are still open.
/// Any thread. The one lock is a leaf: no call leaves with it held.
class StreamEnds
{
public:
    using FrameSubscriber = reactive_streams::SubscriberAPI<WebSocketFrame>;

    /// Connects the provider's publisher.
    /// @return false if that has been done, or the connection is closed.
    bool connectUpstream(const std::shared_ptr<reactive_streams::Subscription>& subscription);

    /// Lets go of the publisher, which has ended.
    void releaseUpstream();

    /// Asks the provider for one more frame. A provider that publishes it within this call makes
    /// the bridge ask again: those requests follow one another in a loop and are not nested, so
    /// that the stack does not grow.
    /// @param limit how many requests follow one another at most.
    /// @return false at the limit: the caller goes on by `resumeRequests` soon. Until then further
    ///         requests wait for that.
    /// @throws what the provider throws; it is asked for nothing more then.
    bool requestFrame(int limit);

    /// Goes on with the requests that are left over; as `requestFrame`.
    bool resumeRequests(int limit);

    /// Connects the provider's subscriber.
    /// @param subscription what it is given.
    /// @throws std::runtime_error "Only one subscriber is allowed" the second time.
    void connectDownstream(const std::shared_ptr<FrameSubscriber>& subscriber,
                           const std::shared_ptr<reactive_streams::Subscription>& subscription);

    void addDemand(std::uint64_t n);

    /// The subscriber wants no more: what comes for it is dropped.
    void cancelDownstream();

    /// Whether a frame has to wait, since the subscriber does not request any.
    bool isPaused();

    /// Hands a frame to the subscriber, or drops it if that has cancelled.
    /// @return false if the frame has to wait, or the connection is closed; it is left alone then.
    /// @throws what the subscriber throws.
    bool deliver(WebSocketFrame& frame);

    bool isClosed() const { return closed_; }

    /// @param code what to tell the client; nothing if it is not to be told.
    /// @param failure what to tell the subscriber, now or once there is one; null for a completion.
    /// @return false if the connection is closed already; then nothing changes.
    bool close(std::optional<CloseCode> code, std::exception_ptr failure = nullptr);

    /// Once closed: tells the subscriber the end, and cancels the provider's stream. Once each.
    void deliverEnd();

    /// Of the first `close`.
    std::optional<CloseCode> closeCode();

private:
    /// Frames to ask the provider for, the one that it is being asked for included. Whoever makes
    /// it positive asks until it is 0 again, or hands that on to `resumeRequests`.
    std::atomic<std::uint64_t> requests_ = 0;

    std::mutex mutex_; ///< Guards all below.
    std::shared_ptr<reactive_streams::Subscription> upstream_;
    std::shared_ptr<FrameSubscriber> downstream_;
    reactive_streams::Demand demand_; ///< Of the subscriber.
    bool subscribed_ = false;
    bool cancelled_ = false;
    std::atomic<bool> closed_ = false; ///< Read without the lock as well.
    std::exception_ptr failure_;       ///< That no subscriber has taken yet.
    std::optional<CloseCode> closeCode_;
};

} // namespace connector::http::websocket
