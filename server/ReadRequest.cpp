#include "server/ReadRequest.h"

#include <Poco/Exception.h>
#include <algorithm>
#include <climits>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/MakeHttpResponse.h"
#include "server/ConnectionSocketImpl.h"
#include "server/RequestBody.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// A connection as the source of a request body. Past the library's own stream, which takes a
/// truncated body for a whole one and stumbles over trailers.
class ConnectionSource final : public ByteSource
{
public:
    explicit ConnectionSource(ConnectionSocketImpl& connection) : connection_(connection) {}

    int get() override
    {
        unsigned char byte = 0;
        return connection_.receiveBytes(&byte, 1, 0) == 1 ? byte : -1;
    }

    std::size_t read(char* buffer, std::size_t length) override
    {
        const auto wanted = static_cast<int>(std::min<std::size_t>(length, INT_MAX));
        return static_cast<std::size_t>(connection_.receiveBytes(buffer, wanted, 0));
    }

private:
    ConnectionSocketImpl& connection_;
};

common::DataBuffer readRequestBody(ConnectionSocketImpl& connection)
{
    ConnectionSource source(connection);
    try {
        return readBody(source, connection.head().framing());
    } catch (const Poco::TimeoutException&) {
        throw RequestRefusal(408, "The request body did not arrive in time.");
    }
}

} // namespace

std::unique_ptr<HttpRequest> readRequest(ConnectionSocketImpl& connection, std::string baseUrl,
                                         std::size_t& bodySize)
{
    const auto& head = connection.head();
    auto body = readRequestBody(connection);
    bodySize = body.size();
    auto target = parseTarget(head.target());
    return std::make_unique<HttpRequest>(
        std::move(baseUrl), normalisePath(std::move(target.path)), std::move(target.query),
        common::toLowerAscii(std::string(head.method())), collectHeaders(head),
        collectCookies(head), parseParameters(target.rawQuery), connection.isLocal(),
        makeBody(std::move(body)));
}

} // namespace connector::http
