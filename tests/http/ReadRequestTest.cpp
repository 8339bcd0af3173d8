#include "contract/http/ReadRequest.h"

#include <functional>
#include <gtest/gtest.h>

#include "contract/http/HttpError.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/streams/TransformProcessor.h"
#include "tests/support/HttpMessages.h"

namespace connector::http {
namespace {

/// The status and text of the HttpError that a function throws, "" for none.
std::string errorOf(const std::function<void()>& function)
{
    try {
        function();
        return "";
    } catch (const HttpError& error) {
        return std::to_string(error.status()) + " " + error.what();
    }
}

TEST(ReadRequestTest, ReadsPathsAndNumbersAndBlamesTheClientForBadOnes)
{
    using Segments = std::vector<std::string>;
    EXPECT_EQ(pathSegments("/users/7//name/", "/users/"), (Segments{"7", "name"}));
    EXPECT_EQ(pathSegments("/users", "/users"), Segments());
    EXPECT_THROW(pathSegments("/userss/7", "/users"), std::invalid_argument);

    const auto request = test::makeHttpRequest("/");
    request->parameters = {{"n", "42"}, {"bad", "4x"}, {"empty", ""}};
    EXPECT_EQ(readNumber(*request, "n", 1, 42), 42);
    EXPECT_EQ(readNumber(*request, "none", 1, 42, 7), 7);
    for (const std::string name : {"bad", "empty", "none"}) {
        EXPECT_EQ(errorOf([&] { readNumber(*request, name, 1, 42); }),
                  "400 The parameter " + name + " is no number from 1 to 42.");
    }
    EXPECT_NE(errorOf([&] { readNumber(*request, "n", 1, 41, 7); }), "");
}

TEST(ReadRequestTest, CollectsABodyInOneOrManyBuffersUpToItsBound)
{
    EXPECT_EQ(collectText(nullptr, 0).get(), "");
    EXPECT_EQ(collectText(makeBody(common::DataBuffer("four")), 4).get(), "four");
    const auto tooLong = "413 The body is longer than 3 bytes.";
    EXPECT_EQ(errorOf([] { collectText(makeBody(common::DataBuffer("four")), 3).get(); }), tooLong);

    using Pass = reactive_streams::TransformProcessor<common::DataBuffer, common::DataBuffer>;
    for (const std::size_t bound : {4U, 3U}) {
        const auto publisher =
            std::make_shared<Pass>([](common::DataBuffer&& buffer) { return std::move(buffer); });
        auto text = collectText(publisher, bound);
        publisher->onNext(common::DataBuffer("fo"));
        publisher->onNext(common::DataBuffer("ur"));
        publisher->onComplete();
        EXPECT_EQ(errorOf([&] { EXPECT_EQ(text.get(), "four"); }), bound == 4 ? "" : tooLong);
    }
}

} // namespace
} // namespace connector::http
