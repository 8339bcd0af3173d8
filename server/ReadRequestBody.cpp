#include "server/ReadRequestBody.h"

#include <Poco/Exception.h>
#include <climits>

#include "server/ConnectionSocketImpl.h"
#include "server/RequestBody.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// @return how many bytes arrived; 0 at the end of the input.
std::size_t receiveSome(ConnectionSocketImpl& connection, RequestBody& body)
{
    if (body.dataLeft() < ConnectionSocketImpl::kReceiveSize) {
        const auto input = connection.awaitInput();
        connection.consume(body.take(input));
        return input.size();
    }
    const auto room = body.prepare();
    const auto wanted = static_cast<int>(std::min<std::size_t>(room.size(), INT_MAX));
    const auto received = static_cast<std::size_t>(connection.receiveBytes(room.data(), wanted, 0));
    body.commit(received);
    return received;
}

} // namespace

common::DataBuffer readRequestBody(ConnectionSocketImpl& connection)
{
    RequestBody body(connection.head().framing());
    try {
        while (!body.isComplete()) {
            if (receiveSome(connection, body) == 0) {
                throw RequestRefusal(400, "The request body is truncated.");
            }
        }
    } catch (const Poco::TimeoutException&) {
        throw RequestRefusal(408, "The request body did not arrive in time.");
    }
    return body.release();
}

} // namespace connector::http
