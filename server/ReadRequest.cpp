#include "server/ReadRequest.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>
#include <algorithm>
#include <climits>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "contract/http/MakeHttpResponse.h"
#include "server/ConnectionSocketImpl.h"
#include "server/RequestBody.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// A connection as the source of a request body. Past the request's own stream, which takes a
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
        return readBody(source, connection.framing());
    } catch (const Poco::TimeoutException&) {
        throw RequestRefusal(408, "The request body did not arrive in time.");
    }
}

/// The parser decodes encoded words (RFC 2047), which can plant a line end in a value.
void requireCleanValues(const Poco::Net::HTTPRequest& request)
{
    for (const auto& [name, value] : request) {
        if (!isFieldValue(value)) {
            throw RequestRefusal(400, "Malformed header field.");
        }
    }
}

} // namespace

std::unique_ptr<HttpRequest> readRequest(Poco::Net::HTTPServerRequestImpl& request,
                                         std::string baseUrl, std::size_t& bodySize)
{
    requireCleanValues(request);
    auto body = readRequestBody(ConnectionSocketImpl::of(request.socket()));
    bodySize = body.size();
    const Poco::URI uri(request.getURI());
    return std::make_unique<HttpRequest>(
        std::move(baseUrl), normalisePath(uri.getPath()), uri.getQuery(),
        common::toLowerAscii(request.getMethod()), collectHeaders(request), collectCookies(request),
        parseParameters(uri.getRawQuery()), isLocalAddress(request.clientAddress().host()),
        makeBody(std::move(body)));
}

} // namespace connector::http
