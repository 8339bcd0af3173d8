#include <gtest/gtest.h>

#include "contract/http/HttpClientMessages.h"
#include "pipeline/HttpProxyServiceProvider.h"
#include "tests/pipeline/FakePipeline.h"

namespace connector::http {
namespace {

/// The bus with a client service on it that keeps the request and gives one reply.
class FakeClientService final : public Context
{
public:
    Future<std::unique_ptr<Message>> send(std::unique_ptr<Message>&& message,
                                          Address&& address) override
    {
        EXPECT_EQ(address, Address("connector/http/client"));
        request.reset(dynamic_cast<HttpClientRequest*>(message.release()));
        return std::move(reply);
    }

    std::unique_ptr<HttpClientRequest> request;
    Future<std::unique_ptr<Message>> reply;
};

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
        return reply.get();
    }

    std::stop_source stopSource_;
    std::shared_ptr<FakeClientService> client_ = std::make_shared<FakeClientService>();
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
        client_->reply = makeReadyFuture(std::make_unique<Message>());
        proxy(path, query);
        EXPECT_EQ(client_->request->url, url);
    }
    EXPECT_EQ(client_->request->method, "get");
    EXPECT_EQ(client_->request->headers, (StringMultimap{{"host", "me"}, {"cookie", "a=1"}}));
    EXPECT_TRUE(client_->request->cookies.empty()) << "the header carries them";
    EXPECT_NE(client_->request->body, nullptr);
}

TEST_F(ProxyTest, ReturnsTheAnswerAndEachCookieOnce)
{
    const StringMultimap headers{{"x", "y"}, {"set-cookie", "a=1; Path=/"}};
    client_->reply = makeReadyFuture<std::unique_ptr<Message>>(std::make_unique<HttpClientResponse>(
        std::uint16_t{203}, StringMultimap(headers), StringMultimap{{"a", "1"}, {"aa", "2"}},
        makeBody(common::DataBuffer("body"))));
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
    client_->reply = makeReadyFuture(std::make_unique<Message>());
    EXPECT_EQ(messageAs<HttpResponse>(proxy("/"))->status, 500);
    client_->reply = makeFailedFuture<std::unique_ptr<Message>>(std::range_error("client"));
    EXPECT_THROW(proxy("/"), std::range_error);
    Promise<std::unique_ptr<Message>> silent;
    client_->reply = silent.getFuture();
    stopSource_.request_stop();
    EXPECT_THROW(proxy("/"), std::runtime_error);
}

} // namespace
} // namespace connector::http
