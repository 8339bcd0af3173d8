#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "contract/http/ChunkDecoder.h"
#include "contract/streams/DataBuffer.h"
#include "server/RequestHead.h"
#include "server/ServerLimits.h"

namespace connector::http {

/// Collects the body of one request from the bytes that its connection receives, in any fragments.
/// The chunked coding is decoded. Memory grows with the bytes that arrive, not with the length that
/// was announced.
class RequestBody
{
public:
    /// @param budget of its memory; may be null: unbounded.
    explicit RequestBody(const BodyFraming& framing, const RequestLimits& limits = {},
                         std::shared_ptr<common::MemoryBudget> budget = nullptr);

    [[nodiscard]] bool isComplete() const noexcept;

    /// Takes what belongs to the body from the front of @p input.
    /// @return how many bytes: all until the body is complete. What is left is the next request's.
    /// @throws RequestRefusal with status 400 when a chunk is malformed, with status 413 when the
    ///         body is larger than the limit.
    /// @throws common::MemoryBudgetExceeded
    std::size_t take(std::string_view input);

    /// Whether nothing has come yet; then there is no memory for it either.
    [[nodiscard]] bool isEmpty() const noexcept { return body_.empty(); }

    /// How many bytes of data come next; behind them there may be lines of the chunked coding.
    [[nodiscard]] std::uint64_t dataLeft() const noexcept;

    /// Room for some of the `dataLeft` bytes, at least one, so that they are received without being
    /// copied. `commit` must follow before anything else.
    /// @throws common::MemoryBudgetExceeded
    std::span<char> prepare();

    /// @param received how many bytes are in the room that `prepare` gave; may be 0.
    void commit(std::size_t received);

    /// The body, once it is complete.
    common::DataBuffer release() noexcept { return std::move(body_); }

private:
    std::size_t takeData(std::string_view input);
    std::size_t takeChunks(std::string_view input);

    const bool chunked_;
    std::uint64_t left_; ///< Without meaning if chunked.
    ChunkDecoder chunks_;
    std::size_t prepared_ = 0; ///< Bytes of the room at the end of the body.
    common::DataBuffer body_;
};

} // namespace connector::http
