#include "server/RequestBody.h"

#include <gtest/gtest.h>
#include <string>
#include <tuple>

#include "server/RequestRefusal.h"

namespace connector::http {
namespace {

constexpr BodyFraming kChunked = {true, 0};

/// Gives @p body the input in fragments, by turns as input and, where it may, into its own room.
/// @return what follows the body.
std::string feed(RequestBody& body, std::string_view input, std::size_t fragment)
{
    for (auto direct = false; !body.isComplete() && !input.empty(); direct = !direct) {
        if (direct && body.dataLeft() > 0) {
            const auto room = body.prepare();
            const auto received = input.copy(room.data(), std::min(room.size(), fragment));
            body.commit(received);
            input.remove_prefix(received);
        } else {
            input.remove_prefix(body.take(input.substr(0, fragment)));
        }
    }
    return std::string(input);
}

TEST(RequestBody, TakesExactlyTheBody)
{
    const std::string large(200'000, 'x');
    const std::tuple<BodyFraming, std::string, std::string, std::string> cases[] = {
        {{false, 0}, "GET", "", "GET"},
        {{false, 5}, "helloGET", "hello", "GET"},
        {{false, large.size()}, large + "G", large, "G"},
        {kChunked, "5\r\nhello\r\n1\r\n!\r\n0\r\n\r\nGET", "hello!", "GET"},
        {kChunked, "0000A\r\n0123456789\r\n0\r\n\r\n", "0123456789", ""},
        {kChunked, "2;a=\"b;\\\"c\" ;\td = e;f\r\nok\r\n0;last\r\n\r\n", "ok", ""},
        {kChunked, "2\r\nok\r\n0\r\nDigest: x\r\nA:\r\n\r\nGET", "ok", "GET"},
    };
    for (const auto& [framing, input, expected, rest] : cases) {
        for (const std::size_t fragment : {1, 3, 4096}) {
            SCOPED_TRACE(input.substr(0, 40) + " by " + std::to_string(fragment));
            RequestBody body(framing);
            EXPECT_EQ(feed(body, input, fragment), rest);
            EXPECT_TRUE(body.isComplete());
            EXPECT_EQ(body.release().view(), expected);
        }
    }
}

TEST(RequestBody, RefusesWhatIsMalformedOrTooLarge)
{
    std::string trailers;
    for (int line = 0; line <= 100; ++line) {
        trailers += "A: b\r\n";
    }
    std::vector<std::pair<std::string, int>> cases = {
        {"0\r\n" + trailers, 400},
        {"0;" + std::string(10'000, 'x'), 400},
        {"5\r\nhelloX", 400}, // at once
        {"3;a\r\nabc\r\n3\r\nabc\r\n", 413},
        {"7fffffffffffffff\r\n", 413},
        {"1\r\nx\r\nffffffffffffffff\r\n", 413},
    };
    for (const std::string line :
         {"", "-1", "0x5", "5 5", "fffffffffffffffff", "5;", "5 ", "5;a ", "5;a=", "5;=b",
          "5;a=\"b", "5;a=\"b\\\"", "5;a=\"b\"c", "5;a b", "5;a\rX", "5;\1", "5;a=\"\x7F\""}) {
        cases.emplace_back(line + "\r\n", 400);
    }
    for (const std::string body : {"5;a\n", "5\n", "5\r\nhello\n", "5\r\nhello\r\n0\n", "0\r\n\n",
                                   "0\r\nA: b\n", "0\r\nno field\r\n", "0\r\n A: b\r\n"}) {
        cases.emplace_back(body, 400);
    }
    for (const auto& [input, status] : cases) {
        for (const std::size_t fragment : {1, 4096}) {
            SCOPED_TRACE(testing::PrintToString(input.substr(0, 40)));
            try {
                RequestBody body(kChunked, {.body = 5});
                feed(body, input, fragment);
                ADD_FAILURE() << "not refused";
            } catch (const RequestRefusal& refusal) {
                EXPECT_EQ(refusal.status(), status) << refusal.what();
            }
        }
    }
}

} // namespace
} // namespace connector::http
