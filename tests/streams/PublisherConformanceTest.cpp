#include <functional>
#include <gtest/gtest.h>

#include "contract/streams/CachedValuePublisher.h"
#include "contract/streams/OneShotPublisher.h"
#include "contract/streams/TransformProcessor.h"
#include "tests/support/FailureText.h"
#include "tests/support/RecordingSubscriber.h"

// The rules of the stream protocol, checked for every kind of publisher.

namespace connector::reactive_streams {
namespace {

struct OneShotCase
{
    static constexpr std::size_t kItems = 1;
    static constexpr const char* kRefusal = "Only one subscription allowed.";

    std::shared_ptr<PublisherAPI<int>> publisher = std::make_shared<OneShotPublisher<int>>(0);
    void feed() const {}
};

/// Its item is made when it is asked for, as the content of a file is.
struct OneShotSourceCase
{
    struct Source
    {
        [[nodiscard]] int read() const { return 0; }
    };
    static constexpr std::size_t kItems = 1;
    static constexpr const char* kRefusal = "Only one subscription allowed.";

    std::shared_ptr<PublisherAPI<int>> publisher =
        std::make_shared<OneShotPublisher<int, Source>>(Source());
    void feed() const {}
};

using Cached = CachedValuePublisher<int, std::function<void()>>;
struct CachedValueCase
{
    static constexpr std::size_t kItems = 3;
    static constexpr const char* kRefusal = "Only one subscription allowed.";

    std::shared_ptr<Cached> publisher = std::make_shared<Cached>();
    void feed() const
    {
        for (const int item : {0, 1, 2}) {
            publisher->publish(item);
        }
        publisher->stream()->complete();
    }
};

struct TransformCase
{
    static constexpr std::size_t kItems = 1;
    static constexpr const char* kRefusal = "Only one subscription is supported";

    std::shared_ptr<OneShotPublisher<int>> source = std::make_shared<OneShotPublisher<int>>(7);
    std::shared_ptr<TransformProcessor<int, int>> publisher =
        std::make_shared<TransformProcessor<int, int>>([](int&& item) { return item - 7; });
    void feed() const { source->subscribe(publisher); }
};

template <typename Case>
class PublisherConformance : public testing::Test
{
protected:
    void TearDown() override
    {
        // A stream that has not ended keeps its subscriber, and this one keeps its stream.
        if (subscriber_->subscription != nullptr) {
            cancel();
        }
    }

    void subscribe() { case_.publisher->subscribe(subscriber_); }
    void request(std::uint64_t n) { subscriber_->subscription->request(n); }
    void feed() { case_.feed(); }
    void cancel() { subscriber_->subscription->cancel(); }

    Case case_;
    std::shared_ptr<test::RecordingSubscriber<int>> subscriber_ =
        std::make_shared<test::RecordingSubscriber<int>>();
};

using Cases = testing::Types<OneShotCase, OneShotSourceCase, CachedValueCase, TransformCase>;
TYPED_TEST_SUITE(PublisherConformance, Cases);

TYPED_TEST(PublisherConformance, DeliversWhatIsAskedForThenCompletesOnceToOneSubscriber)
{
    this->subscribe();
    EXPECT_EQ(test::failureOf([this] { this->subscribe(); }), TypeParam::kRefusal);
    this->feed();
    EXPECT_TRUE(this->subscriber_->items.empty());
    this->request(1);
    EXPECT_EQ(this->subscriber_->items.size(), 1U);
    this->request(kUnboundedDemand);
    this->request(kUnboundedDemand); // demand saturates
    EXPECT_EQ(this->subscriber_->completions, 1);
    EXPECT_EQ(this->subscriber_->failure, nullptr);
}

TYPED_TEST(PublisherConformance, DeliversInOrderToOneThatAsksFirst)
{
    this->subscribe();
    this->request(TypeParam::kItems - 1);
    this->feed();
    EXPECT_EQ(this->subscriber_->items.size(), TypeParam::kItems - 1);
    this->request(1);
    const std::vector<int> all = {0, 1, 2};
    EXPECT_EQ(this->subscriber_->items, std::vector(all.begin(), all.begin() + TypeParam::kItems));
    EXPECT_EQ(this->subscriber_->completions, 1);
}

TYPED_TEST(PublisherConformance, IsSilentOnceCancelled)
{
    for (const auto early : {true, false}) {
        SCOPED_TRACE(early ? "before any item" : "from within the first item");
        this->case_ = TypeParam();
        this->subscriber_ = std::make_shared<test::RecordingSubscriber<int>>();
        this->subscriber_->onItem = [this] { this->cancel(); };
        this->subscribe();
        if (early) {
            this->cancel();
        }
        this->request(kUnboundedDemand);
        this->feed();
        EXPECT_EQ(this->subscriber_->items.size(), early ? 0U : 1U);
        EXPECT_EQ(this->subscriber_->completions, 0);
    }
}

TEST(OneShotPublisherTest, IsTakenOrSubscribedToButOnce)
{
    const auto subscriber = std::make_shared<test::RecordingSubscriber<int>>();
    const auto taken = std::make_shared<OneShotPublisher<int>>(7);
    EXPECT_EQ(taken->take(), 7);
    EXPECT_EQ(taken->take(), std::nullopt);
    EXPECT_EQ(test::failureOf([&] { taken->subscribe(subscriber); }), OneShotCase::kRefusal);
    const auto subscribed = std::make_shared<OneShotPublisher<int>>(7);
    subscribed->subscribe(subscriber);
    EXPECT_EQ(subscribed->take(), std::nullopt);
    subscriber->subscription->request(1);
    EXPECT_EQ(subscriber->items, std::vector<int>{7});
}

TEST(CachedValuePublisherTest, KeepsTheLatestValueForOneThatHasNotAsked)
{
    int cancellations = 0;
    Cached publisher([&] { ++cancellations; });
    const auto subscriber = std::make_shared<test::RecordingSubscriber<int>>();
    publisher.subscribe(subscriber);
    publisher.publish(1);
    publisher.publish(2);
    subscriber->subscription->request(2);
    publisher.publish(3);
    publisher.publish(4);
    publisher.publish(5);
    subscriber->subscription->request(1);
    EXPECT_EQ(subscriber->items, (std::vector<int>{2, 3, 5}));
    subscriber->subscription->cancel();
    subscriber->subscription->cancel();
    EXPECT_EQ(cancellations, 1);
}

TEST(TransformProcessorTest, PassesFailureDownAndCancellationUpWhicheverSideComesFirst)
{
    const auto copy = [](int&& item) { return item; };
    for (const auto& failure :
         {std::make_exception_ptr(std::range_error("upstream")), std::exception_ptr()}) {
        const auto processor = std::make_shared<TransformProcessor<int, int>>(copy);
        processor->onError(failure);
        const auto subscriber = std::make_shared<test::RecordingSubscriber<int>>();
        processor->subscribe(subscriber);
        EXPECT_NE(subscriber->failure, nullptr);
        EXPECT_EQ(subscriber->completions, 0);
    }

    int cancellations = 0;
    Cached upstream([&] { ++cancellations; });
    const auto cancelled = std::make_shared<TransformProcessor<int, int>>(copy);
    const auto impatient = std::make_shared<test::RecordingSubscriber<int>>();
    cancelled->subscribe(impatient);
    impatient->subscription->cancel();
    upstream.subscribe(cancelled);
    EXPECT_EQ(cancellations, 1);
}

} // namespace
} // namespace connector::reactive_streams
