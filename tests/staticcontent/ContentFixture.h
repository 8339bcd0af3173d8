#pragma once

#include <gtest/gtest.h>
#include <map>

#include "staticcontent/StaticContentServiceImpl.h"
#include "staticcontent/StaticContentServiceProvider.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http {

/// What a client would see of an HttpResponse.
struct Reply
{
    int status = 0;
    std::map<std::string, std::string> headers;
    std::string body;
};

/// A service whose routes lead below a temporary directory, behind its provider.
class ContentFixture : public testing::Test
{
protected:
    using Routes = std::map<std::string, std::wstring, std::greater<std::string>>;
    using CacheFlags = std::map<std::string, bool, std::greater<std::string>>;

    void mount(const std::string& route, const std::string& directory)
    {
        service_->addStaticContentPath(route, (directory_.path() / directory).wstring(), false);
    }

    Reply get(std::string_view path, StringMultimap headers = {}, const char* method = "get")
    {
        auto request = test::makeHttpRequest(std::string(path), method, std::move(headers));
        const auto message =
            StaticContentServiceProvider(service_).handle(std::move(request), {}, nullptr).get();
        const auto& response = dynamic_cast<HttpResponse&>(*message);
        Reply reply{response.status,
                    {response.headers.begin(), response.headers.end()},
                    test::bodyOf(response)};
        EXPECT_EQ(reply.headers.size(), response.headers.size()) << "a header is there twice";
        return reply;
    }

    test::TemporaryDirectory directory_;
    std::shared_ptr<StaticContentService> service_ =
        std::make_shared<StaticContentServiceImpl>(nullptr, Routes(), CacheFlags(), false);
};

} // namespace connector::http
