#include "server/RequestBody.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

#include "server/RequestRefusal.h"
#include "server/ServerLimits.h"

namespace connector::http {
namespace {

/// A text as a source that yields at most @p step bytes at a time.
class TextSource final : public ByteSource
{
public:
    TextSource(std::string text, std::size_t step) : text_(std::move(text)), step_(step) {}

    int get() override
    {
        return position_ < text_.size() ? static_cast<unsigned char>(text_[position_++]) : -1;
    }

    std::size_t read(char* buffer, std::size_t length) override
    {
        const auto count = std::min({length, step_, text_.size() - position_});
        std::memcpy(buffer, text_.data() + position_, count);
        position_ += count;
        return count;
    }

    std::string rest() const { return text_.substr(position_); }

private:
    std::string text_;
    std::size_t step_;
    std::size_t position_ = 0;
};

constexpr BodyFraming kChunked = {true, 0};

TEST(RequestBody, ReadsExactlyTheBody)
{
    const std::string large(200'000, 'x');
    const std::tuple<BodyFraming, std::string, std::string, std::string> cases[] = {
        {{false, 0}, "GET", "", "GET"},
        {{false, 5}, "helloGET", "hello", "GET"},
        {{false, large.size()}, large + "G", large, "G"},
        {kChunked, "5\r\nhello\r\n1\r\n!\r\n0\r\n\r\nGET", "hello!", "GET"},
        {kChunked, "0000A\r\n0123456789\r\n0\r\n\r\n", "0123456789", ""},
        {kChunked, "2;a=\"b\"\r\nok\r\n0;last\r\n\r\n", "ok", ""},
        {kChunked, "2\r\nok\r\n0\r\nDigest: x\r\nA: b\r\n\r\nGET", "ok", "GET"},
        {kChunked, "2\nok\n0\n\nGET", "ok", "GET"},
    };
    for (const auto& [framing, input, body, rest] : cases) {
        for (const std::size_t step : {1, 3, 4096}) {
            SCOPED_TRACE(input.substr(0, 40) + " by " + std::to_string(step));
            TextSource source(input, step);
            EXPECT_EQ(readBody(source, framing).view(), body);
            EXPECT_EQ(source.rest(), rest);
        }
    }
}

TEST(RequestBody, RefusesWhatIsTruncatedMalformedOrTooLarge)
{
    std::string trailers;
    for (int line = 0; line <= 100; ++line) {
        trailers += "A: b\r\n";
    }
    const std::tuple<BodyFraming, std::string, int> cases[] = {
        {{false, 5}, "hell", 400},
        {kChunked, "", 400},
        {kChunked, "5\r\nhel", 400},
        {kChunked, "5\r\nhello\r\n", 400},
        {kChunked, "5\r\nhelloX\r\n0\r\n\r\n", 400},
        {kChunked, "\r\n", 400},
        {kChunked, "-1\r\n", 400},
        {kChunked, "0x5\r\nhello\r\n0\r\n\r\n", 400},
        {kChunked, "5 5\n5g\r\n", 400},
        {kChunked, "fffffffffffffffff\r\n", 400},
        {kChunked, "0\r\nA: b\r\n", 400},
        {kChunked, "0;" + std::string(10'000, 'x') + "\r\n\r\n", 400},
        {kChunked, "0\r\n" + trailers + "\r\n", 400},
        {{false, kMaxRequestBody + 1}, "x", 413},
        {kChunked, "7fffffffffffffff\r\nx", 413},
        {kChunked, "1\r\nx\r\nffffffffffffffff\r\nx", 413},
    };
    for (const auto& [framing, input, status] : cases) {
        SCOPED_TRACE(input.substr(0, 40));
        try {
            TextSource source(input, 4096);
            readBody(source, framing);
            ADD_FAILURE() << "not refused";
        } catch (const RequestRefusal& refusal) {
            EXPECT_EQ(refusal.status(), status) << refusal.what();
        }
    }
}

} // namespace
} // namespace connector::http
