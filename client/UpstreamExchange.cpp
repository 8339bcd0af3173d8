#include "client/UpstreamExchange.h"

namespace connector::http {

namespace {

/// Up to here a body is worth a copy, to leave in one piece with its head.
constexpr std::size_t kSmallBody = std::size_t{8} << 10U;

} // namespace

UpstreamExchange::UpstreamExchange(const UpstreamUrl& url, const std::string& head,
                                   std::string_view body, const std::stop_token& stopToken)
    : connection_(url, stopToken),
      reader_([this](char* into, std::size_t count) { return connection_.receive(into, count); })
{
    if (!body.empty() && body.size() <= kSmallBody) {
        joined_.append(head).append(body);
        connection_.send(joined_, {});
    } else {
        connection_.send(head, body);
    }
    head_ = reader_.readHead();
}

} // namespace connector::http
