#include "host/LineReader.h"

#include <gmock/gmock.h>
#include <optional>
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
    LineReaderTest()
    {
        EXPECT_EQ(pipe(input_), 0);
        EXPECT_EQ(pipe(wake_), 0);
        reader_.emplace(input_[0], wake_[0], 8);
    }

    ~LineReaderTest() override
    {
        for (const auto end : {input_[0], input_[1], wake_[0], wake_[1]}) {
            close(end);
        }
    }

    /// Every event up to the end of the input; a line as its text, another as "(TooLong)".
    std::vector<std::string> readAll(const std::string& typed)
    {
        EXPECT_EQ(write(input_[1], typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        close(std::exchange(input_[1], -1));
        std::vector<std::string> events;
        std::string line;
        for (auto event = reader_->next(line); event == Event::Line || event == Event::TooLong;
             event = reader_->next(line)) {
            events.push_back(event == Event::Line ? line : "(TooLong)");
        }
        return events;
    }

    int input_[2] = {};
    int wake_[2] = {};
    std::optional<LineReader> reader_;
};

TEST_F(LineReaderTest, LinesComeWithoutTheirEndsAndTheLastNeedsNone)
{
    EXPECT_THAT(readAll("one\ntwo\r\n\n12345678\nlast"),
                testing::ElementsAre("one", "two", "", "12345678", "last"));
}

TEST_F(LineReaderTest, ALineBeyondTheLimitIsDroppedWholeAndTheNextIsRead)
{
    EXPECT_THAT(
        readAll("123456789\nnext\n" + std::string(40000, 'x') + "tail\nafter\n" + "yyyyyyyyyyyyyy"),
        testing::ElementsAre("(TooLong)", "next", "(TooLong)", "after", "(TooLong)"));
}

TEST_F(LineReaderTest, IsWokenWhileItWaits)
{
    ASSERT_EQ(write(input_[1], "half", 4), 4);
    ASSERT_EQ(write(wake_[1], "!", 1), 1);
    std::string line;
    EXPECT_EQ(reader_->next(line), Event::Woken);
}

} // namespace
} // namespace connector::host
