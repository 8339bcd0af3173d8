#include "server/RequestExchange.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Timestamp.h>
#include <Poco/URI.h>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/WebSocket.h"
#include "contract/streams/ReducingSubscriber.h"
#include "server/ClientWatch.h"
#include "server/ConnectionSocketImpl.h"
#include "server/ReadRequest.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "server/ResponseHead.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"
#include "server/websocket/OpenWebSockets.h"
#include "server/websocket/WebSocketUpgrade.h"

namespace connector::http {

namespace {

using common::DataBuffer;
using common::Level;
using Poco::Net::HTTPMessage;
using Poco::Net::HTTPResponse;

std::string textOf(const std::exception& failure)
{
    const auto* ofLibrary = dynamic_cast<const Poco::Exception*>(&failure);
    return ofLibrary != nullptr ? ofLibrary->displayText() : failure.what();
}

void setStatus(Poco::Net::HTTPServerResponse& response, unsigned short status)
{
    if (status < 100 || status > 999) {
        throw std::out_of_range("The response status is out of range.");
    }
    const auto code = static_cast<HTTPResponse::HTTPStatus>(status);
    response.setStatusAndReason(code, HTTPResponse::getReasonForStatus(code));
}

} // namespace

RequestExchange::RequestExchange(PocoHttpServer& server, Poco::Net::HTTPServerRequestImpl& request,
                                 Poco::Net::HTTPServerResponse& response)
    : server_(server), request_(request), response_(response),
      mayKeepAlive_(response.getKeepAlive())
{
    // The library echoes whatever version the client named (RFC 9110 section 2.5).
    if (request.getVersion() != HTTPMessage::HTTP_1_0) {
        response.setVersion(HTTPMessage::HTTP_1_1);
    }
}

void RequestExchange::run()
{
    try {
        try {
            exchange();
        } catch (const RequestRefusal& refusal) {
            answerRefusal(refusal.status(), refusal.what());
        } catch (const std::exception& failure) {
            const auto text = textOf(failure);
            if (kServerLog.enabled(Level::Error)) {
                kServerLog.write(Level::Error,
                                 "Error in HTTP request handling: " + url() + " error: " + text);
            }
            answerFailure("Error while processing HTTP request. " + text);
        } catch (...) {
            if (kServerLog.enabled(Level::Error)) {
                kServerLog.write(Level::Error, "Unknown error in HTTP request handling: " + url());
            }
            answerFailure("Unknown error while processing HTTP request.");
        }
    } catch (...) {
        kServerLog.write(Level::Error, "Unknown top level error in HTTP request handling");
        leaveUnanswered();
    }
}

void RequestExchange::exchange()
{
    auto message = readMessage();
    warnOfQtWebKit(*message);
    const auto context = server_.getConnector()->createContext();
    const auto reply = awaitReply(context->send(std::move(message), server_.getAddress()));
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
    std::size_t bodySize = 0;
    auto message = readRequest(request_, baseUrl(), bodySize);
    read_ = true;
    message->stopToken = server_.getStopToken();
    if (kServerLog.enabled(Level::Trace)) {
        kServerLog.write(Level::Trace, "HTTP Request: " + describe() + " [" +
                                           std::to_string(bodySize) + " bytes]");
    }
    return message;
}

std::string RequestExchange::baseUrl() const
{
    const auto protocol = server_.getProtocol();
    if (request_.has(Poco::Net::HTTPRequest::HOST)) {
        return protocol + "://" + request_.getHost() + "/";
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
    const auto userAgent = request_.get("User-Agent", "");
    if (userAgent.find("Qt/5.3.0 Safari/538.1") != std::string::npos) {
        std::cout << "Unsupported SSL connection from QtWebKit (see g1421641) detected for path: "
                  << message.path << ", user agent was: " << userAgent << std::flush;
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

void RequestExchange::answer(HttpResponse& reply)
{
    setStatus(response_, reply.status);
    DataBuffer body;
    if (reply.body != nullptr) {
        auto received = awaitBody(reply);
        if (!received.has_value()) {
            leaveUnanswered();
            return;
        }
        body = std::move(*received);
    }
    fillResponse(reply, body.size(), response_);
    send(body.view());
    if (kServerLog.enabled(Level::Trace)) {
        kServerLog.write(Level::Trace, "HTTP Response: " + describe() + " [" +
                                           std::to_string(body.size()) + " bytes] [" +
                                           std::to_string(reply.status) + "]");
    }
}

std::optional<DataBuffer> RequestExchange::awaitBody(HttpResponse& reply)
{
    using BodySubscriber = reactive_streams::ReducingSubscriber<DataBuffer, DataBuffer>;
    const auto subscriber = std::make_shared<BodySubscriber>(common::concatenate);
    auto body = subscriber->getResult();
    reply.body->subscribe(subscriber);
    while (!body.waitFor(kBodyStep)) {
        if (clientIsGone(request_.socket().impl()->sockfd(), request_.secure()) ||
            !server_.isStarted()) {
            if (kServerLog.enabled(Level::Warning)) {
                kServerLog.write(Level::Warning, "Socket error: " + describe() + " [" +
                                                     std::to_string(reply.status) + "]");
            }
            subscriber->cancel();
            return std::nullopt;
        }
    }
    return body.get();
}

void RequestExchange::send(std::string_view body)
{
    const auto status = static_cast<int>(response_.getStatus());
    if (isBodiless(status, request_.getMethod())) {
        body = {};
    } else {
        const auto announced = static_cast<std::size_t>(response_.getContentLength64());
        if (body.size() < announced) {
            // Else the client would read its next answer as the rest of this one.
            response_.setKeepAlive(false);
        }
        body = body.substr(0, announced);
    }
    if (status < 200) {
        response_.setKeepAlive(false); // an interim status, and nothing that follows it
    }
    sending_ = true;
    ConnectionSocketImpl::of(request_.socket()).sendAll(formatHead(response_), body);
}

void RequestExchange::upgrade(const WebSocket& reply)
{
    if (const auto refusal = checkUpgrade(request_)) {
        answerText(refusal->status, refusal->text, mayKeepAlive_, describeUpgrade);
        return;
    }
    const websocket::OpenWebSockets::Scope open(server_.openWebSockets_);
    runWebSocket(
        request_, response_, reply, [this] { return server_.isStarted(); }, server_.getStopToken());
    response_.setKeepAlive(false);
}

void RequestExchange::leaveUnanswered()
{
    response_.setKeepAlive(false);
}

void RequestExchange::answerRefusal(unsigned short status, const std::string& text)
{
    if (kServerLog.enabled(Level::Info)) {
        kServerLog.write(Level::Info, "HTTP Request refused: " + url() + " error: " + text);
    }
    answerText(status, text, false);
}

void RequestExchange::answerFailure(const std::string& text)
{
    // What was not read of the request would be taken for the next one.
    answerText(500, text, mayKeepAlive_ && read_);
}

void RequestExchange::answerText(unsigned short status, const std::string& text, bool keepAlive,
                                 void (*addHeaders)(Poco::Net::HTTPServerResponse&))
{
    // An answer that broke off can't be mended, and a server that stops has reset the connection.
    if (sending_ || !server_.isStarted()) {
        leaveUnanswered();
        return;
    }
    resetResponse(keepAlive);
    setStatus(response_, status);
    if (addHeaders != nullptr) {
        addHeaders(response_);
    }
    response_.setContentLength64(static_cast<Poco::Int64>(text.size()));
    send(text);
}

void RequestExchange::resetResponse(bool keepAlive)
{
    response_.clear();
    response_.setDate(Poco::Timestamp());
    response_.setKeepAlive(keepAlive);
    response_.set("Server", request_.serverParams().getSoftwareVersion());
}

std::string RequestExchange::url() const
{
    return server_.getProtocol() + "://" + request_.get(Poco::Net::HTTPRequest::HOST, "") +
           request_.getURI();
}

std::string RequestExchange::describe() const
{
    const Poco::URI uri(request_.getURI());
    return common::toLowerAscii(request_.getMethod()) + " " + baseUrl() + " " +
           normalisePath(uri.getPath()) + "?" + uri.getQuery();
}

} // namespace connector::http
