#pragma once

#include <Poco/Net/SocketAddress.h>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "server/HeadScanner.h"
#include "server/RequestBody.h"
#include "server/RequestHead.h"
#include "server/http/ConnectionInput.h"
#include "server/http/OutgoingAnswer.h"
#include "server/http/RequestExchange.h"
#include "server/http/ServedRequest.h"
#include "server/http/TransferPace.h"
#include "server/net/Session.h"
#include "server/net/Transport.h"

namespace connector::http {

struct HttpService;
class PocoWebSocket;
class RequestRefusal;

/// One connection of a client: a state machine that an event loop runs. A connection holds a thread
/// while a provider's code handles its request, and at no other time.
///
/// | state         | waits for                    | deadline                     | then      |
/// |---------------|------------------------------|------------------------------|-----------|
/// | Handshaking   | the TLS handshake            | handshakeTimeout             | closed    |
/// | Idle          | the first byte of a request  | firstByteTimeout, later      | closed    |
/// |               |                              | keepAliveTimeout             |           |
/// | ReceivingHead | the end of the head          | headTimeout, silenceTimeout  | 408       |
/// | ReceivingBody | the end of the body          | TransferPace                 | 408       |
/// | Handling      | the reply, then its body     | none: ended by the reply, a  |           |
/// |               |                              | reset or a stop              |           |
/// | Sending       | the socket to take more      | TransferPace                 | reset     |
/// | Lingering     | the client's end             | lingerTime                   | closed    |
/// | Upgraded      | what PocoWebSocket waits for | PocoWebSocket::deadline      |           |
///
/// The first event of a connection tells that its socket is writable; it arms the first deadline.
/// From any state a broken connection or a stop leads to the end.
///
/// When the server stops, an upgraded connection gets a moment to close; every other one ends with
/// a reset, which leaves no TIME_WAIT behind.
class HttpConnection final : public net::Session
{
public:
    /// @param transport of the descriptor.
    /// @param service outlives the connection.
    HttpConnection(common::FileDescriptor descriptor, const Poco::Net::SocketAddress& peer,
                   std::unique_ptr<net::Transport> transport, HttpService& service);
    ~HttpConnection() override;

    bool run(net::Turn& turn) noexcept override;

    // For the handler of the current request, on the thread that runs the connection.

    [[nodiscard]] const RequestHead& head() const noexcept { return *head_; }
    [[nodiscard]] const Poco::Net::SocketAddress& clientAddress() const noexcept { return peer_; }
    [[nodiscard]] const Poco::Net::SocketAddress& localAddress();
    [[nodiscard]] bool isLocal() const noexcept { return local_; }
    [[nodiscard]] bool isSecure() const noexcept { return transport_->isSecure(); }

    [[nodiscard]] net::Handle handle() const;

    /// Begins the exchange of the current request.
    void beginExchange(PocoHttpServer& server) { exchange_.emplace(server, *this); }

private:
    enum class State
    {
        Handshaking,
        Idle,
        ReceivingHead,
        ReceivingBody,
        Handling,
        Sending,
        Lingering,
        Upgraded,
        Ended
    };

    bool step();
    void goOnLater() noexcept;
    bool stepHandshake();
    bool stepHead();
    bool stepBody();
    bool stepHandling();
    bool stepSending();
    bool stepLingering();
    bool stepUpgraded();

    void beginRequest(std::string_view head);
    void beginBody();
    void beginAnswer(OutgoingAnswer&& answer, bool keepsAlive);
    void beginUpgrade();
    void finishUpgrade();
    void finishRequest();
    void stop();
    void timeOut();
    void refuse(const RequestRefusal& refusal);
    void refuseBody(const RequestRefusal& refusal);
    void close();
    void abort() noexcept;

    bool receiveBody();

    void enter(State state) noexcept;
    void arm(net::Clock::time_point deadline) noexcept;
    void armForHead() noexcept;
    void armForWebSocket() noexcept;

    HttpService& service_;
    const std::unique_ptr<net::Transport> transport_;
    const Poco::Net::SocketAddress peer_;
    std::optional<Poco::Net::SocketAddress> address_;
    const bool local_;

    State state_;
    net::Turn* turn_ = nullptr; ///< While it runs.
    net::Clock::time_point deadline_ = net::Clock::time_point::max();
    bool first_ = true;    ///< No request has come yet.
    bool closing_ = false; ///< Ends after the answer.
    bool refused_ = false; ///< More of the refused request may be on its way.

    ConnectionInput input_;
    HeadScanner scanner_;
    net::Clock::time_point headBegan_; ///< When the head first had to be waited for.
    std::size_t received_ = 0;         ///< Of the body.
    std::size_t lingered_ = 0;
    TransferPace pace_;

    ServedRequest served_;            ///< What POCO's handlers are given.
    std::optional<RequestHead> head_; ///< While there is a request.
    std::optional<RequestBody> body_; ///< While it is received.
    std::optional<RequestExchange> exchange_;
    std::optional<OutgoingAnswer> output_; ///< While it is sent.

    std::shared_ptr<PocoWebSocket> webSocket_; ///< From the upgrade on.
    bool webSocketClosing_ = false;
};

} // namespace connector::http
