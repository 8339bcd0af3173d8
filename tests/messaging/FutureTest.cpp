#include "contract/messaging/Future.h"

#include <gtest/gtest.h>
#include <latch>
#include <string>
#include <thread>

#include "tests/support/FailureText.h"

namespace connector {
namespace {

constexpr const char* kAbandoned = "Promise destroyed before it provided a value.";

constexpr const char* kNoException = "Failed without an exception.";

using test::failureOf;

std::string getFailure(Future<int> future)
{
    return failureOf([&] { return future.get(); });
}

bool attach(Future<int>& future)
{
    static_cast<void>(future.then([](Future<int>) { return 0; }));
    return true;
}

TEST(FutureTest, EveryPhaseRefusesWithItsOwnText)
{
    const std::string gone =
        "Future already returned it's value or has an associated continuation.";
    const std::string refused =
        "Future already has returned it's value or has an associated continuation.";
    struct Case
    {
        const char* phase;
        void (*reach)(Promise<int>&, Future<int>&);
        std::string getText;
        std::string thenText;
    };
    const Case cases[] = {
        {"ready", [](auto& promise, auto&) { promise.setValue(1); }, "", ""},
        {"failed",
         [](auto& promise, auto&) {
             promise.setException(std::make_exception_ptr(std::range_error("own text")));
         },
         "own text", ""},
        {"failed without an exception", [](auto& promise, auto&) { promise.setException(nullptr); },
         kNoException, ""},
        {"taken",
         [](auto& promise, auto& future) {
             promise.setValue(1);
             static_cast<void>(future.get());
         },
         gone, refused},
        {"taken, then cancelled",
         [](auto& promise, auto& future) {
             promise.setValue(1);
             static_cast<void>(future.get());
             future.cancel();
         },
         gone, refused},
        {"continued", [](auto&, auto& future) { attach(future); }, gone, refused},
        {"cancelled",
         [](auto& promise, auto& future) {
             future.cancel();
             promise.setValue(1); // dropped, not refused
         },
         "Future has been cancelled.", "Future has been cancelled."},
        {"promise destroyed", [](auto& promise, auto&) { promise = Promise<int>(); }, kAbandoned,
         ""},
        {"without state", [](auto&, auto& future) { future = Future<int>(); },
         "Future state isn't valid!", "Future state isn't valid!"},
    };
    for (const auto& [phase, reach, getText, thenText] : cases) {
        SCOPED_TRACE(phase);
        Promise<int> got;
        auto toGet = got.getFuture();
        reach(got, toGet);
        Promise<int> continued;
        auto toContinue = continued.getFuture();
        reach(continued, toContinue);
        EXPECT_TRUE(!toGet.valid() || toGet.isReady());
        EXPECT_EQ(getFailure(std::move(toGet)), getText);
        EXPECT_EQ(failureOf([&] { return attach(toContinue); }), thenText);
    }
    EXPECT_EQ(getFailure(makeFailedFuture<int>(std::exception_ptr())), kNoException);
}

TEST(FutureTest, APromiseIsUsedOnce)
{
    Promise<int> promise;
    auto future = promise.getFuture();
    EXPECT_EQ(failureOf([&] { return promise.getFuture(); }), "Promise already returned a future.");
    promise.setValue(1);
    EXPECT_EQ(failureOf([&] { promise.setException(nullptr); }), "Promise already resolved.");
    EXPECT_EQ(future.get(), 1);
    EXPECT_EQ(failureOf([&] { promise.setValue(2); }), "Promise already resolved.");
    const auto moved = std::move(promise);
    EXPECT_EQ(failureOf([&] { promise.setValue(1); }), "Promise state isn't valid!"); // NOLINT
}

TEST(FutureTest, ContinuationsRunOnceTheValueIsThere)
{
    for (const auto valueFirst : {true, false}) {
        SCOPED_TRACE(valueFirst ? "value first" : "continuation first");
        const auto run = [valueFirst](auto continuation) {
            Promise<int> promise;
            if (valueFirst) {
                promise.setValue(20);
            }
            auto result = promise.getFuture().then(std::move(continuation));
            if (!valueFirst) {
                EXPECT_FALSE(result.isReady());
                promise.setValue(20);
            }
            return result;
        };
        EXPECT_EQ(run([](Future<int> value) { return value.get() + 1; }).get(), 21);
        EXPECT_EQ(run([](Future<int> value) { return makeReadyFuture(value.get() + 2); }).get(),
                  22);
        EXPECT_EQ(getFailure(run([](Future<int>) -> int { throw std::range_error("thrown"); })),
                  "thrown");
        EXPECT_EQ(getFailure(run([](Future<int>) { return Promise<int>().getFuture(); })),
                  kAbandoned);
        Promise<int> inner;
        auto later =
            run([future = inner.getFuture()](Future<int>) mutable { return std::move(future); });
        EXPECT_FALSE(later.isReady());
        inner.setValue(23);
        EXPECT_EQ(later.get(), 23);
    }
}

TEST(FutureTest, ALateContinuationRunsOnTheResolvingThread)
{
    Promise<int> promise;
    auto ranOn = promise.getFuture().then([](Future<int>) { return std::this_thread::get_id(); });
    std::jthread resolver([&] { promise.setValue(1); });
    EXPECT_EQ(ranOn.get(), resolver.get_id()); // which waits for the other thread, too
}

TEST(FutureTest, ResolvingAndAttachingMayRace)
{
    for (int round = 0; round < 200; ++round) {
        Promise<int> promise;
        auto future = promise.getFuture();
        std::latch start(2);
        std::jthread resolver([&] {
            start.arrive_and_wait();
            promise.setValue(round);
        });
        start.arrive_and_wait();
        EXPECT_EQ(future.then([](Future<int> value) { return value.get(); }).get(), round);
    }
}

TEST(FutureTest, WhatAContinuationNeedsIsCopiedForALaterOneAlone)
{
    const auto kept = std::make_shared<int>(1);
    const auto ownersOf = [](Future<int> resolved, const std::shared_ptr<int>& shared) {
        return resolved.get() + shared.use_count();
    };
    EXPECT_EQ(makeReadyFuture(0).thenKeeping(ownersOf, kept).get(), 1);
    Promise<int> promise;
    auto owners = promise.getFuture().thenKeeping(ownersOf, kept);
    promise.setValue(0);
    EXPECT_EQ(owners.get(), 2);
}

} // namespace
} // namespace connector
