#include <gtest/gtest.h>

#include "contract/http/HttpResponse.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/http/PathStartsWith.h"
#include "contract/http/RestServiceProvider.h"
#include "contract/streams/ReducingSubscriber.h"

namespace connector::http {
namespace {

std::string bodyOf(HttpResponse& response)
{
    using common::DataBuffer;
    const auto reducing =
        std::make_shared<reactive_streams::ReducingSubscriber<DataBuffer, DataBuffer>>(
            common::concatenate);
    response.body->subscribe(reducing);
    return std::string(reducing->getResult().get().view());
}

TEST(PathStartsWithTest, MatchesWholeSegments)
{
    struct Case
    {
        const char* path;
        const char* prefix;
        bool matches;
    };
    const Case cases[] = {
        {"", "", true},       {"/a", "", true},     {"/a", "/a", true},    {"/a/", "/a", true},
        {"/a/b", "/a", true}, {"/ab", "/a", false}, {"/a/b", "/a/", true}, {"/a", "/a/", false},
        {"/a/b", "/", true},  {"", "/", false},     {"/A", "/a", false},   {"/x/a", "/a", false},
    };
    for (const auto& [path, prefix, matches] : cases) {
        EXPECT_EQ(pathStartsWith(path, prefix), matches) << path << " under " << prefix;
    }
}

TEST(MakeHttpResponseTest, HoldsTheTextAndNothingElse)
{
    auto ready = makeReadyHttpResponse(403, "No.");
    ASSERT_TRUE(ready.isReady());
    const auto message = ready.get();
    auto* response = messageAs<HttpResponse>(message);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->status, 403);
    EXPECT_TRUE(response->headers.empty() && response->cookies.empty());
    EXPECT_EQ(bodyOf(*response), "No.");
}

class ReadingProvider final : public RestServiceProvider
{
public:
    Future<std::unique_ptr<Message>> doGet(std::unique_ptr<HttpRequest>&& request,
                                           Address&& address, std::shared_ptr<Context>&&) override
    {
        return makeReadyHttpResponse(200, request->path + " " + address.toString());
    }

protected:
    [[nodiscard]] std::string allowedMethods() const override { return "GET"; }
};

TEST(RestServiceProviderTest, DispatchesOnTheMethodAndRefusesTheRest)
{
    const auto provider = std::make_shared<ReadingProvider>();
    for (const auto* method : {"get", "head", "post", "put", "delete", "options", "GET", ""}) {
        SCOPED_TRACE(method);
        auto request =
            std::make_unique<HttpRequest>("http://h/", "/p", "", method, StringMultimap(),
                                          StringMultimap(), StringMultimap(), true, nullptr);
        const auto reply = provider->deliver(std::move(request), Address("rest"), nullptr).get();
        auto* response = messageAs<HttpResponse>(reply);
        ASSERT_NE(response, nullptr);
        const auto served = std::string(method) == "get";
        EXPECT_EQ(response->status, served ? 200 : 405);
        EXPECT_EQ(bodyOf(*response), served ? "/p rest" : "Method not allowed.");
        const auto allow = response->headers.find("Allow");
        EXPECT_EQ(allow != response->headers.end() && allow->second == "GET", !served);
    }
}

} // namespace
} // namespace connector::http
