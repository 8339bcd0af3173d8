#include "pipeline/HttpResponseHeaderServiceProvider.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>
#include <stop_token>

#include "contract/http/HttpResponse.h"

namespace connector::http {

namespace {

using Rule = HttpResponseHeaderServiceProvider::Rule;

constexpr std::chrono::milliseconds kStopCheckInterval(50);

std::vector<boost::regex> patternsOf(const std::vector<Rule>& rules)
{
    std::vector<boost::regex> patterns;
    patterns.reserve(rules.size());
    std::ranges::transform(rules, std::back_inserter(patterns), &Rule::first);
    return patterns;
}

void insertMissing(StringMultimap& headers, const StringMultimap& defaults)
{
    for (const auto& [name, value] : defaults) {
        if (!headers.contains(name)) {
            headers.emplace(name, value);
        }
    }
}

/// The headers of each rule, of a repeated name only the one that is inserted first.
std::vector<StringMultimap> headersOf(const std::vector<Rule>& rules)
{
    std::vector<StringMultimap> headers(rules.size());
    for (std::size_t rule = 0; rule < rules.size(); ++rule) {
        insertMissing(headers[rule], rules[rule].second);
    }
    return headers;
}

/// @return false if the server stops first.
bool waitForReply(const Future<std::unique_ptr<Message>>& reply, const std::stop_token& stopToken)
{
    while (!reply.waitFor(kStopCheckInterval)) {
        if (stopToken.stop_requested()) {
            return false;
        }
    }
    return true;
}

void addMissing(StringMultimap& headers, const StringMultimap& defaults)
{
    if (headers.empty()) {
        headers = defaults;
    } else {
        insertMissing(headers, defaults);
    }
}

} // namespace

HttpResponseHeaderServiceProvider::HttpResponseHeaderServiceProvider(std::vector<Rule>&& rules)
    : patterns_(patternsOf(rules)), headers_(headersOf(rules))
{}

std::vector<Rule> HttpResponseHeaderServiceProvider::defaultHeaderRules()
{
    const auto patterns = pipeline::DefaultPatterns::kHeaderRules.compile();
    return {
        {patterns.at(0),
         {{"Cache-Control", "no-cache, no-store, must-revalidate"},
          {"Pragma", "no-cache"},
          {"Expires", "0"}}},
        {patterns.at(1), {{"Cache-Control", "private, max-age=2592000"}}},
    };
}

Future<std::unique_ptr<Message>>
HttpResponseHeaderServiceProvider::handle(std::unique_ptr<HttpRequest>&& request, Address&& address,
                                          std::shared_ptr<Context>&& context)
{
    const auto rule = patterns_.firstMatch(request->path);
    const auto stopToken = request->stopToken;
    auto reply = context->send(std::move(request), std::move(address));
    if (!rule) {
        return reply;
    }
    if (!waitForReply(reply, stopToken)) {
        reply.cancel();
        return makeFailedFuture<std::unique_ptr<Message>>(
            std::runtime_error("The request was abandoned because its server stops."));
    }
    auto message = reply.get();
    if (auto* response = messageAs<HttpResponse>(message)) {
        addMissing(response->headers, headers_[*rule]);
    }
    return makeReadyFuture(std::move(message));
}

} // namespace connector::http
