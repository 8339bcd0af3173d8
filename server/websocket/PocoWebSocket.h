#pragma once

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
#include "server/net/Session.h"
#include "server/net/Transport.h"
#include "server/websocket/CloseStatus.h"
#include "server/websocket/ClosingHandshake.h"
#include "server/websocket/FrameReceiver.h"
#include "server/websocket/FrameSender.h"
#include "server/websocket/PingTimer.h"
#include "server/websocket/StreamEnds.h"
#include "server/websocket/UndeliveredFrames.h"

namespace connector::http {

/// Joins an upgraded connection to the two streams of a `WebSocket` reply: writes the frames that
/// the provider publishes, hands the client's frames to the provider's subscriber. Frames pass as
/// they are, fragments included; pings are answered and closes handled here. Owned by
/// `std::shared_ptr`.
///
/// `receive`, `close` and `finishClosing` belong to the thread that runs the connection, everything
/// else to any thread. Frames reach the subscriber on that thread. Nothing here blocks for the
/// client: the connection runs again when its socket, the provider or the clock has news.
///
/// Flow control:
/// - To the client: the provider is asked for one frame at a time while less than 8,000,000 bytes
///   wait to be sent, so a client that does not read costs that and one frame. At that bound the
///   provider is asked for no more until the client reads; after 30 seconds in which it took
///   nothing the connection is failed (`WebSocketLimits`). Receiving goes on meanwhile. The bound
///   counts heads and the memory to keep a frame as well as payloads.
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
/// | receiving or sending fails, or the client | onError    | none                               |
/// | answers no ping                           |            |                                    |
/// | the subscriber or the publisher throws    | onError    | 1011                               |
class PocoWebSocket final : public reactive_streams::ProcessorAPI<WebSocketFrame, WebSocketFrame>,
                            public std::enable_shared_from_this<PocoWebSocket>
{
public:
    /// What came of the client before the handshake was answered.
    struct Received
    {
        std::string input;
        bool hungUp = false; ///< The end of its input waits behind that.
    };

    /// @param transport the bytes of the upgraded connection; outlives `endOutput`.
    /// @param connection has the connection run.
    PocoWebSocket(net::Transport& transport, net::Handle connection, Received received,
                  const WebSocketLimits& limits);
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
    void onComplete() override { endByProvider(websocket::NormalClosure); }

    /// The receive step: handles every frame that has arrived, and sends what had to wait.
    /// @return whether the connection is still open. If not, `close` comes next.
    bool receive(net::Turn& turn);

    /// Begins the end of the connection: completes the subscriber, cancels the provider's stream
    /// and queues the close frame.
    void close();

    /// Sends what is queued and waits for the client's own close (RFC 6455 section 7.1.1): up to 2
    /// seconds, 0.25 once the server stops. What the client sends meanwhile is read and forgotten:
    /// a socket that is closed with input unread sends a reset, which the client would see in place
    /// of the close frame.
    /// @return whether the connection can be closed; if not, to be called again.
    bool finishClosing(net::Turn& turn);

    /// Nothing is written any more once this has returned. Waits for a thread that is writing.
    void endOutput() { sender_.end(); }

    /// When the connection has to run, whatever happens.
    [[nodiscard]] net::Clock::time_point deadline() const;

private:
    class PocoWebSocketSubscription;

    using Clock = net::Clock;

    /// Marks the calling thread as the one that runs the connection.
    class OwnThread
    {
    public:
        explicit OwnThread(PocoWebSocket& bridge) : bridge_(bridge)
        {
            bridge_.thread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
        ~OwnThread() { bridge_.thread_.store(std::thread::id(), std::memory_order_relaxed); }
        OwnThread(const OwnThread&) = delete;
        OwnThread& operator=(const OwnThread&) = delete;

    private:
        PocoWebSocket& bridge_;
    };

    void request(std::uint64_t n);
    void cancel();
    /// Has the connection run, unless it does.
    void wake();

    void note(net::Turn& turn);
    void receiveAll(net::Turn& turn);
    bool receiveOnce(net::Turn& turn);
    void sendWaiting();
    [[nodiscard]] bool receivesMore() const;
    void watchForHangUp();
    void watchForSilence();
    void handleInput();
    void handleFrame(WebSocketFrame&& frame);

    /// @return false if the frame has to wait; it is left alone then.
    bool deliver(WebSocketFrame& frame, bool moreFollow);
    void requestFrame();
    void afterFlush(websocket::FrameSender::Flushed flushed);

    /// Runs what calls code of the provider. What it throws ends the bridge, with close code 1011.
    template <typename Operation>
    void attempt(const Operation& operation) noexcept;
    [[nodiscard]] bool isOwnThread() const
    {
        return thread_.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

    /// @return false if the connection is closed already.
    bool endByProvider(websocket::CloseCode code);

    /// Closes the connection for this reason; `receive` tells the provider.
    void fail(const std::exception_ptr& failure, std::optional<websocket::CloseCode> code);

    const net::Handle connection_;
    const std::chrono::milliseconds sendTimeout_;
    websocket::FrameSender sender_;
    websocket::StreamEnds ends_;
    std::atomic<std::thread::id> thread_; ///< Runs the connection now.

    // Belongs to the thread that runs the connection.
    websocket::ClosingHandshake closing_;
    websocket::FrameReceiver receiver_;
    websocket::UndeliveredFrames undelivered_;
    bool readable_ = true; ///< A receive may find something.
    bool hungUp_;          ///< The end of the input waits behind what is there.
    bool broken_ = false;
    std::optional<Clock::time_point> hungUpAt_; ///< While frames are undelivered.
    websocket::PingTimer pingTimer_;
    bool queued_ = false;     ///< A frame is queued and not flushed yet.
    bool collecting_ = false; ///< More frames follow the one that the subscriber has now.
    /// The provider published so many frames in a row that the rest had to wait.
    bool requestsLeft_ = false;

    std::optional<Clock::time_point> stoppedAt_; ///< By the server.
};

} // namespace connector::http
