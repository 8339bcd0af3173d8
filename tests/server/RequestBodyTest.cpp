#include "server/RequestBody.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

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
    struct Case
    {
        const char* name;
        BodyFraming framing;
        std::string input;
        std::string body;
        std::string rest;
    };
    const std::string large(200'000, 'x');
    const std::vector<Case> table = {
        {"none", {false, 0}, "GET", "", "GET"},
        {"length", {false, 5}, "helloGET", "hello", "GET"},
        {"large", {false, large.size()}, large + "G", large, "G"},
        {"chunks", kChunked, "5\r\nhello\r\n1\r\n!\r\n0\r\n\r\nGET", "hello!", "GET"},
        {"hexadecimal", kChunked, "0000A\r\n0123456789\r\n0\r\n\r\n", "0123456789", ""},
        {"extension", kChunked, "2;a=\"b\"\r\nok\r\n0;last\r\n\r\n", "ok", ""},
        {"trailer", kChunked, "2\r\nok\r\n0\r\nDigest: x\r\nA: b\r\n\r\nGET", "ok", "GET"},
        {"bare line feeds", kChunked, "2\nok\n0\n\nGET", "ok", "GET"},
    };
    for (const auto& entry : table) {
        for (const std::size_t step : {1, 3, 4096}) {
            SCOPED_TRACE(std::string(entry.name) + " by " + std::to_string(step));
            TextSource source(entry.input, step);
            EXPECT_EQ(readBody(source, entry.framing).view(), entry.body);
            EXPECT_EQ(source.rest(), entry.rest);
        }
    }
}

TEST(RequestBody, RefusesWhatIsTruncatedMalformedOrTooLarge)
{
    struct Case
    {
        BodyFraming framing;
        std::string input;
        unsigned short status;
    };
    const std::vector<Case> table = {
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
        {kChunked, std::string(10'000, '1'), 400},
        {{false, kMaxRequestBody + 1}, "x", 413},
        {kChunked, "7fffffffffffffff\r\nx", 413},
        {kChunked, "1\r\nx\r\nffffffffffffffff\r\nx", 413},
    };
    for (const auto& entry : table) {
        SCOPED_TRACE(entry.input.substr(0, 40));
        TextSource source(entry.input, 4096);
        try {
            readBody(source, entry.framing);
            ADD_FAILURE() << "not refused";
        } catch (const RequestRefusal& refusal) {
            EXPECT_EQ(refusal.status(), entry.status) << refusal.what();
        }
    }
}

} // namespace
} // namespace connector::http
