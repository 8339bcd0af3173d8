#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "contract/http/HttpRequest.h"
#include "contract/http/HttpResponse.h"
#include "contract/http/WebSocket.h"
#include "contract/messaging/Reply.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/ReducingSubscriber.h"
#include "server/PocoHttpServer.h"
#include "server/ResponseHead.h"
#include "server/http/OutgoingAnswer.h"
#include "server/net/Session.h"

namespace connector::http {

class HttpConnection;
class RequestHead;
class RequestRefusal;

/// One request on its way through the message pipeline and back. Its connection calls it on the
/// thread that runs the connection; no operation waits, and none throws: every failure ends in an
/// answer or in none.
///
/// | failure                                     | answer                          | then   |
/// |---------------------------------------------|---------------------------------|--------|
/// | the request is refused (RequestRefusal)     | its status and text             | closed |
/// | bodies hold too much memory                 | 503 and a fixed text            | kept   |
/// | an HttpError of a provider                  | its status and text             | kept   |
/// | an exception, here or in the pipeline       | 500 and the exception's text    | kept   |
/// | any other exception                         | 500 and a fixed text            | kept   |
/// | the server stops, the client is gone        | none                            | closed |
class RequestExchange
{
public:
    enum class Phase
    {
        AwaitsBody, ///< Of the request: `dispatch` or `refuse` comes next.
        AwaitsReply,
        AwaitsReplyBody,
        Answered, ///< There is an answer to send.
        Upgraded, ///< The connection becomes a WebSocket.
        Unanswered
    };

    /// Counts the request. While the server starts, the request is its own probe and is answered
    /// "starting".
    /// @param connection outlives the exchange; its head stays as it is.
    RequestExchange(PocoHttpServer& server, HttpConnection& connection);

    /// Drops what is pending.
    ~RequestExchange();

    RequestExchange(const RequestExchange&) = delete;
    RequestExchange& operator=(const RequestExchange&) = delete;

    [[nodiscard]] Phase phase() const noexcept { return phase_; }

    /// The request has arrived whole: sends it to the pipeline, and takes a reply that is there at
    /// once. Otherwise the reply wakes the connection, which calls `proceed`.
    void dispatch(common::DataBuffer body) noexcept;

    /// Goes on with a reply, or its body, that has come meanwhile.
    void proceed() noexcept;

    /// The request is not sound.
    void refuse(const RequestRefusal& refusal) noexcept;

    /// The client is gone, or the server stops: there will be no answer.
    void abandon() noexcept;

    /// The answer could not be sent.
    void sendingFailed() noexcept;

    /// The file that the answer sends has become shorter than was announced.
    void fileTruncated() noexcept;

    /// What to send, in phase Answered.
    [[nodiscard]] OutgoingAnswer takeAnswer() noexcept { return std::move(answer_); }

    /// Whether the connection goes on behind the answer.
    [[nodiscard]] bool keepsAlive() const noexcept { return keepsAlive_; }

    /// Marks the calling thread as one that runs the request, which goes on as a WebSocket.
    [[nodiscard]] PocoHttpServer::ServedThread markThread() const
    {
        return PocoHttpServer::ServedThread(server_);
    }

    /// The reply, a WebSocket, in phase Upgraded.
    [[nodiscard]] std::unique_ptr<Message> releaseReply() noexcept { return std::move(message_); }

private:
    using BodySubscriber =
        reactive_streams::ReducingSubscriber<common::DataBuffer, common::DataBuffer>;

    /// Where a future that is resolved on another thread is left.
    template <typename T>
    struct Mailbox
    {
        std::mutex mutex; ///< Guards resolved.
        std::optional<Future<T>> resolved;
    };

    template <typename Function>
    void guard(Function function) noexcept;
    template <typename T>
    std::shared_ptr<Mailbox<T>> await(Future<T>& future);

    void send(common::DataBuffer body);
    void takeReply(Reply reply);
    void answer(HttpResponse& reply);
    std::optional<OutgoingBody> requestBody(HttpResponse& reply);
    void answerWith(HttpResponse& reply, OutgoingBody body);
    void finish(ResponseHead& head, OutgoingBody body);
    void fail(const std::string& text);
    void answerText(unsigned short status, const std::string& text, bool keepAlive,
                    void (*addFields)(ResponseHead&) = nullptr);
    void answerStarting();

    void logRefusal(const char* reason) const;
    void logSocketError(unsigned status) const;
    std::string baseUrl() const;
    void warnOfQtWebKit(const HttpRequest& message) const;
    ResponseHead makeHead(bool keepAlive) const;
    std::string url() const;
    std::string describe() const;

    PocoHttpServer& server_;
    HttpConnection& connection_;
    const RequestHead& head_;
    PocoHttpServer::RequestScope scope_;
    Phase phase_ = Phase::AwaitsBody;
    bool keepsAlive_;         ///< As the client asks; from Answered on, as the answer says.
    bool isReceived_ = false; ///< The request, to its end.
    std::unique_ptr<HttpRequest> request_; ///< Until it is sent.
    std::chrono::steady_clock::time_point sentAt_;

    Reply reply_; ///< While it is awaited.
    std::shared_ptr<Mailbox<std::unique_ptr<Message>>> replyBox_;
    std::unique_ptr<Message> message_; ///< The reply.
    std::shared_ptr<BodySubscriber> bodySubscriber_;
    Future<common::DataBuffer> body_;
    std::shared_ptr<Mailbox<common::DataBuffer>> bodyBox_;
    unsigned status_ = 0; ///< Of the answer.
    OutgoingAnswer answer_;
};

} // namespace connector::http
