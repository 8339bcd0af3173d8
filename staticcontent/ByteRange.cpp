#include "staticcontent/ByteRange.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>

#include <boost/regex.hpp>

namespace connector::http::staticcontent {

namespace {

using Limits = std::numeric_limits<std::int32_t>;

/// @return nothing for a group without digits.
std::optional<std::int32_t> parseNumber(const boost::ssub_match& digits)
{
    if (digits.length() == 0) {
        return std::nullopt;
    }
    std::int32_t number = 0;
    const auto* begin = &*digits.first;
    if (std::from_chars(begin, begin + digits.length(), number).ec != std::errc()) {
        throw std::out_of_range("stol argument out of range");
    }
    return number;
}

} // namespace

std::optional<ByteRange> parseByteRange(const std::string& header, std::uint64_t fileSizeBytes)
{
    static const boost::regex kPattern(R"(bytes=(\d*)?-(\d*)?)");
    boost::smatch groups;
    if (!boost::regex_match(header, groups, kPattern)) {
        return std::nullopt;
    }
    const auto first = parseNumber(groups[1]);
    const auto last = parseNumber(groups[2]);
    if ((!first && !last) || fileSizeBytes > std::uint64_t{Limits::max()}) {
        return std::nullopt;
    }
    const auto size = static_cast<std::int32_t>(fileSizeBytes);
    ByteRange range{first.value_or(0), size - 1};
    if (!first) {
        range.first = std::max(0, size - *last);
    } else if (last) {
        range.last = *last;
    }
    if (range.first > range.last || range.last >= size) {
        return std::nullopt;
    }
    return range;
}

} // namespace connector::http::staticcontent
