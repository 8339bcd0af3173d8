#include <gtest/gtest.h>

#include "contract/http/MakeHttpResponse.h"
#include "contract/http/PathStartsWith.h"
#include "contract/http/RestServiceProvider.h"
#include "tests/support/HttpMessages.h"

namespace connector::http {
namespace {

TEST(PathStartsWithTest, MatchesWholeSegments)
{
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"", "", true},       {"/a", "", true},      {"/a", "/a", true},   {"/a/b", "/a", true},
        {"/ab", "/a", false}, {"/a/b", "/a/", true}, {"/a", "/a/", false}, {"/a/b", "/", true},
        {"", "/", false},     {"/A", "/a", false},
    };
    for (const auto& [path, prefix, matches] : cases) {
        EXPECT_EQ(pathStartsWith(path, prefix), matches) << path << " under " << prefix;
    }
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
        const auto reply =
            provider->deliver(test::makeHttpRequest("/p", method), Address("rest"), nullptr).get();
        const auto& response = dynamic_cast<HttpResponse&>(*reply);
        const auto served = std::string(method) == "get";
        EXPECT_EQ(response.status, served ? 200 : 405);
        EXPECT_EQ(test::bodyOf(response), served ? "/p rest" : "Method not allowed.");
        EXPECT_EQ(response.headers.count("Allow"), served ? 0U : 1U);
    }
}

} // namespace
} // namespace connector::http
