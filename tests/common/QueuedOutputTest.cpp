#include "contract/common/QueuedOutput.h"

#include <array>
#include <cstdio>
#include <future>
#include <gmock/gmock.h>
#include <sys/wait.h>
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

struct Pipe
{
    Pipe()
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        input = fdopen(ends[0], "r");
        output.emplace(ends[1], QueuedOutput::Ownership::Owned, &report);
    }

    ~Pipe() { std::fclose(input); }

    std::string read(std::size_t size) const
    {
        std::string text(size, '\0');
        text.resize(std::fread(text.data(), 1, size, input));
        return text;
    }

    std::FILE* input = nullptr;
    std::optional<QueuedOutput> output;
};

TEST(QueuedOutput, HoldsUpNeitherWritersNorOthersNorAChildWhileItIsNotRead)
{
    reported = 0;
    Pipe unread;
    const Pipe other;
    const auto line = std::string(999, 'x') + "\n";
    std::uint64_t queued = 0;
    std::uint64_t dropped = 0;
    while (dropped < 10) {
        ++(unread.output->post(line) ? queued : dropped);
    }
    EXPECT_FALSE(QueuedOutput::flush(1ms));
    other.output->post("other");
    EXPECT_EQ(other.read(5), "other");
    const auto child = fork();
    if (child == 0) {
        other.output->post("child");
        _exit(QueuedOutput::flush(1ms) ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(other.read(5), "child");

    EXPECT_EQ(reported, 0U);
    EXPECT_THAT(unread.read(queued * line.size()), testing::EndsWith(line));
    reported.wait(0);
    EXPECT_EQ(reported, dropped);
    EXPECT_FALSE(unread.output->post(std::string(kMax + 1, 'x')));
    EXPECT_TRUE(unread.output->post("last"));
    unread.output.reset();
    EXPECT_EQ(unread.read(5), "last") << "then it is closed";
}

TEST(QueuedOutput, LetsAThreadWaitUntilItsTextIsWrittenOrItIsStopped)
{
    const Pipe pipe;
    std::stop_source stop;
    const auto text = std::string(3 * kMax, 'x') + "\n";
    auto put = std::async(std::launch::async,
                          [&pipe, &text] { return pipe.output->put(text, std::stop_token()); });
    EXPECT_EQ(pipe.read(text.size()), text);
    EXPECT_TRUE(put.get());
    stop.request_stop();
    EXPECT_FALSE(pipe.output->put(text, stop.get_token()));
}

} // namespace
