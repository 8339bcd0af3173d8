#include "client/UpstreamExchange.h"

namespace connector::http::client {

namespace {

/// Up to here a body is worth a copy, to leave in one piece with its head.
constexpr std::size_t kSmallBody = std::size_t{8} << 10U;

constexpr std::uint16_t kFirstErrorStatus = 400;

} // namespace

UpstreamExchange::UpstreamExchange(const UpstreamUrl& url, const std::string& head,
                                   std::string_view body, const ClientLimits& limits,
                                   const std::stop_token& stopToken, ResponseReader::Buffer& buffer)
    : connection_(url, limits, stopToken),
      reader_([this](char* into, std::size_t count) { return connection_.receive(into, count); },
              buffer, limits)
{
    if (!body.empty() && body.size() <= kSmallBody) {
        joined_.append(head).append(body);
        connection_.send(joined_, {});
    } else {
        connection_.send(head, body);
    }
    head_ = reader_.readHead();
    if (head_.status >= kFirstErrorStatus && !body.empty()) {
        connection_.takeResetAsEnd();
    }
}

} // namespace connector::http::client
