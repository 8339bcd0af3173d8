#include "server/RequestBody.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "server/RequestRefusal.h"
#include "server/ServerLimits.h"

namespace connector::http {

namespace {

/// What is reserved on the strength of an announcement alone.
constexpr std::size_t kFirstReservation = std::size_t{64} << 10U;
/// The longest line of the chunked form that is read: a chunk's size with extensions, a trailer.
constexpr std::size_t kMaxLine = 4096;
constexpr std::size_t kMaxTrailerLines = 100;

[[noreturn]] void refuse(const char* text)
{
    throw RequestRefusal(400, text);
}

/// Appends exactly @p length bytes of the source.
void appendExactly(ByteSource& source, common::DataBuffer& body, std::uint64_t length)
{
    if (length > kMaxRequestBody - body.size()) {
        throw RequestRefusal(413, "The request body is too large.");
    }
    const auto goal = body.size() + static_cast<std::size_t>(length);
    while (body.size() < goal) {
        const auto begin = body.size();
        const auto room = std::max(body.capacity() - begin, kFirstReservation);
        body.resize(begin + std::min(room, goal - begin));
        const auto received = source.read(body.data() + begin, body.size() - begin);
        body.resize(begin + received);
        if (received == 0) {
            refuse("The request body is truncated.");
        }
    }
}

/// A line without its CR LF. A bare LF ends a line as well (RFC 9112 section 2.2).
std::string readLine(ByteSource& source)
{
    std::string line;
    for (int next = source.get(); next != '\n'; next = source.get()) {
        if (next < 0) {
            refuse("The request body is truncated.");
        }
        if (line.size() == kMaxLine) {
            refuse("Malformed chunk.");
        }
        line += static_cast<char>(next);
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

std::uint64_t readChunkSize(ByteSource& source)
{
    const auto line = readLine(source);
    std::uint64_t size = 0;
    const auto* const end = line.data() + line.size();
    const auto [stop, failure] = std::from_chars(line.data(), end, size, 16);
    const auto isEnded = stop == end || *stop == ';' || *stop == ' ' || *stop == '\t';
    if (failure != std::errc() || !isEnded) {
        refuse("Malformed chunk.");
    }
    return size;
}

void skipTrailer(ByteSource& source)
{
    for (std::size_t lines = 0; !readLine(source).empty(); ++lines) {
        if (lines == kMaxTrailerLines) {
            refuse("Malformed chunk.");
        }
    }
}

} // namespace

common::DataBuffer readBody(ByteSource& source, const BodyFraming& framing)
{
    common::DataBuffer body;
    if (!framing.chunked) {
        body.reserve(
            static_cast<std::size_t>(std::min<std::uint64_t>(framing.length, kFirstReservation)));
        appendExactly(source, body, framing.length);
        return body;
    }
    for (auto size = readChunkSize(source); size > 0; size = readChunkSize(source)) {
        appendExactly(source, body, size);
        if (!readLine(source).empty()) {
            refuse("Malformed chunk.");
        }
    }
    skipTrailer(source);
    return body;
}

} // namespace connector::http
