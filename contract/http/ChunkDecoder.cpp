#include "contract/http/ChunkDecoder.h"

#include <algorithm>
#include <charconv>

#include "contract/http/FieldSyntax.h"

namespace connector::http {

namespace {

/// The longest line that is read: a chunk's size with its extensions, or a trailer field.
constexpr std::size_t kMaxLine = 4096;
constexpr int kMaxTrailerLines = 100;

bool takeCharacter(std::string_view& text, char character)
{
    const auto found = text.starts_with(character);
    text.remove_prefix(found ? 1 : 0);
    return found;
}

void skipBlanks(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
}

bool takeToken(std::string_view& text)
{
    const auto length = tokenLength(text);
    text.remove_prefix(length);
    return length > 0;
}

/// A quoted string (RFC 9110 section 5.6.4). The line holds no control characters.
bool takeQuotedString(std::string_view& text)
{
    if (!takeCharacter(text, '"')) {
        return false;
    }
    auto end = text.find_first_of("\"\\");
    while (end != std::string_view::npos && text[end] == '\\') {
        end = text.find_first_of("\"\\", end + 2);
    }
    if (end == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(end + 1);
    return true;
}

/// Whether @p text is a sequence of chunk extensions, perhaps an empty one (RFC 9112
/// section 7.1.1).
bool areExtensions(std::string_view text)
{
    if (!isFieldValue(text)) {
        return false;
    }
    while (!text.empty()) {
        skipBlanks(text);
        if (!takeCharacter(text, ';')) {
            return false;
        }
        skipBlanks(text);
        if (!takeToken(text)) {
            return false;
        }
        auto value = text;
        skipBlanks(value);
        if (takeCharacter(value, '=')) {
            skipBlanks(value);
            if (!takeToken(value) && !takeQuotedString(value)) {
                return false;
            }
            text = value;
        }
    }
    return true;
}

/// @return nothing for a malformed line.
std::optional<std::uint64_t> parseSizeLine(std::string_view line)
{
    constexpr int kHexadecimal = 16;
    std::uint64_t size = 0;
    const auto* const end = line.data() + line.size();
    const auto [stop, failure] = std::from_chars(line.data(), end, size, kHexadecimal);
    if (failure != std::errc() || !areExtensions({stop, end})) {
        return std::nullopt;
    }
    return size;
}

} // namespace

std::size_t ChunkDecoder::decode(std::string_view input, common::DataBuffer& body)
{
    const auto given = input.size();
    while (status_ == Status::Incomplete && !input.empty()) {
        if (dataLeft_ > 0) {
            const auto data = input.substr(0, std::min<std::uint64_t>(dataLeft_, input.size()));
            body.append(data);
            addData(data.size());
            input.remove_prefix(data.size());
        } else if (const auto line = takeLine(input)) {
            endLine(*line, body.size());
            line_.clear();
        }
    }
    return given - input.size();
}

/// @return a line without its end, once it is whole: a view of @p input or of `line_`.
std::optional<std::string_view> ChunkDecoder::takeLine(std::string_view& input)
{
    constexpr std::string_view kLineEnd = "\r\n";
    const auto end = input.find('\n');
    auto line = input.substr(0, end == std::string_view::npos ? end : end + 1);
    input.remove_prefix(line.size());
    const auto isWhole = end != std::string_view::npos;
    if (!isWhole || !line_.empty()) {
        line = line_.append(line);
    }
    if (line.size() > kMaxLine + kLineEnd.size() || (isWhole && !line.ends_with(kLineEnd)) ||
        (next_ == Line::DataEnd && !kLineEnd.starts_with(line))) {
        status_ = Status::Malformed;
        return std::nullopt;
    }
    if (!isWhole) {
        return std::nullopt;
    }
    line.remove_suffix(kLineEnd.size());
    return line;
}

void ChunkDecoder::endLine(std::string_view line, std::uint64_t bodySize)
{
    switch (next_) {
    case Line::Size:
        beginChunk(parseSizeLine(line), bodySize);
        break;
    case Line::DataEnd:
        next_ = Line::Size; // `takeLine` lets no other line than an empty one pass
        break;
    case Line::Trailer:
        if (line.empty()) {
            status_ = Status::Complete;
        } else if (++trailerLines_ > kMaxTrailerLines || !parseField(line).has_value()) {
            status_ = Status::Malformed;
        }
        break;
    }
}

void ChunkDecoder::beginChunk(std::optional<std::uint64_t> size, std::uint64_t bodySize)
{
    if (!size.has_value()) {
        status_ = Status::Malformed;
    } else if (*size > maxBody_ - bodySize) {
        status_ = Status::TooLarge;
    } else {
        dataLeft_ = *size;
        next_ = *size > 0 ? Line::DataEnd : Line::Trailer;
    }
}

} // namespace connector::http
