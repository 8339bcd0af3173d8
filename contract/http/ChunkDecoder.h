#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "contract/common/Export.h"
#include "contract/streams/DataBuffer.h"

namespace connector::http {

/// Decodes one body in the chunked coding (RFC 9112 section 7.1) from bytes that arrive in any
/// fragments. Chunk extensions and trailer fields are checked and dropped. Not synchronised.
///
/// It is as strict as the RFC's grammar: every line ends with CR LF, nothing but extensions follows
/// a size, and every line of the trailer is a field. A peer that reads what is malformed in another
/// way could hide a second message in the body.
class CONNECTOR_API ChunkDecoder
{
public:
    enum class Status
    {
        Incomplete, ///< More input is needed.
        Complete,   ///< The body and its trailer have ended.
        Malformed,
        TooLarge ///< The body grows beyond the limit.
    };

    /// @param maxBody the largest body that is decoded, in bytes.
    explicit ChunkDecoder(std::uint64_t maxBody) noexcept : maxBody_(maxBody) {}

    /// Decodes @p input, which follows what was decoded before, and appends the data to @p body.
    /// @param body the same for all calls; it holds nothing but this body.
    /// @return how many bytes of @p input were taken: all while the status is `Incomplete`. What
    ///         follows a complete body stays.
    std::size_t decode(std::string_view input, common::DataBuffer& body);

    [[nodiscard]] Status status() const noexcept { return status_; }

    /// How many bytes of data come next, before the next line. They may go into the body without
    /// `decode`, so that they are received where they belong; `addData` says how many did.
    [[nodiscard]] std::uint64_t dataLeft() const noexcept { return dataLeft_; }

    /// @param count at most `dataLeft`.
    void addData(std::uint64_t count) noexcept { dataLeft_ -= count; }

private:
    enum class Line
    {
        Size,
        DataEnd, ///< The line end behind the data of a chunk.
        Trailer
    };

    std::optional<std::string_view> takeLine(std::string_view& input);
    void endLine(std::string_view line, std::uint64_t bodySize);
    void beginChunk(std::optional<std::uint64_t> size, std::uint64_t bodySize);

    const std::uint64_t maxBody_;
    std::uint64_t dataLeft_ = 0;
    Status status_ = Status::Incomplete;
    Line next_ = Line::Size; ///< What follows the data that is left.
    int trailerLines_ = 0;
    std::string line_; ///< The part of the current line that earlier fragments held.
};

} // namespace connector::http
