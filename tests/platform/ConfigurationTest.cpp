#include <atomic>
#include <gmock/gmock.h>
#include <thread>

#include "contract/platform/LayeredConfiguration.h"
#include "contract/streams/CallbackSubscriber.h"
#include "tests/support/LogCapture.h"

namespace {

using connector::configuration::LayeredConfiguration;
using connector::configuration::parseValue;
using connector::configuration::Value;
using connector::reactive_streams::CallbackSubscriber;
using connector::reactive_streams::Canceller;

// Compared inside of EXPECT_TRUE: a wide string breaks the variant's own printing.
using Values = std::vector<Value>;

std::shared_ptr<Canceller> follow(LayeredConfiguration& configuration,
                                  CallbackSubscriber<Value>::Callback callback)
{
    return CallbackSubscriber<Value>::attach(*configuration.subscribe("key"), std::move(callback));
}

TEST(LayeredConfiguration, SubscribersGetTheValueOfTheHighestLayerAndThenEachChange)
{
    LayeredConfiguration configuration;
    Values early;
    Values late;
    const auto first = follow(configuration, [&](Value&& value) { early.push_back(value); });
    EXPECT_FALSE(configuration.get("key").has_value());
    EXPECT_TRUE(configuration.set("key", 1, "host").get());
    EXPECT_FALSE(configuration.set("key", 1, "host").get());
    EXPECT_FALSE(configuration.set("key", 2, "default").get());
    EXPECT_TRUE(configuration.set("other", 2, "host").get());
    const auto second = follow(configuration, [&](Value&& value) { late.push_back(value); });
    EXPECT_TRUE(configuration.set("key", 3, "first named now").get());
    EXPECT_FALSE(configuration.set("key", 4, "host").get());
    EXPECT_TRUE(early == (Values{1, 3}));
    EXPECT_TRUE(late == (Values{1, 3}));
    EXPECT_TRUE(configuration.get("key") == Value(3));
}

TEST(LayeredConfiguration, ASubscriberMaySetSubscribeAndCancelAndIsThenReleased)
{
    LayeredConfiguration configuration;
    Values seen;
    const auto owned = std::make_shared<int>(0);
    std::shared_ptr<Canceller> first;
    std::shared_ptr<Canceller> second;
    first = follow(configuration, [&, owned](Value&&) {
        configuration.set("key", 2, "host");
        second = follow(configuration, [&](Value&& value) { seen.push_back(value); });
        first.reset();
    });
    configuration.set("key", 1, "host");
    configuration.set("key", 3, "host");
    EXPECT_TRUE(seen == (Values{2, 3}));
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(LayeredConfiguration, AFailingSubscriberIsLoggedAndHarmsNoOther)
{
    const connector::test::ScopedLogCapture capture;
    LayeredConfiguration configuration;
    Values seen;
    const auto failing =
        follow(configuration, [](Value&& value) { (void)boost::get<bool>(value); });
    const auto other = follow(configuration, [&](Value&& value) { seen.push_back(value); });
    EXPECT_TRUE(configuration.set("key", std::string("not a bool"), "host").get());
    EXPECT_EQ(capture.records().size(), 1U);
    EXPECT_TRUE(seen == (Values{std::string("not a bool")}));
}

TEST(LayeredConfiguration, UnderConcurrentSetsValuesComeOneAtATimeAndTheNewestLast)
{
    LayeredConfiguration configuration;
    std::atomic<int> calls = 0;
    Value last;
    const auto handle = follow(configuration, [&](Value&& value) {
        EXPECT_EQ(calls.fetch_add(1), 0);
        last = std::move(value);
        calls.fetch_sub(1);
    });
    const auto setMany = [&configuration](int from) {
        for (int i = from; i < from + 1000; ++i) {
            configuration.set("key", i, "host");
        }
    };
    std::thread other(setMany, 10000);
    setMany(0);
    other.join();
    EXPECT_TRUE(configuration.get("key") == last);
}

TEST(ParseValue, PicksTheNarrowestKindThatFits)
{
    const std::pair<const char*, Value> cases[] = {
        {"true", true},
        {"0", 0},
        {"-2147483648", -2147483647 - 1},
        {"2147483648", 2147483648LL},
        {"-9223372036854775808", -9223372036854775807LL - 1},
        {"18446744073709551615", 18446744073709551615ULL},
        {"18446744073709551616", std::string("18446744073709551616")},
        {"5 ", std::string("5 ")},
        {"1.5", std::string("1.5")}};
    for (const auto& [text, value] : cases) {
        EXPECT_TRUE(parseValue(text) == value) << text;
    }
}

} // namespace
