#include "server/RequestParts.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/URI.h>
#include <gtest/gtest.h>
#include <utility>

#include "server/RequestRefusal.h"

namespace connector::http {
namespace {

TEST(RequestParts, TakesTargetsApartAsTheLibraryDoes)
{
    for (const std::string target :
         {"/", "/a/b.js", "/a?b=c&d", "/?", "/a?b?c", "//host/a?b", "///a", "/a//b", "*", "a", "?a",
          "/a%20b%2Fc?d%26e=%41", "/a+b?c+d", "/a#b", "/a?b#c", "http://host:80/a?b", "/a:b",
          "/a;b"}) {
        const auto parts = parseTarget(target);
        const Poco::URI expected(target);
        EXPECT_EQ(parts.path, expected.getPath()) << target;
        EXPECT_EQ(parts.query, expected.getQuery()) << target;
        EXPECT_EQ(parts.rawQuery, expected.getRawQuery()) << target;
    }
    EXPECT_THROW(parseTarget("/%zz"), Poco::URISyntaxException);
}

TEST(RequestParts, ReadsCookiesAsTheLibraryDoes)
{
    for (const std::string field :
         {"a=b", "a=b; c=d;e = f ", "a=b;a=c; a=b", ";; a ;=x; b=", "a=b=c", "a=\"b; c\"; d=e",
          "a=b\\;c; d=e", "", " ", "a\t=\tb", "a= \" b \" ;c", "a=\"b;c=d", "\"a;b\"=c", "a=b\\",
          "a;b=\\\\\"\\\"\"\\ ;c"}) {
        RequestHead head;
        head.assign("GET / HTTP/1.1\r\nCookie: " + field + "\r\ncookie: last=1\r\n\r\n");
        Poco::Net::HTTPRequest request;
        request.add("Cookie", field);
        request.add("Cookie", "last=1");
        Poco::Net::NameValueCollection expected;
        request.getCookies(expected);
        EXPECT_EQ(collectCookies(head), StringMultimap(expected.begin(), expected.end())) << field;
    }
}

TEST(RequestParts, NormalisesPaths)
{
    const std::pair<const char*, const char*> cases[] = {{"", "/"},
                                                         {"*", "/*"},
                                                         {"/a/b/../c", "/a/c"},
                                                         {"/../x", "/x"},
                                                         {"/a/..", ""},
                                                         {"/a/../", "/"},
                                                         {"/a/b/../../../c", "/c"},
                                                         {"/..a/b", "/..a/b"},
                                                         {"/a/...", "/a/..."},
                                                         {"//../a", "/a"},
                                                         {"/a//../b", "/a/b"},
                                                         {"..", ""}};
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(normalisePath(path), expected) << path;
    }
}

TEST(RequestParts, SplitsAndDecodesParameters)
{
    const std::pair<const char*, StringMultimap> cases[] = {
        {"", {}},
        {"a=1&B=2&a=3", {{"a", "1"}, {"b", "2"}, {"a", "3"}}},
        {"&flag&&empty=&=nameless&",
         {{"", ""}, {"flag", ""}, {"", ""}, {"empty", ""}, {"", "nameless"}, {"", ""}}},
        {"%41=a%26b%3Dc&y=1=2%c3%bc+", {{"a", "a&b=c"}, {"y", "1=2\xC3\xBC+"}}}};
    for (const auto& [query, expected] : cases) {
        EXPECT_EQ(parseParameters(query), expected) << query;
    }
    EXPECT_THROW(parseParameters("a=%zz"), Poco::Exception);
}

TEST(RequestParts, RefusesMoreThanTheLimitsAndNamesThatCollide)
{
    StringMultimap expected;
    std::string query;
    std::string cookies;
    for (int i = 0; i < 40; ++i) {
        query += "&a" + std::to_string(i % 20) + "=" + std::to_string(i);
        cookies += "\"a\"=" + std::to_string(i) + ";";
        expected.emplace("a" + std::to_string(i % 20), std::to_string(i));
    }
    EXPECT_EQ(parseParameters(query.substr(1), {.parameters = 40}), expected);
    EXPECT_THROW(parseParameters(query, {.parameters = 40}), RequestRefusal);
    RequestHead head;
    head.assign("GET / HTTP/1.1\r\nCookie: " + cookies + "\r\ncookie: a=b\r\n\r\n");
    EXPECT_EQ(collectCookies(head, {.cookies = 41}).size(), 41U);
    EXPECT_THROW(collectCookies(head, {.cookies = 40}), RequestRefusal);

    StringMultimap map;
    map.reserve(40);
    std::string colliding;
    for (int found = 0, i = 0; found < 40; ++i) {
        if (const auto name = "b" + std::to_string(i); map.bucket(name) == 0) {
            colliding += (found++ == 0 ? "" : "&") + name;
        }
    }
    EXPECT_THROW(parseParameters(colliding), RequestRefusal);
}

TEST(RequestParts, TellsLocalClients)
{
    for (const auto* local : {"127.0.0.1", "127.8.0.1", "::1", "::ffff:127.0.0.1"}) {
        EXPECT_TRUE(isLocalAddress(Poco::Net::IPAddress(local))) << local;
    }
    for (const auto* remote : {"10.0.0.1", "::ffff:10.0.0.1", "::ffff:127.0.0.2", "fe80::1"}) {
        EXPECT_FALSE(isLocalAddress(Poco::Net::IPAddress(remote))) << remote;
    }
}

} // namespace
} // namespace connector::http
