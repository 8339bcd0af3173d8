#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "contract/http/HttpRequest.h"
#include "contract/http/HttpResponse.h"
#include "contract/http/WebSocket.h"
#include "contract/messaging/Future.h"
#include "contract/streams/DataBuffer.h"
#include "server/PocoHttpServer.h"
#include "server/ResponseHead.h"

namespace connector::http {

class ConnectionSocketImpl;
class RequestHead;
class ServedRequest;

/// One request on its way through the message pipeline and back: made, run once and dropped on the
/// thread that serves the connection.
class RequestExchange
{
public:
    RequestExchange(PocoHttpServer& server, PocoHttpServer::RequestScope& scope,
                    ServedRequest& request);

    /// Answers the request, or leaves it unanswered when the server stops or the client is gone.
    /// Blocks until then. Every failure ends in an answer or a closed connection; none leaves.
    ///
    /// | failure                                     | answer                          | then   |
    /// |---------------------------------------------|---------------------------------|--------|
    /// | the request is refused (RequestRefusal)     | its status and text             | closed |
    /// | an exception, here or in the pipeline       | 500 and the exception's text    | kept   |
    /// | any other exception                         | 500 and a fixed text            | kept   |
    /// | the server stops, the client is gone        | none                            | closed |
    /// | sending fails, also of the answers above    | none, the line "Socket error: " | closed |
    void run();

private:
    void exchange();
    /// @return nothing when the client has gone.
    std::unique_ptr<HttpRequest> readMessage();
    std::string baseUrl() const;
    void warnOfQtWebKit(const HttpRequest& message) const;
    std::unique_ptr<Message> awaitReply(Future<std::unique_ptr<Message>>&& reply);
    void warnOfClosedClient() const;
    void answer(HttpResponse& reply);
    std::optional<common::DataBuffer> awaitBody(HttpResponse& reply);
    /// @return whether the answer went out.
    bool send(ResponseHead& head, std::string_view body);
    bool sendAll(unsigned short status, std::string_view head, std::string_view body);
    void logSocketError(unsigned short status) const;
    void upgrade(const WebSocket& reply);
    void leaveUnanswered();
    void answerRefusal(unsigned short status, const std::string& text);
    void answerFailure(const std::string& text);
    void answerText(unsigned short status, const std::string& text, bool keepAlive,
                    void (*addFields)(ResponseHead&) = nullptr);
    ResponseHead makeHead(bool keepAlive) const;
    std::string url() const;
    std::string describe() const;

    PocoHttpServer& server_;
    PocoHttpServer::RequestScope& scope_;
    ServedRequest& request_;
    ConnectionSocketImpl& connection_;
    const RequestHead& head_;
    bool read_ = false;    ///< The request was read to its end.
    bool sending_ = false; ///< Bytes of an answer may have left.
};

} // namespace connector::http
