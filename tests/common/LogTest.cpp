#include "contract/common/Log.h"

#include <fstream>
#include <gmock/gmock.h>
#include <thread>

#include "contract/common/LogRateLimit.h"
#include "contract/common/ManualTick.h"
#include "contract/common/QueuedOutput.h"
#include "tests/support/FailingMemory.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using connector::common::Level;
using connector::common::Log;
using connector::common::QueuedOutput;
using connector::test::ScopedLogCapture;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr Log kLog("connector::test");
constexpr std::chrono::seconds kPatience{20};

TEST(Log, KeepsRecordsAtAndAboveTheLevel)
{
    const ScopedLogCapture capture(Level::Info);
    for (const auto level : {Level::Trace, Level::Debug, Level::Info, Level::Error, Level::Off}) {
        kLog.write(level, std::to_string(static_cast<int>(level)));
    }
    EXPECT_THAT(capture.records(), ElementsAre("connector::test: 2", "connector::test: 4"));
    Log::setLevel(Level::Off);
    EXPECT_FALSE(kLog.enabled(Level::Error));
    EXPECT_FALSE(kLog.enabled(Level::Off));
}

TEST(Log, JoinsPartsEscapesControlCharactersAndKeepsUtf8)
{
    const ScopedLogCapture capture;
    const std::string utf8 = "\xC3\xA4 \xC2\xA0 \xE2\x82\xAC \\";
    kLog.write(Level::Error, std::string_view("a\r\nb\x1B[2J\0\x7F", 10), utf8);
    kLog.write(Level::Error, "\xC2\x80\xC2\x9B", utf8);
    kLog.write(Level::Error, "\xC3\xA4\xE4\xC2");
    EXPECT_THAT(capture.records(),
                ElementsAre("connector::test: a\\x0D\\nb\\x1B[2J\\x00\\x7F" + utf8,
                            "connector::test: \\xC2\\x80\\xC2\\x9B" + utf8,
                            "connector::test: \\xC3\\xA4\\xE4\\xC2"));
}

TEST(Log, WritesARecordWhicheverAllocationFails)
{
    const connector::test::TemporaryDirectory directory;
    Log::logToFile(directory.path() / "log");
    for (int allowed = 0; allowed < 40; ++allowed) {
        const connector::test::FailingMemory failing(allowed);
        kLog.write(Level::Error, "short of", "\nmemory, which needs more than a few bytes");
    }
    ASSERT_TRUE(QueuedOutput::flush(kPatience));
    Log::logToStandardError();
    std::ifstream lines(directory.path() / "log");
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_THAT(line,
                    MatchesRegex(".* error .connector::test. short of(\\\\n|[?])memory,.*bytes"));
    }
    EXPECT_EQ(count, 40);
}

TEST(Log, WritesOneLineARecordToTheFileAndKeepsItIfTheNextCannotBeOpened)
{
    const connector::test::TemporaryDirectory directory;
    const auto file = directory.path() / "log";
    const auto logMany = [] {
        for (int i = 0; i < 100; ++i) {
            kLog.write(Level::Warning, "one\nrecord");
        }
    };
    Log::logToFile(file);
    EXPECT_THAT([&] { Log::logToFile(directory.path() / "missing/log"); },
                testing::ThrowsMessage<std::runtime_error>(
                    "Cannot open the log file: " + (directory.path() / "missing/log").string() +
                    ": No such file or directory"));
    std::thread other(logMany);
    logMany();
    other.join();
    ASSERT_TRUE(QueuedOutput::flush(kPatience));
    Log::logToStandardError();
    kLog.write(Level::Error, "not in the file");

    int count = 0;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_THAT(line, MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.]"
                                       "[0-9]{3}Z warning .connector::test. one\\\\nrecord"));
    }
    EXPECT_EQ(count, 200);
}

TEST(LogRateLimit, CountsWhatItSuppresses)
{
    const ScopedLogCapture capture(Level::Warning);
    connector::common::ManualTick clock;
    connector::common::LogRateLimit limit(2);
    for (const int records : {5, 2, 1}) {
        for (int i = 0; i < records; ++i) {
            EXPECT_FALSE(limit.admits(kLog, Level::Info));
            if (limit.admits(kLog, Level::Warning)) {
                kLog.write(Level::Warning, "fault");
            }
        }
        clock.advance(60'000);
    }
    EXPECT_THAT(capture.records(),
                ElementsAre("connector::test: fault", "connector::test: fault",
                            "connector::test: Suppressed records like the next: 3",
                            "connector::test: fault", "connector::test: fault",
                            "connector::test: fault"));
}

TEST(Log, TakesRecordsToTheEndOfTheProcess)
{
    struct LogsWhenDestroyed
    {
        ~LogsWhenDestroyed() { kLog.write(Level::Error, "the very last"); }
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a fresh process, where nothing logged before
    EXPECT_EXIT(
        {
            static const LogsWhenDestroyed oldest;
            for (int i = 0; i < 5000; ++i) {
                kLog.write(Level::Error, "many"); // more than the writing thread has done by then
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "many\n[^\n]* error .connector::test. the very last\n");
}

} // namespace
