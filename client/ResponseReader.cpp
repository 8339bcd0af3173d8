#include "client/ResponseReader.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "client/ClientLimits.h"
#include "contract/http/ChunkDecoder.h"

namespace connector::http::client {

namespace {

using common::DataBuffer;

/// What a usual head has room in.
constexpr std::size_t kUsualHead = 512;
/// How much of a chunk is read at a time.
constexpr std::size_t kGrowth = std::size_t{64} << 10U;

[[noreturn]] void failTruncated()
{
    throw std::runtime_error("The upstream closed the connection before the end of its answer.");
}

[[noreturn]] void failTooLarge()
{
    throw std::runtime_error("The upstream's answer is too large.");
}

} // namespace

ResponseReader::ResponseReader(Receive receive, Buffer& buffer, const ClientLimits& limits)
    : receive_(std::move(receive)), maxBody_(limits.maxBody), bodyMemory_(limits.bodyMemory),
      buffer_(buffer)
{}

ResponseHead ResponseReader::readHead()
{
    constexpr std::uint16_t kSwitchingProtocols = 101;
    constexpr std::uint16_t kFirstFinalStatus = 200;
    for (int interim = 0; interim < kMaxInterimResponses; ++interim) {
        auto head = parseResponseHead(readHeadText());
        if (head.status >= kFirstFinalStatus) {
            return head;
        }
        if (head.status == kSwitchingProtocols) {
            throw std::runtime_error("The upstream switched protocols.");
        }
    }
    throw std::runtime_error("The upstream sends interim answers without end.");
}

DataBuffer ResponseReader::readBody(const BodyFraming& framing)
{
    switch (framing.kind) {
    case BodyFraming::Kind::Length:
        return readLength(framing.length);
    case BodyFraming::Kind::Chunked:
        return readChunks();
    case BodyFraming::Kind::UntilClose:
        break;
    }
    return readUntilClose();
}

DataBuffer ResponseReader::readLength(std::uint64_t length)
{
    if (length > maxBody_) {
        failTooLarge();
    }
    DataBuffer body(bodyMemory_);
    while (body.size() < length) {
        body.reserveTowards(body.size() + 1, length);
        readMore(body, std::min<std::uint64_t>(length, body.capacity()) - body.size());
    }
    return body;
}

DataBuffer ResponseReader::readChunks()
{
    DataBuffer body(bodyMemory_);
    ChunkDecoder decoder(maxBody_);
    while (decoder.status() == ChunkDecoder::Status::Incomplete) {
        if (begin_ == end_ && decoder.dataLeft() >= buffer_.size()) {
            decoder.addData(readMore(body, std::min<std::uint64_t>(decoder.dataLeft(), kGrowth)));
            continue;
        }
        if (begin_ == end_ && !fill()) {
            failTruncated();
        }
        begin_ += decoder.decode({buffer_.data() + begin_, end_ - begin_}, body);
    }
    if (decoder.status() == ChunkDecoder::Status::TooLarge) {
        failTooLarge();
    }
    if (decoder.status() == ChunkDecoder::Status::Malformed) {
        throw std::runtime_error("The upstream's answer is malformed.");
    }
    return body;
}

DataBuffer ResponseReader::readUntilClose()
{
    DataBuffer body(bodyMemory_);
    for (;;) {
        const auto begin = body.size();
        if (begin == maxBody_) {
            char next = 0;
            if (readSome(&next, 1) > 0) {
                failTooLarge();
            }
            return body;
        }
        body.reserveTowards(begin + 1, maxBody_);
        body.resize(body.capacity());
        const auto received = readSome(body.data() + begin, body.size() - begin);
        body.resize(begin + received);
        if (received == 0) {
            return body;
        }
    }
}

std::string ResponseReader::readHeadText()
{
    std::string head;
    head.reserve(kUsualHead);
    for (std::size_t lineBegin = 0;; lineBegin = head.size()) {
        appendLine(head, kMaxResponseHead - lineBegin);
        const auto empty = head.size() == lineBegin;
        head += '\n';
        if (empty) {
            return head;
        }
    }
}

void ResponseReader::appendLine(std::string& text, std::size_t limit)
{
    const auto lineBegin = text.size();
    for (auto ended = false; !ended;) {
        if (begin_ == end_ && !fill()) {
            failTruncated();
        }
        const auto* from = buffer_.data() + begin_;
        const auto* to = buffer_.data() + end_;
        const auto* lineEnd = std::find(from, to, '\n');
        ended = lineEnd != to;
        text.append(from, lineEnd);
        begin_ += static_cast<std::size_t>(lineEnd - from) + (ended ? 1 : 0);
        if (text.size() - lineBegin >= limit) {
            failTooLarge();
        }
    }
    if (text.size() > lineBegin && text.back() == '\r') {
        text.pop_back();
    }
}

std::size_t ResponseReader::readMore(DataBuffer& body, std::size_t most)
{
    const auto begin = body.size();
    body.resize(begin + most);
    const auto received = readSome(body.data() + begin, body.size() - begin);
    body.resize(begin + received);
    if (received == 0) {
        failTruncated();
    }
    return received;
}

std::size_t ResponseReader::readSome(char* into, std::size_t count)
{
    if (begin_ == end_) {
        return receive_(into, count);
    }
    const auto taken = std::min(count, end_ - begin_);
    std::memcpy(into, buffer_.data() + begin_, taken);
    begin_ += taken;
    return taken;
}

bool ResponseReader::fill()
{
    begin_ = 0;
    end_ = receive_(buffer_.data(), buffer_.size());
    return end_ > 0;
}

} // namespace connector::http::client
