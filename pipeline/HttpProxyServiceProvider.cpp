#include "pipeline/HttpProxyServiceProvider.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "contract/common/Log.h"
#include "contract/common/LogRateLimit.h"
#include "contract/http/Addresses.h"
#include "contract/http/HttpClientMessages.h"
#include "contract/http/HttpResponse.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/http/PercentEncode.h"

namespace connector::http {

namespace {

using common::Level;

constexpr common::Log kLog("connector::http");
// One limit for the process, as there is one log.
constinit common::LogRateLimit refusals(1);

/// Step of the wait for a client service that answers later.
constexpr std::chrono::milliseconds kWaitStep{100};

/// RFC 3986 section 3.3: what a path is made of, "%" excepted.
bool mayStandInPath(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           std::string_view("-._~!$&'()*+,;=:@/").find(character) != std::string_view::npos;
}

/// RFC 3986 section 3.4.
bool mayStandInQuery(char character)
{
    return character == '?' || mayStandInPath(character);
}

std::unique_ptr<Message> await(Future<std::unique_ptr<Message>> reply,
                               const std::stop_token& stopToken)
{
    while (!reply.waitFor(kWaitStep)) {
        if (stopToken.stop_requested()) {
            reply.cancel();
            throw std::runtime_error("The request was abandoned.");
        }
    }
    return reply.get();
}

bool setsCookie(std::string_view line, std::string_view name)
{
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return line.starts_with(name) &&
           line.find_first_not_of(" \t", name.size()) == line.find('=', name.size());
}

/// Without the cookies that a Set-Cookie line among the headers sets already, attributes and all.
StringMultimap remainingCookies(HttpClientResponse& response)
{
    std::erase_if(response.cookies, [&response](const auto& cookie) {
        const auto [begin, end] = response.headers.equal_range("set-cookie");
        return std::any_of(begin, end, [&cookie](const auto& line) {
            return setsCookie(line.second, cookie.first);
        });
    });
    return std::move(response.cookies);
}

std::unique_ptr<Message> makeRefusal(std::chrono::seconds retryAfter)
{
    // Without "no-store" the header rules could let clients keep it for long.
    StringMultimap headers{{"Cache-Control", "no-store"},
                           {"Retry-After", std::to_string(retryAfter.count())}};
    return std::make_unique<HttpResponse>(
        std::uint16_t{503}, std::move(headers), StringMultimap(),
        makeBody(common::DataBuffer("Too many requests wait for the other server.")));
}

void logRefusal(const std::string& targetUrl, unsigned limit)
{
    if (refusals.admits(kLog, Level::Warning)) {
        kLog.write(Level::Warning, "Refused a request for ", targetUrl, ": ", std::to_string(limit),
                   " wait for it already");
    }
}

} // namespace

HttpProxyServiceProvider::HttpProxyServiceProvider(const std::string& targetUrl,
                                                   const ProxyLimits& limits)
    : targetUrl_(targetUrl), limits_(limits), bulkhead_(limits.maxRequests)
{}

Future<std::unique_ptr<Message>>
HttpProxyServiceProvider::handle(std::unique_ptr<HttpRequest>&& request, Address&& /*address*/,
                                 std::shared_ptr<Context>&& context)
{
    const pipeline::Bulkhead::Place place(bulkhead_);
    if (!place.taken()) {
        logRefusal(targetUrl_, limits_.maxRequests);
        return makeReadyFuture(makeRefusal(limits_.retryAfter));
    }
    return makeReadyFuture(forward(*request, *context));
}

std::unique_ptr<Message> HttpProxyServiceProvider::forward(HttpRequest& request,
                                                           Context& context) const
{
    // Kept: the "?" is there without a query as well.
    auto outgoing = std::make_unique<HttpClientRequest>(
        targetUrl_ + percentEncode(request.path, mayStandInPath) + "?" +
            percentEncode(request.query, mayStandInQuery),
        request.method, std::move(request.headers), StringMultimap(), std::move(request.body));
    outgoing->stopToken = request.stopToken;
    const auto reply = await(context.send(std::move(outgoing), kHttpClient), request.stopToken);
    auto* response = messageAs<HttpClientResponse>(reply);
    if (response == nullptr) {
        return makeHttpResponse(500, "Unexpected response type when proxying.");
    }
    auto cookies = remainingCookies(*response);
    return std::make_unique<HttpResponse>(response->status, std::move(response->headers),
                                          std::move(cookies), std::move(response->body));
}

} // namespace connector::http
