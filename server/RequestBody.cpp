#include "server/RequestBody.h"

#include <algorithm>
#include <limits>

#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// Room for as much at least, if so much is to come.
constexpr std::size_t kLeastRoom = std::size_t{16} << 10U;

constexpr auto kUnknownLength = std::numeric_limits<std::uint64_t>::max();

} // namespace

RequestBody::RequestBody(const BodyFraming& framing, const RequestLimits& limits,
                         std::shared_ptr<common::MemoryBudget> budget)
    : chunked_(framing.chunked), left_(framing.length), chunks_(limits.body),
      body_(std::move(budget))
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
    body_.reserveTowards(body_.size() + data.size(), body_.size() + left_);
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
    const auto least = static_cast<std::size_t>(std::min<std::uint64_t>(dataLeft(), kLeastRoom));
    body_.reserveTowards(begin + least, chunked_ ? kUnknownLength : begin + left_);
    prepared_ =
        static_cast<std::size_t>(std::min<std::uint64_t>(dataLeft(), body_.capacity() - begin));
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
