#include "contract/common/Tick.h"

#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <optional>
#include <pthread.h>
#include <thread>

#include "contract/common/ManualTick.h"
#include "tests/support/FailingMemory.h"
#include "tests/support/LogCapture.h"

namespace {

using connector::common::getCurrentTick;
using connector::common::ManualTick;
using connector::common::periodic;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(Periodic, RunsDueTimersInOrderOfTimeEachAtItsTick)
{
    ManualTick clock(1000);
    std::vector<std::pair<char, long long>> calls;
    const auto slow = periodic([&](long long tick) { calls.emplace_back('s', tick); }, 50);
    const auto fast = periodic([&](long long tick) { calls.emplace_back('f', tick); }, 25);
    clock.advance(24);
    EXPECT_THAT(calls, IsEmpty());
    clock.advance(51);
    EXPECT_THAT(calls,
                ElementsAre(Pair('f', 1025), Pair('s', 1050), Pair('f', 1050), Pair('f', 1075)));
    EXPECT_EQ(getCurrentTick(), 1075);
}

TEST(Periodic, LeavesOutCallsThatAreLateByWholePeriods)
{
    ManualTick clock(0);
    std::vector<long long> calls;
    const auto slowAtFirst = [&](long long tick) {
        calls.push_back(tick);
        clock.advance(calls.size() == 1 ? 35 : 0);
    };
    const auto timer = periodic(slowAtFirst, 10);
    clock.advance(60);
    EXPECT_THAT(calls, ElementsAre(10, 50, 60));
}

TEST(Periodic, EndsWithItsHandleAndReleasesItsFunction)
{
    ManualTick clock;
    const auto calls = std::make_shared<int>(0);
    auto timer = periodic([calls](long long) { ++*calls; }, 1);
    clock.advance(2);
    timer.reset();
    clock.advance(10);
    EXPECT_EQ(*calls, 2);
    EXPECT_EQ(calls.use_count(), 1);

    std::vector<decltype(timer)> both;
    for (int i = 0; i < 2; ++i) {
        both.push_back(periodic(
            [calls, &both](long long) {
                ++*calls;
                both.clear();
            },
            5));
    }
    clock.advance(100);
    EXPECT_EQ(*calls, 3);
    EXPECT_EQ(calls.use_count(), 1);
}

TEST(Periodic, AFailureIsLoggedAndTheTimerGoesOnEvenShortOfMemory)
{
    const connector::test::ScopedLogCapture capture;
    ManualTick clock;
    std::optional<connector::test::FailingMemory> failing;
    const auto timer = periodic(
        [&](long long tick) {
            if (tick == 1'000'002) {
                failing.emplace();
            }
            throw std::runtime_error("broken beyond the room of a short string");
        },
        1);
    clock.advance(2);
    failing.reset();
    clock.advance(1);
    EXPECT_EQ(capture.records(),
              std::vector<std::string>(2, "connector::common: A timer's function failed: broken "
                                          "beyond the room of a short string"));
}

TEST(Periodic, RunsOnTheTickThreadWithSignalsBlocked)
{
    std::promise<sigset_t> called;
    const long long start = getCurrentTick();
    const auto timer = periodic(
        [&, once = false](long long tick) mutable {
            EXPECT_GT(tick, start);
            sigset_t mask;
            pthread_sigmask(SIG_SETMASK, nullptr, &mask);
            if (!std::exchange(once, true)) {
                called.set_value(mask);
            }
        },
        1);
    const auto mask = called.get_future().get();
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 1);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 1);
}

TEST(Periodic, CancelWaitsForTheRunningCall)
{
    ManualTick clock;
    std::promise<void> entered;
    std::promise<void> cancelling;
    std::atomic<bool> running = false;
    const auto timer = periodic(
        [&](long long) {
            running = true;
            entered.set_value();
            cancelling.get_future().wait();
            for (int i = 0; i < 100; ++i) {
                std::this_thread::yield(); // a cancel that did not wait would return meanwhile
            }
            running = false;
        },
        1);
    std::thread ticking([&clock] { clock.advance(1); });
    entered.get_future().wait();
    cancelling.set_value();
    timer->cancel();
    EXPECT_FALSE(running);
    ticking.join();
}

} // namespace
