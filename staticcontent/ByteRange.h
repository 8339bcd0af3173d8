#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace connector::http::staticcontent {

/// A run of bytes of a file.
struct ByteRange
{
    std::int32_t first; ///< Offset of the first byte.
    std::int32_t last;  ///< Offset of the last byte; never before the first.

    [[nodiscard]] std::int32_t length() const noexcept { return last - first + 1; }

    friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

/// Reads the value of a "Range" header (RFC 9110 section 14.1.2) as one range of a file. Numbers
/// and sizes are signed 32-bit values: no range of a file of 2 GiB or more can be satisfied.
///
/// A suffix that is longer than the file stands for the whole file.
///
/// @param header such as "bytes=0-99", "bytes=100-" or "bytes=-100".
/// @param fileSizeBytes the size of the file.
/// @return nothing where the range cannot be satisfied: another unit, several ranges, no numbers,
///         a first byte behind the last one, a last byte behind the end of the file.
/// @throws std::out_of_range "stol argument out of range" for a number above 2^31 - 1.
std::optional<ByteRange> parseByteRange(const std::string& header, std::uint64_t fileSizeBytes);

} // namespace connector::http::staticcontent
