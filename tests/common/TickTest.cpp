#include "contract/common/Tick.h"

#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <pthread.h>
#include <thread>

#include "contract/common/ManualTick.h"
#include "tests/support/LogCapture.h"

namespace {

using connector::common::getCurrentTick;
using connector::common::ManualTick;
using connector::common::periodic;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Cancellers = std::vector<std::shared_ptr<connector::common::TickManager::Canceller>>;

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
    const auto timer = periodic(
        [&](long long tick) {
            calls.push_back(tick);
            if (calls.size() == 1) {
                clock.advance(35); // the call takes that long
            }
        },
        10);
    clock.advance(60);
    EXPECT_THAT(calls, ElementsAre(10, 50, 60));
}

TEST(Periodic, DroppingTheHandleEndsTheTimerAndReleasesItsFunction)
{
    ManualTick clock;
    const auto owned = std::make_shared<int>(0);
    auto timer = periodic([owned](long long) { ++*owned; }, 1);
    clock.advance(2);
    timer.reset();
    clock.advance(10);
    EXPECT_EQ(*owned, 2);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(Periodic, AFunctionMayEndItselfAndOthers)
{
    ManualTick clock;
    int calls = 0;
    Cancellers timers;
    const auto endAll = [&](long long) {
        ++calls;
        timers.clear();
    };
    timers.push_back(periodic(endAll, 5));
    timers.push_back(periodic(endAll, 5));
    clock.advance(100);
    EXPECT_EQ(calls, 1);
}

TEST(Periodic, AFailureIsLoggedAndTheTimerGoesOn)
{
    const connector::test::ScopedLogCapture capture;
    ManualTick clock;
    int calls = 0;
    const auto timer = periodic(
        [&](long long) {
            if (++calls == 1) {
                throw std::runtime_error("broken");
            }
            throw 5;
        },
        1);
    clock.advance(2);
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(capture.texts("connector::common"),
                ElementsAre("A timer's function failed: broken", "A timer's function failed."));
}

TEST(Periodic, RefusesWhatCouldNeverRun)
{
    EXPECT_THROW((void)periodic([](long long) {}, 0), std::invalid_argument);
    EXPECT_THROW((void)periodic(nullptr, 1), std::invalid_argument);
    ManualTick clock;
    const auto never = periodic([](long long) { FAIL(); }, std::numeric_limits<long long>::max());
    clock.advance(1'000'000'000);
}

TEST(Periodic, RunsOnTheTickThreadWithSignalsBlocked)
{
    std::promise<std::pair<std::thread::id, bool>> called;
    std::atomic<bool> once = false;
    const long long start = getCurrentTick();
    const auto timer = periodic(
        [&](long long tick) {
            if (!once.exchange(true)) {
                EXPECT_GT(tick, start);
                sigset_t mask;
                pthread_sigmask(SIG_SETMASK, nullptr, &mask);
                called.set_value(
                    {std::this_thread::get_id(),
                     sigismember(&mask, SIGPIPE) == 1 && sigismember(&mask, SIGTERM) == 1});
            }
        },
        1);
    const auto [thread, blocked] = called.get_future().get();
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_TRUE(blocked);
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

TEST(Periodic, CancelsUnderLoadLeaveNoCallBehind)
{
    for (int i = 0; i < 200; ++i) {
        auto alive = std::make_unique<int>(0);
        auto timer = periodic([&value = *alive](long long) { ++value; }, 1);
        std::thread other([&timer] { timer->cancel(); });
        timer->cancel();
        alive.reset(); // a later call would be a use after free for the sanitizers
        other.join();
    }
}

TEST(ManualTick, OnlyOneLives)
{
    {
        ManualTick clock(7);
        EXPECT_THROW(ManualTick(), std::logic_error);
        EXPECT_THROW(clock.advance(-1), std::invalid_argument);
        EXPECT_EQ(getCurrentTick(), 7);
    }
    ManualTick clock(8);
    EXPECT_EQ(getCurrentTick(), 8);
}

} // namespace
