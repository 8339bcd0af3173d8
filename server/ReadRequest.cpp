#include "server/ReadRequest.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/URI.h>
#include <algorithm>
#include <climits>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/MakeHttpResponse.h"
#include "server/RequestBody.h"
#include "server/RequestFraming.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// Opens the session's protected way to its buffered input: a pointer to a base's member, named
/// through a derived class, fits every session.
struct SessionAccess : Poco::Net::HTTPSession
{
    static constexpr auto kGet = &SessionAccess::get;
    static constexpr auto kRead = &SessionAccess::read;
};

/// The session of a connection as the source of a request body. Past the request's own stream,
/// which takes a truncated body for a whole one and stumbles over trailers.
class SessionSource final : public ByteSource
{
public:
    explicit SessionSource(Poco::Net::HTTPSession& session) : session_(session) {}

    int get() override { return (session_.*SessionAccess::kGet)(); }

    std::size_t read(char* buffer, std::size_t length) override
    {
        const auto wanted = static_cast<std::streamsize>(std::min<std::size_t>(length, INT_MAX));
        const auto received = (session_.*SessionAccess::kRead)(buffer, wanted);
        return static_cast<std::size_t>(std::max(received, 0));
    }

private:
    Poco::Net::HTTPSession& session_;
};

common::DataBuffer readRequestBody(Poco::Net::HTTPServerRequestImpl& request)
{
    const auto framing = checkFraming(request);
    SessionSource source(request.session());
    try {
        return readBody(source, framing);
    } catch (const Poco::TimeoutException&) {
        throw RequestRefusal(408, "The request body did not arrive in time.");
    }
}

} // namespace

std::unique_ptr<HttpRequest> readRequest(Poco::Net::HTTPServerRequestImpl& request,
                                         std::string baseUrl, std::size_t& bodySize)
{
    auto body = readRequestBody(request);
    bodySize = body.size();
    const Poco::URI uri(request.getURI());
    return std::make_unique<HttpRequest>(
        std::move(baseUrl), normalisePath(uri.getPath()), uri.getQuery(),
        common::toLowerAscii(request.getMethod()), collectHeaders(request), collectCookies(request),
        parseParameters(uri.getRawQuery()), isLocalAddress(request.clientAddress().host()),
        makeBody(std::move(body)));
}

} // namespace connector::http
