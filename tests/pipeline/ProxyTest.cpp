#include <gtest/gtest.h>

#include "contract/http/HttpClientMessages.h"
#include "pipeline/HttpProxyServiceProvider.h"
#include "tests/pipeline/FakePipeline.h"
#include "tests/support/FailureText.h"

namespace connector::http {
namespace {

class ProxyTest : public testing::Test
{
protected:
    std::unique_ptr<Message> proxy(const std::string& path, const std::string& query = "")
    {
        auto request = makeRequest(path);
        request->query = query;
        request->headers = {{"host", "me"}, {"cookie", "a=1"}};
        request->cookies = {{"a", "1"}};
        request->body = makeBody(common::DataBuffer("b"));
        request->stopToken = stopSource_.get_token();
        HttpProxyServiceProvider provider("http://up");
        auto reply = provider.handle(std::move(request), Address(), client_);
        EXPECT_TRUE(reply.isReady());
        EXPECT_EQ(client_->addresses.back(), "connector/http/client");
        return reply.get();
    }

    std::stop_source stopSource_;
    std::shared_ptr<FakeContext<HttpClientRequest>> client_ =
        std::make_shared<FakeContext<HttpClientRequest>>();
};

/// Sends the next request through the provider while the one before is waited for.
class NestingContext final : public Context, public std::enable_shared_from_this<NestingContext>
{
public:
    NestingContext(HttpProxyServiceProvider& provider, bool failing)
        : provider_(provider), failing_(failing)
    {}

    HttpResponse ask()
    {
        return responseOf(provider_.handle(makeRequest("/"), Address(), shared_from_this()));
    }

    Future<std::unique_ptr<Message>> send(std::unique_ptr<Message>&& /*message*/,
                                          Address&& /*address*/) override
    {
        if (++sent == 64) { // beyond all limits
            return makeReadyFuture(std::make_unique<Message>());
        }
        if (auto response = ask(); response.status == 503) {
            refusals.push_back(response.headers);
            if (failing_) {
                throw std::range_error("client");
            }
        }
        return makeReadyFuture(std::make_unique<Message>());
    }

    int sent = 0;
    std::vector<StringMultimap> refusals;

private:
    HttpProxyServiceProvider& provider_;
    const bool failing_;
};

TEST_F(ProxyTest, EncodesPathAndQueryAndAlwaysAddsTheQuestionMark)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/a/b", "", "http://up/a/b?"},
        {"", "x=1&y=a+b/?", "http://up?x=1&y=a+b/?"},
        {"/100% a?b#c", "q=%#", "http://up/100%25%20a%3Fb%23c?q=%25%23"},
        {"/\r\nX: y", "\r\n\r\n\xC3\xBC", "http://up/%0D%0AX:%20y?%0D%0A%0D%0A%C3%BC"},
        {"/~user/(a),b;v=1@x", "[]", "http://up/~user/(a),b;v=1@x?%5B%5D"},
    };
    for (const auto& [path, query, url] : cases) {
        proxy(path, query);
        EXPECT_EQ(client_->requests.back()->url, url);
    }
    const auto& request = *client_->requests.back();
    EXPECT_EQ(request.method, "get");
    EXPECT_EQ(request.headers, (StringMultimap{{"host", "me"}, {"cookie", "a=1"}}));
    EXPECT_TRUE(request.cookies.empty()) << "the header carries them";
    EXPECT_NE(request.body, nullptr);
}

TEST_F(ProxyTest, ReturnsTheAnswerAndEachCookieOnce)
{
    const StringMultimap headers{{"x", "y"}, {"set-cookie", "a=1; Path=/"}};
    client_->replies.push_front(makeReadyFuture<std::unique_ptr<Message>>(
        std::make_unique<HttpClientResponse>(std::uint16_t{203}, StringMultimap(headers),
                                             StringMultimap{{"a", "1"}, {"aa", "2"}},
                                             makeBody(common::DataBuffer("body")))));
    const auto reply = proxy("/");
    const auto* response = messageAs<HttpResponse>(reply);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->status, 203);
    EXPECT_EQ(response->headers, headers);
    EXPECT_EQ(response->cookies, (StringMultimap{{"aa", "2"}}));
    EXPECT_NE(response->body, nullptr);
}

TEST_F(ProxyTest, EveryOtherOutcomeIsAFailure)
{
    client_->replies.push_front(makeReadyFuture(std::make_unique<Message>()));
    EXPECT_EQ(messageAs<HttpResponse>(proxy("/"))->status, 500);
    client_->replies.push_front(
        makeFailedFuture<std::unique_ptr<Message>>(std::range_error("client")));
    EXPECT_THROW(proxy("/"), std::range_error);
    Promise<std::unique_ptr<Message>> silent;
    client_->replies.push_front(silent.getFuture());
    stopSource_.request_stop();
    EXPECT_THROW(proxy("/"), std::runtime_error);
}

TEST(ProxyLimitTest, TheRequestBeyondTheLimitIsRefusedUntilOthersHaveLeftInAnyWay)
{
    HttpProxyServiceProvider provider("http://up");
    for (const bool failing : {false, true, false}) {
        const auto context = std::make_shared<NestingContext>(provider, failing);
        const auto outermost = test::failureOf([&] { return context->ask(); });
        EXPECT_EQ(outermost, failing ? "client" : "");
        EXPECT_EQ(context->sent, 48);
        EXPECT_EQ(context->refusals, (std::vector<StringMultimap>{
                                         {{"Cache-Control", "no-store"}, {"Retry-After", "5"}}}));
    }
}

} // namespace
} // namespace connector::http
