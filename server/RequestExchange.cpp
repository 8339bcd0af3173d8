#include "server/RequestExchange.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "contract/common/QueuedOutput.h"
#include "contract/common/Text.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/http/WebSocket.h"
#include "contract/streams/OneShotPublisher.h"
#include "contract/streams/ReducingSubscriber.h"
#include "server/ClientWatch.h"
#include "server/ConnectionSocketImpl.h"
#include "server/HttpDate.h"
#include "server/ReadRequestBody.h"
#include "server/RequestHead.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "server/ServedRequest.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"
#include "server/websocket/OpenWebSockets.h"
#include "server/websocket/PocoWebSocket.h"
#include "server/websocket/WebSocketUpgrade.h"

namespace connector::http {

namespace {

using common::DataBuffer;
using common::Level;
using OneBuffer = reactive_streams::OneShotPublisher<DataBuffer>;

std::string textOf(const std::exception& failure)
{
    const auto* ofLibrary = dynamic_cast<const Poco::Exception*>(&failure);
    return ofLibrary != nullptr ? ofLibrary->displayText() : failure.what();
}

} // namespace

RequestExchange::RequestExchange(PocoHttpServer& server, PocoHttpServer::RequestScope& scope,
                                 ServedRequest& request)
    : server_(server), scope_(scope), request_(request), connection_(request.connection()),
      head_(connection_.head())
{}

void RequestExchange::run()
{
    try {
        try {
            exchange();
        } catch (const RequestRefusal& refusal) {
            answerRefusal(refusal.status(), refusal.what());
        } catch (const std::exception& failure) {
            const auto text = textOf(failure);
            if (serverLogLimits.failures.admits(kServerLog, Level::Error)) {
                kServerLog.write(Level::Error,
                                 "Error in HTTP request handling: " + url() + " error: " + text);
            }
            answerFailure("Error while processing HTTP request. " + text);
        } catch (...) {
            if (serverLogLimits.failures.admits(kServerLog, Level::Error)) {
                kServerLog.write(Level::Error, "Unknown error in HTTP request handling: " + url());
            }
            answerFailure("Unknown error while processing HTTP request.");
        }
    } catch (...) {
        if (serverLogLimits.failures.admits(kServerLog, Level::Error)) {
            kServerLog.write(Level::Error, "Unknown top level error in HTTP request handling");
        }
        leaveUnanswered();
    }
}

void RequestExchange::exchange()
{
    auto message = readMessage();
    if (message == nullptr) {
        return;
    }
    warnOfQtWebKit(*message);
    const auto context = server_.getConnector()->createContext();
    const auto begin = std::chrono::steady_clock::now();
    const auto reply = awaitReply(context->send(std::move(message), std::move(scope_.address)));
    if (std::chrono::steady_clock::now() - begin > kReplyStep) {
        warnOfClosedClient();
    }
    if (auto* response = messageAs<HttpResponse>(reply)) {
        answer(*response);
    } else if (const auto* webSocket = messageAs<WebSocket>(reply)) {
        upgrade(*webSocket);
    } else {
        leaveUnanswered();
    }
}

std::unique_ptr<HttpRequest> RequestExchange::readMessage()
{
    auto message = makeRequest(head_, baseUrl(), connection_.isLocal());
    constexpr unsigned short kContinue = 100;
    if (head_.awaitsContinue() && !sendAll(kContinue, "HTTP/1.1 100 Continue\r\n\r\n", {})) {
        return nullptr;
    }
    auto body = readRequestBody(connection_);
    read_ = true;
    if (kServerLog.enabled(Level::Trace)) {
        kServerLog.write(Level::Trace, "HTTP Request: " + describe() + " [" +
                                           std::to_string(body.size()) + " bytes]");
    }
    message->body = makeBody(std::move(body));
    message->stopToken = scope_.stopToken;
    return message;
}

std::string RequestExchange::baseUrl() const
{
    auto protocol = server_.getProtocol();
    if (const auto host = head_.find("host")) {
        protocol.reserve(protocol.size() + host->size() + 4);
        protocol.append("://").append(*host).append("/");
        return protocol;
    }
    // The port of this very connection: the server's own getter waits for a stop to end.
    return protocol + "://" + server_.getDnsName() + ":" +
           std::to_string(request_.serverAddress().port()) + "/";
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

std::unique_ptr<Message> RequestExchange::awaitReply(Future<std::unique_ptr<Message>>&& reply)
{
    while (!reply.waitFor(kReplyStep)) {
        if (!server_.isStarted()) {
            reply.cancel();
            return nullptr;
        }
    }
    return reply.get();
}

void RequestExchange::warnOfClosedClient() const
{
    if (kServerLog.enabled(Level::Warning) && server_.isStarted() &&
        clientHasClosed(connection_.sockfd()) &&
        serverLogLimits.earlyCloses.admits(kServerLog, Level::Warning)) {
        kServerLog.write(Level::Warning,
                         "The client closed the connection before its answer: " + describe());
    }
}

void RequestExchange::answer(HttpResponse& reply)
{
    auto head = makeHead(request_.keepsAlive());
    head.setStatus(reply.status);
    DataBuffer body;
    if (reply.body != nullptr) {
        auto received = awaitBody(reply);
        if (!received.has_value()) {
            leaveUnanswered();
            return;
        }
        body = std::move(*received);
    }
    head.addReply(reply, body.size());
    if (send(head, body.view()) && kServerLog.enabled(Level::Trace)) {
        kServerLog.write(Level::Trace, "HTTP Response: " + describe() + " [" +
                                           std::to_string(body.size()) + " bytes] [" +
                                           std::to_string(reply.status) + "]");
    }
}

std::optional<DataBuffer> RequestExchange::awaitBody(HttpResponse& reply)
{
    // Most bodies are one buffer: to take it is less than half the work of a subscription.
    if (auto* const whole = dynamic_cast<OneBuffer*>(reply.body.get())) {
        if (auto body = whole->take()) {
            return body;
        }
    }
    using BodySubscriber = reactive_streams::ReducingSubscriber<DataBuffer, DataBuffer>;
    const auto subscriber = std::make_shared<BodySubscriber>(common::concatenate);
    reply.body->subscribe(subscriber);
    auto body = subscriber->getResult(); // after it, since most bodies are there at once
    while (!body.waitFor(kBodyStep)) {
        if (clientIsGone(connection_.sockfd(), connection_.secure()) || !server_.isStarted()) {
            logSocketError(reply.status);
            subscriber->cancel();
            return std::nullopt;
        }
    }
    return body.get();
}

bool RequestExchange::send(ResponseHead& head, std::string_view body)
{
    if (isBodiless(head.status(), head_.method())) {
        body = {};
    } else {
        if (body.size() < head.contentLength()) {
            // Else the client would read its next answer as the rest of this one.
            head.setKeepAlive(false);
        }
        body = body.substr(0, head.contentLength());
    }
    if (head.status() < 200) {
        head.setKeepAlive(false); // an interim status, and nothing that follows it
    }
    if (!head.keepAlive()) {
        request_.endConnection();
    }
    const auto text = head.format();
    sending_ = true;
    return sendAll(head.status(), text, body);
}

bool RequestExchange::sendAll(unsigned short status, std::string_view head, std::string_view body)
{
    try {
        connection_.sendAll(head, body);
        return true;
    } catch (const Poco::Exception&) { // the client has gone, or takes nothing
        logSocketError(status);
        leaveUnanswered();
        return false;
    }
}

void RequestExchange::logSocketError(unsigned short status) const
{
    if (serverLogLimits.socketErrors.admits(kServerLog, Level::Info)) {
        kServerLog.write(Level::Info,
                         "Socket error: " + describe() + " [" + std::to_string(status) + "]");
    }
}

void RequestExchange::upgrade(const WebSocket& reply)
{
    if (const auto refusal = checkUpgrade(head_)) {
        answerText(refusal->status, refusal->text, request_.keepsAlive(), describeUpgrade);
        return;
    }
    request_.endConnection(); // what follows the request is no request
    auto& open = server_.openWebSockets_;
    const websocket::OpenWebSockets::Scope counted(open);
    const auto bridge = makeWebSocket(request_, open);
    sending_ = true; // nothing answers as HTTP from here on
    connection_.sendAll(makeUpgradeHead(head_).format(), "");
    runWebSocket(
        *bridge, reply, [this] { return server_.isStarted(); }, scope_.stopToken);
}

void RequestExchange::leaveUnanswered()
{
    request_.endConnection();
}

void RequestExchange::answerRefusal(unsigned short status, const std::string& text)
{
    if (serverLogLimits.refusals.admits(kServerLog, Level::Info)) {
        kServerLog.write(Level::Info, "HTTP Request refused: " + url() + " error: " + text);
    }
    answerText(status, text, false);
}

void RequestExchange::answerFailure(const std::string& text)
{
    // What was not read of the request would be taken for the next one.
    answerText(500, text, request_.keepsAlive() && read_);
}

void RequestExchange::answerText(unsigned short status, const std::string& text, bool keepAlive,
                                 void (*addFields)(ResponseHead&))
{
    // An answer that broke off can't be mended, and a server that stops has reset the connection.
    if (sending_ || !server_.isStarted()) {
        leaveUnanswered();
        return;
    }
    auto head = makeHead(keepAlive);
    head.setStatus(status);
    if (addFields != nullptr) {
        addFields(head);
    }
    head.addContentLength(text.size());
    send(head, text);
}

ResponseHead RequestExchange::makeHead(bool keepAlive) const
{
    return {head_.isHttp10(), keepAlive, currentHttpDate()};
}

std::string RequestExchange::url() const
{
    return server_.getProtocol().append("://").append(head_.get("host")).append(head_.target());
}

std::string RequestExchange::describe() const
{
    const auto request = common::toLowerAscii(std::string(head_.method())) + " " + baseUrl() + " ";
    try {
        const auto target = parseTarget(head_.target());
        return request + normalisePath(target.path) + "?" + target.query;
    } catch (const Poco::URISyntaxException&) {
        return request + std::string(head_.target());
    }
}

} // namespace connector::http
