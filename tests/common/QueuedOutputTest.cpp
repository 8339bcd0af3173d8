#include "contract/common/QueuedOutput.h"

#include <array>
#include <fcntl.h>
#include <future>
#include <gmock/gmock.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using connector::common::QueuedOutput;
using namespace std::chrono_literals;

constexpr std::size_t kMax = QueuedOutput::kMaxQueuedBytes;

constinit std::atomic<std::uint64_t> reported = 0;

void report(std::uint64_t lines) noexcept
{
    reported += lines;
    reported.notify_all();
}

class QueuedOutputTest : public testing::Test
{
protected:
    QueuedOutputTest()
    {
        reported = 0;
        EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0);
        output_.emplace(ends_[1], QueuedOutput::Ownership::Owned, &report);
    }

    ~QueuedOutputTest() override { close(ends_[0]); }

    std::string read(std::size_t size)
    {
        std::string text(size, '\0');
        for (std::size_t done = 0; done < size;) {
            const auto count = ::read(ends_[0], text.data() + done, size - done);
            if (count <= 0) {
                return text.substr(0, done);
            }
            done += static_cast<std::size_t>(count);
        }
        return text;
    }

    std::array<int, 2> ends_{};
    std::optional<QueuedOutput> output_;
    std::stop_source stop_;
};

TEST_F(QueuedOutputTest, NeverBlocksAndCountsWhatItDropsOnceItIsRead)
{
    const auto line = std::string(999, 'x') + "\n";
    std::uint64_t queued = 0;
    std::uint64_t dropped = 0;
    while (dropped < 10) {
        ++(output_->post(line) ? queued : dropped);
    }
    EXPECT_FALSE(QueuedOutput::flush(1ms));
    EXPECT_EQ(reported, 0U);
    EXPECT_THAT(read(queued * line.size()), testing::EndsWith(line));
    reported.wait(0);
    EXPECT_EQ(reported, dropped);
    EXPECT_FALSE(output_->post(std::string(kMax + 1, 'x')));
    EXPECT_TRUE(output_->post("last"));
    output_.reset();
    EXPECT_EQ(read(5), "last") << "then it is closed";
}

TEST_F(QueuedOutputTest, AThreadThatMayWaitGoesOnOnceItsTextIsWrittenOrItIsStopped)
{
    const auto text = std::string(3 * kMax, 'x') + "\n";
    auto put =
        std::async(std::launch::async, [&] { return output_->put(text, stop_.get_token()); });
    EXPECT_EQ(read(text.size()), text);
    EXPECT_TRUE(put.get());
    stop_.request_stop();
    EXPECT_FALSE(output_->put(text.substr(kMax), stop_.get_token()));
}

TEST_F(QueuedOutputTest, OneThatIsNotReadHoldsUpNeitherOthersNorAChild)
{
    while (output_->post(std::string(999, 'x') + "\n")) {
    }
    std::array<int, 2> others{};
    ASSERT_EQ(pipe2(others.data(), O_CLOEXEC), 0);
    const QueuedOutput other(others[1], QueuedOutput::Ownership::Owned, &report);
    const auto child = fork();
    if (child == 0) {
        other.post("child");
        _exit(QueuedOutput::flush(1ms) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::string text(5, '\0');
    EXPECT_EQ(::read(others[0], text.data(), text.size()), 5);
    EXPECT_EQ(text, "child");
    other.post("other"); // while the first one is not read
    EXPECT_EQ(::read(others[0], text.data(), text.size()), 5);
    EXPECT_EQ(text, "other");
    close(others[0]);
}

} // namespace
