#include "server/SendAnswer.h"

#include <Poco/Net/NetException.h>
#include <algorithm>
#include <climits>

#include "server/ConnectionSocketImpl.h"

namespace connector::http {

namespace {

/// What fits one record of an encrypted connection beside its head.
constexpr std::size_t kJoinedBody = 12 * 1024;

void sendWhole(Poco::Net::StreamSocket& socket, std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto length = static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX));
        const auto sent = socket.sendBytes(bytes.data(), length);
        if (sent <= 0) {
            throw Poco::Net::NetException("The connection takes no more data");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

} // namespace

void sendAnswer(Poco::Net::StreamSocket& socket, std::string head, std::string_view body)
{
    if (auto* connection = dynamic_cast<ConnectionSocketImpl*>(socket.impl())) {
        connection->sendAll(head, body);
        return;
    }
    if (body.size() <= kJoinedBody) {
        head.append(body);
        body = {};
    }
    sendWhole(socket, head);
    sendWhole(socket, body);
}

} // namespace connector::http
