#include "contract/common/Text.h"

#include <array>
#include <gmock/gmock.h>
#include <set>
#include <thread>

#include "contract/common/RandomString.h"

namespace {

using namespace connector::common;

TEST(Text, ConvertsBetweenWideAndUtf8)
{
    const std::pair<std::wstring, std::string> cases[] = {
        {L"", ""},
        {std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
        {L"\x7F\x80\u07FF\u0800\uFFFF\U00010000\U0010FFFF",
         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"}};
    for (const auto& [wide, utf8] : cases) {
        SCOPED_TRACE(utf8);
        EXPECT_EQ(wideToUtf8(wide), utf8);
        EXPECT_EQ(utf8ToWide(utf8), wide);
        EXPECT_TRUE(isValidUtf8(utf8));
    }
}

TEST(Text, RefusesWhatIsNotUnicode)
{
    for (const std::string bad :
         {"\xFF", "\x80", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xC0\xAF", "\xE0\x80\xAF",
          "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3\x28"}) {
        for (const std::string& text : {bad, bad + "z", "eight chars first" + bad}) {
            SCOPED_TRACE(testing::PrintToString(text));
            EXPECT_FALSE(isValidUtf8(text));
            EXPECT_THAT(
                [&] { (void)utf8ToWide(text); },
                testing::ThrowsMessage<std::invalid_argument>("The text is not valid UTF-8."));
        }
    }
    for (const std::wstring bad : {L"\xD800", L"\xDFFF", L"\x110000", L"\xFFFFFFFF"}) {
        EXPECT_THROW((void)wideToUtf8(bad), std::invalid_argument);
    }
}

TEST(RandomString, DrawsFromItsAlphabetAndRepeatsInNoThread)
{
    std::array<std::set<std::string>, 2> made;
    const auto fill = [](std::set<std::string>& strings) {
        for (int i = 0; i < 1000; ++i) {
            strings.insert(randomString(16));
        }
    };
    std::thread other([&] { fill(made[1]); });
    fill(made[0]);
    other.join();
    made[0].merge(made[1]);
    EXPECT_EQ(made[0].size(), 2000U);

    std::set<char> seen;
    for (const auto& text : made[0]) {
        EXPECT_EQ(text.size(), 16U);
        seen.insert(text.begin(), text.end());
    }
    EXPECT_EQ(std::string(seen.begin(), seen.end()),
              "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

} // namespace
