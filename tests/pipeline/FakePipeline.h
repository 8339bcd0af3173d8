#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "contract/http/MakeHttpResponse.h"
#include "tests/support/HttpMessages.h"

namespace connector::http {

inline std::unique_ptr<HttpRequest> makeRequest(std::string path, bool local = false)
{
    auto request = test::makeHttpRequest(std::move(path));
    request->local = local;
    return request;
}

/// What follows: keeps the requests that are sent to it and gives its replies in turn, then 200.
template <typename Request>
class FakeContext final : public Context
{
public:
    Future<std::unique_ptr<Message>> send(std::unique_ptr<Message>&& message,
                                          Address&& address) override
    {
        requests.emplace_back(dynamic_cast<Request*>(message.release()));
        addresses.push_back(address.toString());
        replies.push_back(makeReadyHttpResponse(200, "ok"));
        auto reply = std::move(replies.front());
        replies.pop_front();
        return reply;
    }

    std::vector<std::unique_ptr<Request>> requests;
    std::vector<std::string> addresses;
    std::deque<Future<std::unique_ptr<Message>>> replies;
};

using FakePipeline = FakeContext<HttpRequest>;

/// A copy of the reply but for its body; the reply must be an HttpResponse.
inline HttpResponse responseOf(Future<std::unique_ptr<Message>>&& reply)
{
    const auto message = reply.get();
    auto& response = dynamic_cast<HttpResponse&>(*message);
    return HttpResponse(response.status, std::move(response.headers), std::move(response.cookies),
                        nullptr);
}

} // namespace connector::http
