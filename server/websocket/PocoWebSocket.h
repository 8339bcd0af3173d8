#pragma once

#include <Poco/Net/StreamSocket.h>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "contract/http/WebSocket.h"
#include "contract/streams/Streams.h"
#include "server/websocket/AwakeWait.h"
#include "server/websocket/CloseStatus.h"
#include "server/websocket/FrameReceiver.h"
#include "server/websocket/FrameSender.h"
#include "server/websocket/SocketChannel.h"
#include "server/websocket/SocketWait.h"
#include "server/websocket/StreamEnds.h"
#include "server/websocket/UndeliveredFrames.h"

namespace connector::http {

/// Joins an upgraded connection to the two streams of a `WebSocket` reply: writes the frames that
/// the provider publishes, hands the client's frames to the provider's subscriber. Frames pass as
/// they are, fragments included; pings are answered and closes handled here. Owned by
/// `std::shared_ptr`.
///
/// `receive` and `close` belong to the connection's own thread, everything else to any thread.
/// Frames reach the subscriber on the connection's thread. Nothing here blocks for the client.
///
/// Flow control:
/// - To the client: the provider is asked for one frame at a time while less than 8,000,000 bytes
///   wait to be sent, so a client that does not read costs that and one frame. At that bound the
///   provider is asked for no more until the client reads; after 30 seconds in which it took
///   nothing the connection is failed. Receiving goes on meanwhile. The bound counts heads and the
///   memory to keep a frame as well as payloads.
/// - From the client: without demand of the subscriber at most one frame is received ahead, and
///   64 KB of what follows it. Pings and a close among that are handled at once; frames that wait
///   are dropped by a close. Then the socket is not read. A client that hangs up meanwhile is given
///   up after 5 seconds.
///
/// | end                                       | subscriber | close code to the client           |
/// |-------------------------------------------|------------|------------------------------------|
/// | the client's close frame                  | onComplete | the same                           |
/// | the provider's onComplete, its onError    | onComplete | 1000, 1011                         |
/// | `close`: the server stops                 | onComplete | 1001                               |
/// | the client hangs up between two frames    | onComplete | none                               |
/// | the client breaks the protocol            | onError    | 1002, 1007 or 1009                 |
/// | receiving or sending fails                | onError    | none                               |
/// | the subscriber or the publisher throws    | onError    | 1011                               |
class PocoWebSocket final : public reactive_streams::ProcessorAPI<WebSocketFrame, WebSocketFrame>,
                            public std::enable_shared_from_this<PocoWebSocket>
{
public:
    /// @param socket the upgraded connection; owned for the life of the bridge, closed by whoever
    ///        holds it last.
    /// @param channel the bytes of the same connection.
    /// @param wait waits for the same connection.
    /// @param awake waits for the client's next message first.
    /// @param early what the client sent before the handshake was answered.
    PocoWebSocket(const Poco::Net::StreamSocket& socket,
                  std::unique_ptr<websocket::SocketChannel> channel,
                  std::unique_ptr<websocket::SocketWait> wait, websocket::AwakeWait awake,
                  std::string early);
    ~PocoWebSocket() override;

    /// Connects both streams of @p reply. If one of them throws, `receive` ends the connection.
    void join(const WebSocket& reply);

    /// Attaches the provider's subscriber.
    /// @throws std::runtime_error "Only one subscriber is allowed" the second time.
    void
    subscribe(std::shared_ptr<reactive_streams::SubscriberAPI<WebSocketFrame>> subscriber) override;

    void onSubscribe(std::shared_ptr<reactive_streams::Subscription> subscription) override;
    void onNext(WebSocketFrame&& frame) override;
    void onError(std::exception_ptr failure) override;
    void onComplete() override;

    /// The receive step: handles every frame that has arrived, or waits for one up to half a
    /// second.
    /// @return whether the connection is still open.
    bool receive();

    /// The server stops: ends the wait of `receive`, and shortens that of `close`.
    void interrupt() noexcept;

    /// Ends the connection: completes the subscriber, cancels the provider's stream, sends what is
    /// queued and the close frame, waits up to 2 seconds for the client's own close, and shuts the
    /// socket down. All of that within 0.25 seconds once interrupted.
    void close();

private:
    class PocoWebSocketSubscription;

    using Clock = std::chrono::steady_clock;

    void request(std::uint64_t n);
    void cancel();

    void receiveStep();
    void awaitInput();
    bool receiveInput(bool await);
    [[nodiscard]] bool receivesMore() const;
    int awaitedEvents();
    void watchForHangUp(int events);
    void handleInput();
    void handleFrame(WebSocketFrame&& frame);

    /// @return false if the frame has to wait; it is left alone then.
    bool deliver(WebSocketFrame& frame, bool moreFollow);
    void requestFrame();
    void afterFlush(websocket::FrameSender::Flushed flushed);

    /// Runs what calls code of the provider. What it throws ends the bridge, with close code 1011.
    template <typename Operation>
    void attempt(const Operation& operation) noexcept;
    [[nodiscard]] bool isOwnThread() const { return std::this_thread::get_id() == thread_; }

    /// @return false if the connection is closed already.
    bool endByProvider(websocket::CloseCode code);

    /// Closes the connection for this reason; `receive` tells the provider.
    void fail(const std::exception_ptr& failure, std::optional<websocket::CloseCode> code);
    void finish();

    const std::thread::id thread_;                  ///< The connection's own.
    std::optional<Poco::Net::StreamSocket> socket_; ///< Until `close`.
    const std::unique_ptr<websocket::SocketChannel> channel_;
    const std::unique_ptr<websocket::SocketWait> wait_;
    websocket::FrameSender sender_;
    websocket::StreamEnds ends_;
    std::atomic<bool> interrupted_ = false;

    // Belongs to the connection's thread.
    websocket::AwakeWait awake_;
    websocket::FrameReceiver receiver_;
    websocket::UndeliveredFrames undelivered_;
    std::optional<Clock::time_point> hungUpAt_; ///< While frames are undelivered.
    bool answered_ = false;     ///< The provider publishes from within the receive step.
    bool queued_ = false;       ///< Within the receive step, and not flushed yet.
    bool collecting_ = false;   ///< More frames follow the one that the subscriber has now.
    bool requestsLeft_ = false; ///< The provider publishes so much in a row that it has to wait.
};

} // namespace connector::http
