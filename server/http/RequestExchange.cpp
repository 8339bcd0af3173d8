#include "server/http/RequestExchange.h"

#include <stdexcept>
#include <utility>

#include "contract/common/Failure.h"
#include "contract/common/QueuedOutput.h"
#include "contract/common/Text.h"
#include "contract/http/HttpError.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/streams/OneShotPublisher.h"
#include "server/ClientWatch.h"
#include "server/HttpDate.h"
#include "server/RequestHead.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "server/ServerLog.h"
#include "server/http/HttpConnection.h"
#include "server/websocket/WebSocketUpgrade.h"

namespace connector::http {

namespace {

using common::DataBuffer;
using common::Level;
using reactive_streams::takeFrom;
using OneBuffer = reactive_streams::OneShotPublisher<DataBuffer>;

constexpr std::string_view kStarting = "starting";
/// From this wait on the log tells of a client that has closed the connection meanwhile.
constexpr std::chrono::milliseconds kLongWait{100};

} // namespace

RequestExchange::RequestExchange(PocoHttpServer& server, HttpConnection& connection)
    : server_(server), connection_(connection), head_(connection.head()), scope_(server),
      keepsAlive_(head_.keepsAlive())
{
    if (scope_.isStarting()) {
        answerStarting();
        return;
    }
    if (!scope_.isRunning()) { // the server stops
        phase_ = Phase::Unanswered;
        return;
    }
    guard([this] {
        request_ = makeRequest(head_, baseUrl(), connection_.isLocal(), server_.limits_.request);
    });
}

RequestExchange::~RequestExchange()
{
    if (phase_ == Phase::AwaitsReply || phase_ == Phase::AwaitsReplyBody) {
        abandon();
    }
}

/// Runs a step of the exchange; a failure becomes the answer.
template <typename Function>
void RequestExchange::guard(Function function) noexcept
{
    const PocoHttpServer::ServedThread mark(server_);
    try {
        try {
            function();
        } catch (const RequestRefusal& refusal) {
            logLimitOf(refusal);
            logRefusal(refusal.what());
            answerText(refusal.status(), refusal.what(), false);
        } catch (const common::MemoryBudgetExceeded& excess) { // by the body of an upstream
            logReached(serverLogLimits.shortages, excess.what());
            logRefusal(excess.what());
            answerText(503, excess.what(), keepsAlive_ && isReceived_);
        } catch (const HttpError& error) {
            logRefusal(error.what());
            answerText(error.status(), error.what(), keepsAlive_ && isReceived_,
                       [](ResponseHead& head) { head.addTextType(); });
        } catch (const std::exception& failure) {
            const auto text = common::textOf(failure);
            if (serverLogLimits.failures.admits(kServerLog, Level::Error)) {
                kServerLog.write(Level::Error, "Error in HTTP request handling: ", url(),
                                 " error: ", text);
            }
            fail("Error while processing HTTP request. " + text);
        } catch (...) {
            if (serverLogLimits.failures.admits(kServerLog, Level::Error)) {
                kServerLog.write(Level::Error, "Unknown error in HTTP request handling: ", url());
            }
            fail("Unknown error while processing HTTP request.");
        }
    } catch (...) {
        if (serverLogLimits.failures.admits(kServerLog, Level::Error)) {
            kServerLog.write(Level::Error, "Unknown top level error in HTTP request handling");
        }
        phase_ = Phase::Unanswered;
    }
}

void RequestExchange::dispatch(DataBuffer body) noexcept
{
    guard([&] { send(std::move(body)); });
}

void RequestExchange::send(DataBuffer body)
{
    isReceived_ = true;
    const auto bodySize = body.size();
    request_->body = makeBody(std::move(body));
    request_->stopToken = scope_.stopToken;
    if (kServerLog.enabled(Level::Trace)) {
        kServerLog.write(Level::Trace, "HTTP Request: " + describe() + " [" +
                                           std::to_string(bodySize) + " bytes]");
    }
    warnOfQtWebKit(*request_);
    const auto context = server_.getConnector()->createContext();
    sentAt_ = std::chrono::steady_clock::now();
    phase_ = Phase::AwaitsReply;
    reply_ = context->send(std::move(request_), std::move(scope_.address));
    if (reply_.isReady()) {
        takeReply(std::move(reply_));
    } else {
        replyBox_ = await(reply_);
    }
}

/// Has the connection woken once @p future is resolved. The future itself can still be cancelled.
template <typename T>
std::shared_ptr<RequestExchange::Mailbox<T>> RequestExchange::await(Future<T>& future)
{
    auto box = std::make_shared<Mailbox<T>>();
    static_cast<void>(future.then([box, handle = connection_.handle()](Future<T> resolved) {
        {
            const std::lock_guard lock(box->mutex);
            box->resolved = std::move(resolved);
        }
        handle.wake();
        return true;
    }));
    return box;
}

void RequestExchange::proceed() noexcept
{
    const auto take = [](auto& box) {
        const std::lock_guard lock(box->mutex);
        return std::exchange(box->resolved, std::nullopt);
    };
    guard([&] {
        if (phase_ == Phase::AwaitsReply && replyBox_ != nullptr) {
            if (auto reply = take(replyBox_)) {
                takeReply(std::move(*reply));
            }
        } else if (phase_ == Phase::AwaitsReplyBody && bodyBox_ != nullptr) {
            if (auto body = take(bodyBox_)) {
                answerWith(static_cast<HttpResponse&>(*message_), body->get());
            }
        }
    });
}

void RequestExchange::takeReply(Reply reply)
{
    message_ = reply.get();
    if (std::chrono::steady_clock::now() - sentAt_ > kLongWait &&
        kServerLog.enabled(Level::Warning) && clientHasClosed(connection_.descriptor()) &&
        serverLogLimits.earlyCloses.admits(kServerLog, Level::Warning)) {
        kServerLog.write(Level::Warning,
                         "The client closed the connection before its answer: ", describe());
    }
    if (auto* response = messageAs<HttpResponse>(message_)) {
        answer(*response);
    } else if (messageAs<WebSocket>(message_) != nullptr) {
        if (const auto refusal = checkUpgrade(head_)) {
            answerText(refusal->status, refusal->text, keepsAlive_, describeUpgrade);
        } else {
            phase_ = Phase::Upgraded;
        }
    } else {
        phase_ = Phase::Unanswered;
    }
}

void RequestExchange::answer(HttpResponse& reply)
{
    if (reply.body == nullptr) {
        answerWith(reply, {});
    } else if (auto body = requestBody(reply)) {
        answerWith(reply, std::move(*body));
    }
}

/// @return the body if it is there at once.
std::optional<OutgoingBody> RequestExchange::requestBody(HttpResponse& reply)
{
    // Most bodies are one buffer or one file, which are much cheaper to take than to subscribe to.
    if (auto body = takeFrom<OneBuffer>(*reply.body)) {
        return std::move(*body);
    }
    if (auto range = takeFrom<filesystem::FilePublisher>(*reply.body)) {
        return std::move(*range);
    }
    phase_ = Phase::AwaitsReplyBody;
    bodySubscriber_ = std::make_shared<BodySubscriber>(common::concatenate);
    reply.body->subscribe(bodySubscriber_);
    body_ = bodySubscriber_->getResult();
    if (body_.isReady()) {
        return body_.get();
    }
    bodyBox_ = await(body_);
    return std::nullopt;
}

void RequestExchange::answerWith(HttpResponse& reply, OutgoingBody body)
{
    auto head = makeHead(keepsAlive_);
    head.setStatus(reply.status);
    head.addReply(reply, body.size());
    if (kServerLog.enabled(Level::Trace)) {
        kServerLog.write(Level::Trace, "HTTP Response: " + describe() + " [" +
                                           std::to_string(body.size()) + " bytes] [" +
                                           std::to_string(reply.status) + "]");
    }
    finish(head, std::move(body));
}

void RequestExchange::finish(ResponseHead& head, OutgoingBody body)
{
    auto bodySize = body.size();
    if (isBodiless(head.status(), head_.method())) {
        bodySize = 0;
    } else if (bodySize < head.contentLength()) {
        // Otherwise the client would read its next answer as the rest of this one.
        head.setKeepAlive(false);
    } else {
        bodySize = head.contentLength();
    }
    if (head.status() < 200) {
        head.setKeepAlive(false); // an interim status, and nothing that follows it
    }
    status_ = head.status();
    keepsAlive_ = head.keepAlive();
    answer_ = {head.format(), std::move(body), bodySize};
    phase_ = Phase::Answered;
}

void RequestExchange::refuse(const RequestRefusal& refusal) noexcept
{
    guard([&] { throw refusal; });
}

void RequestExchange::fail(const std::string& text)
{
    // What was not received of the request would be taken for the next one.
    answerText(500, text, keepsAlive_ && isReceived_);
}

void RequestExchange::abandon() noexcept
{
    const auto phase = std::exchange(phase_, Phase::Unanswered);
    guard([&] {
        if (phase == Phase::AwaitsReply) {
            reply_.cancel();
        } else if (phase == Phase::AwaitsReplyBody) {
            const auto status = static_cast<const HttpResponse&>(*message_).status;
            logSocketError(status);
            bodySubscriber_->cancel();
        }
    });
    phase_ = Phase::Unanswered;
}

void RequestExchange::sendingFailed() noexcept
{
    guard([&] { logSocketError(status_); });
}

void RequestExchange::fileTruncated() noexcept
{
    guard([&] {
        if (serverLogLimits.truncatedFiles.admits(kServerLog, Level::Warning)) {
            kServerLog.write(Level::Warning,
                             "The file became shorter while it was sent: ", describe());
        }
    });
}

void RequestExchange::logRefusal(const char* reason) const
{
    if (serverLogLimits.refusals.admits(kServerLog, Level::Info)) {
        kServerLog.write(Level::Info, "HTTP Request refused: ", url(), " error: ", reason);
    }
}

void RequestExchange::logSocketError(unsigned status) const
{
    if (serverLogLimits.socketErrors.admits(kServerLog, Level::Info)) {
        kServerLog.write(Level::Info, "Socket error: ", describe(), " [", std::to_string(status),
                         "]");
    }
}

void RequestExchange::answerText(unsigned short status, const std::string& text, bool keepAlive,
                                 void (*addFields)(ResponseHead&))
{
    auto head = makeHead(keepAlive);
    head.setStatus(status);
    if (addFields != nullptr) {
        addFields(head);
    }
    head.addContentLength(text.size());
    finish(head, DataBuffer(text));
}

void RequestExchange::answerStarting()
{
    auto head = makeHead(keepsAlive_ && !head_.framing().hasBody()); // a body stays unread
    head.addContentLength(kStarting.size());
    finish(head, DataBuffer(kStarting));
}

ResponseHead RequestExchange::makeHead(bool keepAlive) const
{
    return {head_.isHttp10(), keepAlive, currentHttpDate()};
}

std::string RequestExchange::baseUrl() const
{
    auto protocol = server_.getProtocol();
    if (const auto host = head_.find("host")) {
        protocol.reserve(protocol.size() + host->size() + 4);
        protocol.append("://").append(*host).append("/");
        return protocol;
    }
    // The port of this connection: the server's own getter waits for a stop to end.
    return protocol + "://" + server_.getDnsName() + ":" +
           std::to_string(connection_.localAddress().port()) + "/";
}

void RequestExchange::warnOfQtWebKit(const HttpRequest& message) const
{
    if (message.method != "get" || server_.getProtocol() != "https") {
        return;
    }
    const auto userAgent = head_.get("user-agent");
    if (userAgent.find("Qt/5.3.0 Safari/538.1") == std::string_view::npos) {
        return;
    }
    if (const auto suppressed = serverLogLimits.qtWebKit.admit()) {
        if (*suppressed > 0) {
            kServerLog.write(Level::Warning,
                             "Suppressed lines about QtWebKit: ", std::to_string(*suppressed));
        }
        common::QueuedOutput::standardOutput().post(
            common::escapeControls(
                "Unsupported SSL connection from QtWebKit (see g1421641) detected for path: " +
                message.path + ", user agent was: " + std::string(userAgent)) +
            "\n");
    }
}

std::string RequestExchange::url() const
{
    return server_.getProtocol().append("://").append(head_.get("host")).append(head_.target());
}

std::string RequestExchange::describe() const
{
    const auto target = parseTarget(head_.target());
    return common::toLowerAscii(std::string(head_.method())) + " " + baseUrl() + " " +
           normalisePath(target.path) + "?" + target.query;
}

} // namespace connector::http
