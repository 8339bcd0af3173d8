#include "server/websocket/FrameFormat.h"

#include <cstring>

namespace connector::http::websocket {

namespace {

using Word = std::uint64_t;

/// Written so that the compiler turns each round into a few vector instructions.
constexpr std::size_t kWordsPerRound = 8;

} // namespace

FrameHead::FrameHead(std::uint8_t flags, std::uint64_t payloadLength)
{
    bytes_[0] = static_cast<char>(flags);
    int lengthBytes = 0;
    if (payloadLength < 126) {
        bytes_[1] = static_cast<char>(payloadLength);
    } else if (payloadLength <= 0xffff) {
        bytes_[1] = 126;
        lengthBytes = 2;
    } else {
        bytes_[1] = 127;
        lengthBytes = 8;
    }
    for (int i = lengthBytes - 1; i >= 0; --i) {
        bytes_[size_++] = static_cast<char>(payloadLength >> (8 * i));
    }
}

void applyMask(char* bytes, std::size_t count, const MaskingKey& key, std::uint64_t offset)
{
    std::array<char, sizeof(Word)> pattern;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = key[(offset + i) % key.size()];
    }
    Word mask = 0;
    std::memcpy(&mask, pattern.data(), sizeof(mask));

    std::size_t done = 0;
    for (; count - done >= kWordsPerRound * sizeof(Word); done += kWordsPerRound * sizeof(Word)) {
        std::array<Word, kWordsPerRound> words;
        std::memcpy(words.data(), bytes + done, sizeof(words));
        for (auto& word : words) {
            word ^= mask;
        }
        std::memcpy(bytes + done, words.data(), sizeof(words));
    }
    for (; done < count; ++done) {
        bytes[done] = static_cast<char>(bytes[done] ^ pattern[done % pattern.size()]);
    }
}

} // namespace connector::http::websocket
