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

/// Sends the next request through the provider while the one before is waited for.
struct NestingContext final : Context, std::enable_shared_from_this<NestingContext>
{
    Future<std::unique_ptr<Message>> send(std::unique_ptr<Message>&&, Address&&) override
    {
        replies.push_back(provider.handle(makeRequest("/"), Address(), shared_from_this()).get());
        return failing ? makeFailedFuture<std::unique_ptr<Message>>(std::range_error("client"))
                       : makeReadyFuture(std::make_unique<Message>());
    }

    HttpProxyServiceProvider provider{"http://up"};
    bool failing = false;
    std::vector<std::unique_ptr<Message>> replies; ///< The innermost first.
};

TEST_F(ProxyTest, RefusesTheRequestBeyondTheLimitUntilOthersHaveLeftInAnyWay)
{
    const auto nesting = std::make_shared<NestingContext>();
    for (const bool failing : {false, true, false}) {
        nesting->replies.clear();
        nesting->failing = failing;
        EXPECT_EQ(test::failureOf([&] { return nesting->send(nullptr, Address()).get(); }),
                  failing ? "client" : "");
        EXPECT_EQ(nesting->replies.size(), failing ? 1U : 49U);
        const auto* refusal = messageAs<HttpResponse>(nesting->replies.at(0));
        EXPECT_EQ(refusal->status, 503);
        EXPECT_EQ(refusal->headers,
                  (StringMultimap{{"Cache-Control", "no-store"}, {"Retry-After", "5"}}));
    }
}

} // namespace
} // namespace connector::http
