#include "contract/http/ReadRequest.h"

#include <charconv>
#include <stdexcept>
#include <utility>

#include "contract/http/HttpError.h"
#include "contract/http/PathStartsWith.h"
#include "contract/http/RoutePrefix.h"
#include "contract/streams/OneShotPublisher.h"
#include "contract/streams/ReducingSubscriber.h"

namespace connector::http {

namespace {

using common::DataBuffer;
using OneBuffer = reactive_streams::OneShotPublisher<DataBuffer>;
using Collector = reactive_streams::ReducingSubscriber<DataBuffer, DataBuffer>;

HttpError tooLong(std::size_t maxBytes)
{
    return {413, "The body is longer than " + std::to_string(maxBytes) + " bytes."};
}

} // namespace

std::vector<std::string> pathSegments(const std::string& path, const std::string& route)
{
    const auto prefix = routePrefix(route);
    if (!pathStartsWith(path, prefix)) {
        throw std::invalid_argument("The path is not below the route: " + path);
    }
    std::vector<std::string> segments;
    for (auto begin = prefix.size(); begin < path.size();) {
        const auto end = std::min(path.find('/', begin), path.size());
        if (end > begin) {
            segments.push_back(path.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return segments;
}

std::optional<std::string> findParameter(const HttpRequest& request, const std::string& name)
{
    const auto found = request.parameters.find(name);
    return found != request.parameters.end() ? std::optional(found->second) : std::nullopt;
}

long long readNumber(const HttpRequest& request, const std::string& name, long long min,
                     long long max, std::optional<long long> absent)
{
    const auto text = findParameter(request, name);
    if (!text && absent) {
        return *absent;
    }
    long long number = 0;
    const auto digits = text.value_or("");
    const auto* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || rest != end || number < min || number > max) {
        throw HttpError(400, "The parameter " + name + " is no number from " + std::to_string(min) +
                                 " to " + std::to_string(max) + ".");
    }
    return number;
}

Future<DataBuffer>
collectBody(const std::shared_ptr<reactive_streams::PublisherAPI<DataBuffer>>& body,
            std::size_t maxBytes)
{
    if (body == nullptr) {
        return makeReadyFuture(DataBuffer());
    }
    if (auto bytes = reactive_streams::takeFrom<OneBuffer>(*body)) {
        return bytes->size() <= maxBytes ? makeReadyFuture(std::move(*bytes))
                                         : makeFailedFuture<DataBuffer>(tooLong(maxBytes));
    }
    const auto collector = std::make_shared<Collector>(
        [maxBytes](DataBuffer&& collected, DataBuffer&& next) -> DataBuffer {
            if (next.size() > maxBytes || collected.size() > maxBytes - next.size()) {
                throw tooLong(maxBytes);
            }
            return common::concatenate(std::move(collected), std::move(next));
        });
    auto result = collector->getResult();
    body->subscribe(collector);
    // A publisher that nobody keeps falls silent.
    return result.then([body](Future<DataBuffer> collected) { return collected.get(); });
}

Future<std::string>
collectText(const std::shared_ptr<reactive_streams::PublisherAPI<DataBuffer>>& body,
            std::size_t maxBytes)
{
    return collectBody(body, maxBytes).then([](Future<DataBuffer> collected) {
        return std::string(collected.get().view());
    });
}

} // namespace connector::http
