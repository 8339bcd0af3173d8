#include "client/PocoHttpClientServiceProvider.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "client/ClientContext.h"
#include "client/ClientLog.h"
#include "client/ConnectionHeaders.h"
#include "client/OutgoingRequest.h"
#include "client/UpstreamExchange.h"
#include "contract/common/Blocking.h"
#include "contract/common/Failure.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/streams/ReducingSubscriber.h"

namespace connector::http {

using namespace client;

namespace {

using common::DataBuffer;
using common::Level;

/// How much of a body the log shows.
constexpr std::size_t kLoggedBody = 1024;

bool waitOnTheClock(std::chrono::milliseconds duration, const std::stop_token& stopToken)
{
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait_for(lock, stopToken, duration, [] { return false; });
    return !stopToken.stop_requested();
}

[[noreturn]] void abandon()
{
    throw std::runtime_error("The request was abandoned.");
}

std::string upperCased(std::string method)
{
    for (auto& character : method) {
        if (character >= 'a' && character <= 'z') {
            character = static_cast<char>(character - ('a' - 'A'));
        }
    }
    return method;
}

/// Everything that an attempt needs, made once.
struct Outgoing
{
    UpstreamUrl url;
    std::string method;
    std::string head;
    DataBuffer body;
    ClientLimits limits;
    std::stop_token stopToken;
};

UpstreamUrl prepareClient(const std::string& url)
{
    try {
        auto parsed = parseUrl(url);
        if (parsed.secure) {
            clientContext();
        }
        return parsed;
    } catch (const std::exception& failure) {
        kClientLog.write(Level::Error, "Error creating client: " + common::textOf(failure));
        throw;
    }
}

DataBuffer readRequestBody(const HttpClientRequest& request)
{
    if (request.body == nullptr) {
        return {};
    }
    const auto subscriber =
        std::make_shared<reactive_streams::ReducingSubscriber<DataBuffer, DataBuffer>>(
            common::concatenate);
    auto body = subscriber->getResult();
    request.body->subscribe(subscriber);
    while (!body.waitFor(kStopStep)) {
        if (request.stopToken.stop_requested()) {
            subscriber->cancel();
            abandon();
        }
    }
    return body.get();
}

Outgoing prepare(const HttpClientRequest& request, const ClientLimits& limits)
{
    Outgoing outgoing;
    outgoing.limits = limits;
    outgoing.url = prepareClient(request.url);
    outgoing.method = upperCased(request.method);
    outgoing.stopToken = request.stopToken;
    if (sendsBody(outgoing.method)) {
        outgoing.body = readRequestBody(request);
    }
    outgoing.head = formatRequestHead(request, outgoing.url, outgoing.method, outgoing.body.size());
    if (kClientLog.enabled(Level::Trace)) {
        kClientLog.write(Level::Trace,
                         "Sending HTTP client request:\n" +
                             describeRequest(request, outgoing.url, outgoing.method) +
                             std::string(outgoing.body.view().substr(0, kLoggedBody)));
    }
    return outgoing;
}

void logFailedAttempt(const Outgoing& outgoing, int attempt, const std::string& text)
{
    if (kClientLog.enabled(Level::Warning)) {
        kClientLog.write(Level::Warning,
                         "Attempt " + std::to_string(attempt) + " of " + std::to_string(kAttempts) +
                             " failed: " + outgoing.method + " " + outgoing.url.origin() + text);
    }
}

std::unique_ptr<UpstreamExchange>
exchangeWithRetries(const Outgoing& outgoing, const PocoHttpClientServiceProvider::Wait& wait,
                    ResponseReader::Buffer& buffer)
{
    for (int n = 0;; ++n) {
        std::string failureText;
        try {
            return std::make_unique<UpstreamExchange>(outgoing.url, outgoing.head,
                                                      outgoing.body.view(), outgoing.limits,
                                                      outgoing.stopToken, buffer);
        } catch (const std::exception& failure) {
            failureText = ": " + common::textOf(failure);
        } catch (...) { // The text below says it.
            failureText = ".";
        }
        if (outgoing.stopToken.stop_requested()) {
            abandon();
        }
        logFailedAttempt(outgoing, n + 1, failureText);
        // Kept: the last wait comes before the failure.
        if (!wait(std::chrono::seconds(n * n), outgoing.stopToken)) {
            abandon();
        }
        if (n + 1 == kAttempts) {
            throw std::runtime_error("Retry limit reached" + failureText);
        }
    }
}

/// Leaves the one Content-Length that is right, if any: equal ones become one, and none is left
/// that the framing overrides or that a 204 may not have (RFC 9110 section 8.6). An answer without
/// a body may tell the length that it would have.
void settleContentLength(StringMultimap& headers, std::uint16_t status, const BodyFraming& framing)
{
    constexpr std::uint16_t kNoContent = 204;
    const auto announced = announcedLength(headers);
    headers.erase("content-length");
    if (announced && status != kNoContent && framing.kind == BodyFraming::Kind::Length) {
        headers.emplace("content-length", std::to_string(*announced));
    }
}

std::unique_ptr<HttpClientResponse> makeResponse(ResponseHead& head, const BodyFraming& framing,
                                                 DataBuffer body)
{
    auto headers = std::move(head.headers);
    const ConnectionHeaders ofConnection(headers);
    std::erase_if(headers, [&ofConnection](const auto& header) {
        return ofConnection.contain(header.first);
    });
    settleContentLength(headers, head.status, framing);
    StringMultimap cookies;
    const auto [begin, end] = headers.equal_range("set-cookie");
    for (auto line = begin; line != end; ++line) {
        if (auto cookie = parseSetCookie(line->second)) {
            cookies.insert(std::move(*cookie));
        }
    }
    if (kClientLog.enabled(Level::Trace)) {
        auto text = "Received HTTP client response:\nStatus: " + std::to_string(head.status) + "\n";
        for (const auto& [name, value] : cookies) {
            text += "Set-Cookie: " + name + "\n";
        }
        kClientLog.write(Level::Trace, text);
    }
    return std::make_unique<HttpClientResponse>(head.status, std::move(headers), std::move(cookies),
                                                makeBody(std::move(body)));
}

} // namespace

PocoHttpClientServiceProvider::PocoHttpClientServiceProvider(const ClientLimits& limits)
    : PocoHttpClientServiceProvider(waitOnTheClock, limits)
{}

PocoHttpClientServiceProvider::PocoHttpClientServiceProvider(Wait wait, const ClientLimits& limits)
    : wait_(std::move(wait)), limits_(limits)
{}

PocoHttpClientServiceProvider::~PocoHttpClientServiceProvider() = default;

Future<std::unique_ptr<Message>>
PocoHttpClientServiceProvider::handle(std::unique_ptr<HttpClientRequest>&& request,
                                      Address&& /*address*/, std::shared_ptr<Context>&& /*context*/)
{
    common::announceBlocking();
    const auto outgoing = prepare(*request, limits_);
    ResponseReader::Buffer buffer; // not initialised
    const auto exchange = exchangeWithRetries(outgoing, wait_, buffer);
    try {
        const auto framing = bodyFramingOf(exchange->head(), outgoing.method);
        auto body = exchange->readBody(framing);
        return makeReadyFuture<std::unique_ptr<Message>>(
            makeResponse(exchange->head(), framing, std::move(body)));
    } catch (const std::exception& failure) {
        if (outgoing.stopToken.stop_requested()) {
            abandon();
        }
        kClientLog.write(Level::Warning, "Receiving failed: " + outgoing.method + " " +
                                             outgoing.url.origin() + ": " +
                                             common::textOf(failure));
        throw;
    }
}

} // namespace connector::http
