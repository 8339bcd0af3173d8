#include "server/RequestBody.h"

#include <algorithm>

#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// What is reserved on the strength of an announcement alone.
constexpr std::size_t kFirstReservation = std::size_t{64} << 10U;

} // namespace

RequestBody::RequestBody(const BodyFraming& framing, const RequestLimits& limits)
    : chunked_(framing.chunked), left_(framing.length), chunks_(limits.body)
{}

bool RequestBody::isComplete() const noexcept
{
    return chunked_ ? chunks_.status() == ChunkDecoder::Status::Complete : left_ == 0;
}

std::size_t RequestBody::take(std::string_view input)
{
    return chunked_ ? takeChunks(input) : takeData(input);
}

std::size_t RequestBody::takeData(std::string_view input)
{
    const auto data = input.substr(0, std::min<std::uint64_t>(left_, input.size()));
    if (body_.empty()) {
        body_.reserve(std::min<std::uint64_t>(left_, kFirstReservation));
    }
    body_.append(data);
    left_ -= data.size();
    return data.size();
}

std::size_t RequestBody::takeChunks(std::string_view input)
{
    const auto taken = chunks_.decode(input, body_);
    if (chunks_.status() == ChunkDecoder::Status::Malformed) {
        throw RequestRefusal(400, "Malformed chunk.");
    }
    if (chunks_.status() == ChunkDecoder::Status::TooLarge) {
        throw RequestRefusal(413, "The request body is too large.");
    }
    return taken;
}

std::uint64_t RequestBody::dataLeft() const noexcept
{
    return chunked_ ? chunks_.dataLeft() : left_;
}

std::span<char> RequestBody::prepare()
{
    const auto begin = body_.size();
    const auto room = std::max(body_.capacity() - begin, kFirstReservation);
    prepared_ = static_cast<std::size_t>(std::min<std::uint64_t>(dataLeft(), room));
    body_.resize(begin + prepared_);
    return {body_.data() + begin, prepared_};
}

void RequestBody::commit(std::size_t received)
{
    body_.resize(body_.size() - prepared_ + received);
    prepared_ = 0;
    if (chunked_) {
        chunks_.addData(received);
    } else {
        left_ -= received;
    }
}

} // namespace connector::http
