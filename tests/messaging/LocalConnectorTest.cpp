#include "contract/messaging/LocalConnector.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "tests/support/FailureText.h"

namespace connector {
namespace {

struct Note final : Message
{
    std::string trail;
};

/// Writes its name on the note, then forwards it to the address it was given, through a context of
/// its own if it has one; or ends the journey with the address that is left.
class Station final : public ServiceProvider
{
public:
    explicit Station(std::string name, bool last = false, std::shared_ptr<Context> own = nullptr)
        : name_(std::move(name)), last_(last), own_(std::move(own))
    {}

    Future<std::unique_ptr<Message>> deliver(std::unique_ptr<Message>&& message, Address&& address,
                                             std::shared_ptr<Context>&& context) override
    {
        if (name_ == "broken") {
            throw std::range_error("own text");
        }
        auto& trail = messageAs<Note>(message)->trail;
        trail += name_ + (last_ ? "(" + address.toString() + ")" : ">");
        return last_ ? makeReadyFuture(std::move(message))
                     : (own_ != nullptr ? own_ : context)
                           ->send(std::move(message), std::move(address));
    }

private:
    std::string name_;
    bool last_;
    std::shared_ptr<Context> own_;
};

std::shared_ptr<ServiceProvider> stage(const char* name, bool last = false)
{
    return std::make_shared<Station>(name, last);
}

/// The trail of a note sent to @p address, or the failure's text.
std::string journey(LocalConnector& bus, const char* address)
{
    std::string trail;
    const auto failure = test::failureOf([&] {
        const auto reply = bus.createContext()->send(std::make_unique<Note>(), address).get();
        return trail = messageAs<Note>(reply)->trail;
    });
    return failure.empty() ? trail : failure;
}

TEST(AddressTest, TextAndSegmentsConvert)
{
    EXPECT_EQ(Address("//a//b/"), Address({"a", "b"}));
    EXPECT_EQ(Address({"a/b", "c"}).toString(), "a/b/c");
    EXPECT_EQ(Address({"", "x", "", "y", ""}).toString(), "x/y");
    Address address("a");
    address.push(Address("b/c"));
    address.push(address);
    EXPECT_EQ(address.pop(), "a");
    EXPECT_EQ(address.toString(), "b/c/a/b/c");
    EXPECT_THROW(Address("").pop(), std::logic_error);
}

class LocalConnectorTest : public testing::Test
{
protected:
    std::shared_ptr<LocalConnector> bus_ = std::make_shared<LocalConnector>();
};

TEST_F(LocalConnectorTest, TheLongestRegisteredPrefixReceives)
{
    bus_->registerProvider("a", stage("A", true));
    bus_->registerProvider("a/b/c", stage("C", true));
    bus_->registerProvider("bad", stage("broken"));
    const std::pair<const char*, const char*> cases[] = {
        {"a", "A()"},
        {"a/b", "A(b)"},
        {"a/b/c/d/e", "C(d/e)"},
        {"bad", "own text"},
        {"b/c", "No service provider registered at the address: b/c"},
        {"", "No service provider registered at the address: "},
    };
    for (const auto& [address, expected] : cases) {
        EXPECT_EQ(journey(*bus_, address), expected);
    }
}

TEST_F(LocalConnectorTest, ProvidersAtOneAddressFormAChain)
{
    const auto second = stage("2");
    bus_->registerProvider("y", stage("Y", true));
    bus_->registerProvider("x", std::make_shared<Station>("1", false, bus_->createContext()));
    bus_->registerProvider("x", second);
    EXPECT_EQ(journey(*bus_, "x/y/z"), "1>2>Y(z)") << "the last one forwards to what follows";
    bus_->registerProvider("x", stage("3", true));
    EXPECT_EQ(journey(*bus_, "x/rest"), "1>2>3(rest)");
    bus_->unregisterProvider("x", second);
    EXPECT_EQ(journey(*bus_, "x/rest"), "1>3(rest)");
    EXPECT_THROW(bus_->unregisterProvider("x", second), std::invalid_argument);
    EXPECT_THROW(bus_->registerProvider("", second), std::invalid_argument);
}

TEST_F(LocalConnectorTest, AContextOutlivesItsConnector)
{
    const auto context = bus_->createContext();
    bus_.reset();
    EXPECT_THROW(context->send(std::make_unique<Note>(), "x").get(), std::runtime_error);
    context->setAttribute("sessionId", "1");
    context->setAttribute("sessionId", "2");
    EXPECT_EQ(context->getAttribute("sessionId"), "2");
    EXPECT_EQ(context->getAttribute("other"), std::nullopt);
}

TEST_F(LocalConnectorTest, SendingAndRegisteringMayRunAtOnce)
{
    bus_->registerProvider("x", stage("1"));
    bus_->registerProvider("y", stage("Y", true));
    std::atomic<bool> done = false;
    std::jthread changer([&, visitor = stage("2")] {
        while (!done) {
            bus_->registerProvider("x", visitor);
            bus_->unregisterProvider("x", visitor);
        }
    });
    for (int i = 0; i < 1000; ++i) {
        const auto trail = journey(*bus_, "x/y");
        const auto cutOff = trail.starts_with("No service provider registered at the address: ");
        EXPECT_TRUE(trail == "1>Y()" || trail == "1>2>Y()" || cutOff) << trail;
    }
    done = true;
}

} // namespace
} // namespace connector
