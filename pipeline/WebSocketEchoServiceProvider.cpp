#include "pipeline/WebSocketEchoServiceProvider.h"

#include "contract/http/WebSocket.h"
#include "contract/streams/TransformProcessor.h"

namespace connector::http {

Future<std::unique_ptr<Message>>
WebSocketEchoServiceProvider::doGet(std::unique_ptr<HttpRequest>&& /*request*/,
                                    Address&& /*address*/, std::shared_ptr<Context>&& /*context*/)
{
    using Echo = reactive_streams::TransformProcessor<WebSocketFrame, WebSocketFrame>;
    const auto echo =
        std::make_shared<Echo>([](WebSocketFrame&& frame) { return std::move(frame); });
    return makeReadyFuture<std::unique_ptr<Message>>(std::make_unique<WebSocket>(echo, echo));
}

std::string WebSocketEchoServiceProvider::allowedMethods() const
{
    return "GET";
}

} // namespace connector::http
