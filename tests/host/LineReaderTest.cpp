#include "host/LineReader.h"

#include <array>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace connector::host {
namespace {

using Event = LineReader::Event;

class LineReaderTest : public testing::Test
{
protected:
    ~LineReaderTest() override
    {
        endInput();
        close(input_[0]);
        close(wake_[0]);
        close(wake_[1]);
    }

    void type(const std::string& text) const
    {
        ASSERT_EQ(write(input_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void endInput() { close(std::exchange(input_[1], -1)); }

    /// Every event up to the end; a line as its text, another as "(TooLong)".
    std::vector<std::string> readAll()
    {
        std::vector<std::string> events;
        std::string line;
        for (auto event = reader_.next(line); event == Event::Line || event == Event::TooLong;
             event = reader_.next(line)) {
            events.push_back(event == Event::Line ? line : "(TooLong)");
        }
        return events;
    }

    static std::array<int, 2> makePipe()
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        return ends;
    }

    std::array<int, 2> input_ = makePipe();
    std::array<int, 2> wake_ = makePipe();
    LineReader reader_{input_[0], wake_[0], 8};
};

TEST_F(LineReaderTest, LinesComeWithoutTheirEndsAndTheLastNeedsNone)
{
    type("one\ntwo\r\n\n12345678\nlast");
    endInput();
    EXPECT_THAT(readAll(), testing::ElementsAre("one", "two", "", "12345678", "last"));
}

TEST_F(LineReaderTest, ALineBeyondTheLimitIsDroppedWholeAndTheNextIsRead)
{
    type("123456789\nnext\n");
    std::string line;
    EXPECT_EQ(reader_.next(line), Event::TooLong);
    EXPECT_EQ(reader_.next(line), Event::Line);
    EXPECT_EQ(line, "next");
    type(std::string(40000, 'x'));
    type("tail\nafter\n" + std::string(20, 'y'));
    endInput();
    EXPECT_THAT(readAll(), testing::ElementsAre("(TooLong)", "after", "(TooLong)"));
}

TEST_F(LineReaderTest, IsWokenWhileItWaits)
{
    type("half");
    ASSERT_EQ(write(wake_[1], "!", 1), 1);
    std::string line;
    EXPECT_EQ(reader_.next(line), Event::Woken);
}

} // namespace
} // namespace connector::host
