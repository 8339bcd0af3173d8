#include "contract/http/MakeHttpResponse.h"

#include <utility>

#include "contract/http/HttpResponse.h"
#include "contract/streams/OneShotPublisher.h"

namespace connector::http {

std::unique_ptr<Message> makeHttpResponse(unsigned short status, const std::string& text)
{
    return std::make_unique<HttpResponse>(status, makeBody(common::DataBuffer(text)));
}

Future<std::unique_ptr<Message>> makeReadyHttpResponse(unsigned short status,
                                                       const std::string& text)
{
    return makeReadyFuture(makeHttpResponse(status, text));
}

std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>>
makeBody(common::DataBuffer buffer)
{
    return std::make_shared<reactive_streams::OneShotPublisher<common::DataBuffer>>(
        std::move(buffer));
}

} // namespace connector::http
