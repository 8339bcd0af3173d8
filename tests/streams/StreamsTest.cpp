#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>

#include "contract/streams/CopyPublisherToStream.h"
#include "contract/streams/ReducingSubscriber.h"
#include "tests/support/FailureText.h"

namespace connector::reactive_streams {
namespace {

using common::DataBuffer;

/// A publisher under the test's hand.
class ManualPublisher final : public PublisherAPI<DataBuffer>
{
public:
    struct Link final : Subscription
    {
        void request(std::uint64_t n) override { requested += n; }
        void cancel() override { ++cancellations; }
        std::uint64_t requested = 0;
        int cancellations = 0;
    };

    void subscribe(std::shared_ptr<SubscriberAPI<DataBuffer>> subscriber) override
    {
        items = subscriber;
        subscriber->onSubscribe(link);
    }

    std::shared_ptr<Link> link = std::make_shared<Link>();
    std::shared_ptr<SubscriberAPI<DataBuffer>> items;
};

using Reducing = ReducingSubscriber<DataBuffer, DataBuffer>;

TEST(ReducingSubscriberTest, EveryEndAnswersThoseWhoAskedAndThoseWhoAskLater)
{
    struct Case
    {
        const char* name;
        void (*end)(Reducing&);
        const char* result;
        const char* failure;
        int cancellations;
    };
    const Case cases[] = {
        {"completed", [](auto& reducing) { reducing.onComplete(); }, "abcd", "", 0},
        {"cancelled", [](auto& reducing) { reducing.cancel(); }, "", "", 1},
        {"failed",
         [](auto& reducing) {
             reducing.onError(std::make_exception_ptr(std::range_error("lost")));
         },
         "", "lost", 0},
        {"failed without an exception", [](auto& reducing) { reducing.onError(nullptr); }, "",
         "Failed without an exception.", 0},
        {"not reduced", [](auto& reducing) { reducing.onNext(DataBuffer("!")); }, "", "full", 1},
        {"completed meanwhile", [](auto& reducing) { reducing.onNext(DataBuffer("?")); }, "abcd?e",
         "", 0},
    };
    for (const auto& [name, end, expected, failure, cancellations] : cases) {
        for (const auto askLater : {false, true}) {
            SCOPED_TRACE(name);
            ManualPublisher publisher;
            std::shared_ptr<Reducing> reducing;
            reducing = std::make_shared<Reducing>([&](DataBuffer&& all, DataBuffer&& item) {
                if (item.view() == "!") {
                    throw std::range_error("full");
                }
                if (item.view() == "?") {
                    std::jthread([&] {
                        reducing->onNext(DataBuffer("e"));
                        reducing->onComplete();
                    }).join();
                }
                return common::concatenate(std::move(all), std::move(item));
            });
            publisher.subscribe(reducing);
            EXPECT_EQ(publisher.link->requested, kUnboundedDemand);
            auto result = askLater ? Future<DataBuffer>() : reducing->getResult();
            reducing->onNext(DataBuffer("ab"));
            reducing->onNext(DataBuffer("cd"));
            EXPECT_FALSE(!askLater && result.isReady());
            end(*reducing);
            reducing->onNext(DataBuffer("late"));
            reducing->onComplete();
            reducing->cancel();
            EXPECT_EQ(publisher.link->cancellations, cancellations);
            result = askLater ? reducing->getResult() : std::move(result);
            DataBuffer got;
            EXPECT_EQ(test::failureOf([&] { return got = result.get(), 0; }), failure);
            EXPECT_EQ(got.view(), expected);
        }
    }
}

TEST(ReducingSubscriberTest, ReportsASubscriptionThatWentAway)
{
    ManualPublisher publisher;
    const auto reducing = std::make_shared<Reducing>(common::concatenate);
    EXPECT_NO_THROW(std::make_shared<Reducing>(common::concatenate)->cancel()) << "not subscribed";
    publisher.subscribe(reducing);
    publisher.link.reset();
    EXPECT_EQ(test::failureOf([&] { reducing->cancel(); }), "Subscription went away!");
}

TEST(DataBufferTest, GrowsByDoublingFromEightAndMovesItsBytes)
{
    DataBuffer buffer;
    const auto* bytes = buffer.data();
    EXPECT_NE(bytes, nullptr);
    EXPECT_EQ(buffer.capacity(), 8U);
    EXPECT_TRUE(buffer.empty());
    buffer.append("12345678");
    EXPECT_EQ(buffer.data(), bytes);
    buffer.append("9");
    EXPECT_EQ(buffer.capacity(), 16U);
    bytes = buffer.data();
    const auto copy = buffer.clone();
    DataBuffer moved(std::move(buffer));
    EXPECT_TRUE(buffer.empty()); // NOLINT(bugprone-use-after-move): a moved-from buffer is empty
    EXPECT_NE(copy.view().data(), bytes);
    EXPECT_EQ(copy.view(), "123456789");
    EXPECT_EQ(common::concatenate(DataBuffer(), std::move(moved)).data(), bytes);
    EXPECT_EQ(common::concatenate(DataBuffer("a"), DataBuffer("b")).view(), "ab");
}

TEST(DataBufferTest, ItsMemoryCountsAgainstTheBudgetAndFollowsWhatArrives)
{
    constexpr std::size_t kLimit = 1'000'000;
    const auto budget = std::make_shared<common::MemoryBudget>(kLimit);
    {
        DataBuffer buffer(budget);
        buffer.reserveTowards(1, std::uint64_t{1} << 40U);
        EXPECT_LT(budget->used(), kLimit / 10) << "the announcement alone takes no memory";
        buffer.append(std::string(300'000, 'x'));
        buffer.reserveTowards(300'001, 400'000);
        EXPECT_EQ(budget->used(), 400'000U);
        DataBuffer other(budget);
        EXPECT_THROW(other.reserve(700'000), common::MemoryBudgetExceeded);
        EXPECT_EQ(other.capacity(), 0U);
        other = std::move(buffer);
        EXPECT_EQ(concatenate(DataBuffer(), std::move(other)).view(), std::string(300'000, 'x'));
        EXPECT_EQ(budget->used(), 0U) << "freed with the last buffer that it was moved to";
    }
    EXPECT_EQ(budget->used(), 0U);
}

TEST(CopyPublisherToStreamTest, TellsHowTheCopyEnded)
{
    const auto publisher = std::make_shared<ManualPublisher>();
    std::ostringstream stream;
    auto copied = copyPublisherToStream(publisher, stream);
    publisher->items->onNext(DataBuffer("ab"));
    publisher->items->onNext(DataBuffer("cd"));
    EXPECT_FALSE(copied.isReady());
    publisher->items->onComplete();
    EXPECT_TRUE(copied.get());
    EXPECT_EQ(stream.str(), "abcd");

    auto failed = copyPublisherToStream(publisher, stream);
    publisher->items->onError(std::make_exception_ptr(std::range_error("lost")));
    EXPECT_THROW(failed.get(), std::range_error);

    stream.setstate(std::ios::badbit);
    auto unwritten = copyPublisherToStream(publisher, stream);
    publisher->items->onComplete();
    EXPECT_FALSE(unwritten.get());
}

} // namespace
} // namespace connector::reactive_streams
