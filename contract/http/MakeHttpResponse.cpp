#include "contract/http/MakeHttpResponse.h"

#include <utility>

#include "contract/http/HttpResponse.h"
#include "contract/streams/OneShotPublisher.h"

namespace connector::http {

std::unique_ptr<Message> makeHttpResponse(unsigned short status, const std::string& text)
{
    return std::make_unique<HttpResponse>(status, makeBody(common::DataBuffer(text)));
}

std::unique_ptr<Message> makeHttpResponse(unsigned short status, const std::string& text,
                                          StringMultimap headers)
{
    return std::make_unique<HttpResponse>(status, std::move(headers), StringMultimap(),
                                          makeBody(common::DataBuffer(text)));
}

Reply makeReadyHttpResponse(unsigned short status, const std::string& text)
{
    return makeReadyFuture(makeHttpResponse(status, text));
}

Reply makeReadyHttpResponse(unsigned short status, const std::string& text, StringMultimap headers)
{
    return makeReadyFuture(makeHttpResponse(status, text, std::move(headers)));
}

std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>>
makeBody(common::DataBuffer buffer)
{
    return std::make_shared<reactive_streams::OneShotPublisher<common::DataBuffer>>(
        std::move(buffer));
}

} // namespace connector::http
