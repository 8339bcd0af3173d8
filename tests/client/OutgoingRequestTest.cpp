#include "client/OutgoingRequest.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

namespace connector::http::client {
namespace {

TEST(UpstreamUrlTest, TakesAUrlApartAndKeepsItsTarget)
{
    using Text = const char*;
    const std::tuple<Text, Text, Text, Text> cases[] = {
        {"http://h", "http://h:80", "h", "/"},
        {"http://h?", "http://h:80", "h", "/?"},
        {"HTTPS://H:8443/a/?#f", "https://h:8443", "h", "/a/?"},
        {"https://h/a%2Fb%zz?x=%41", "https://h:443", "h", "/a%2Fb%zz?x=%41"},
        {"http://user:pw@[::1]:81/", "http://[::1]:81", "[::1]", "/"},
        {"ftp://h/", "http://h:21", "h", "/"},
        {"http://h/a b\r\nX: y\x7F\xC3\xA4", "http://h:80", "h", "/a%20b%0D%0AX:%20y%7F%C3%A4"},
    };
    for (const auto& [text, origin, host, target] : cases) {
        SCOPED_TRACE(text);
        const auto url = parseUrl(text);
        EXPECT_EQ(url.origin(), origin);
        EXPECT_EQ(url.hostHeader(), host);
        EXPECT_EQ(url.target, target);
    }
    for (const auto* text : {"", "/path", "http:///path"}) {
        EXPECT_ANY_THROW(parseUrl(text)) << text;
    }
    EXPECT_THROW(parseUrl("http://h:99999/"), Poco::SyntaxException);
}

std::string headOf(const char* method, const StringMultimap& headers,
                   const StringMultimap& cookies = {})
{
    const HttpClientRequest request("", "", StringMultimap(headers), StringMultimap(cookies),
                                    nullptr);
    return formatRequestHead(request, parseUrl("http://up:8080/p?"), method, 5);
}

TEST(OutgoingRequestTest, FramesTheRequestAnewWhateverItsHeadersSay)
{
    const std::string get = "GET /p? HTTP/1.1\r\n";
    const std::string close = "Connection: close\r\n";
    EXPECT_EQ(headOf("GET", {{"content-length", "9"}}), get + "Host: up\r\n" + close + "\r\n");
    EXPECT_EQ(headOf("POST", {{"Content-Length", "9"}, {"transfer-encoding", "chunked"}}),
              "POST /p? HTTP/1.1\r\nHost: up\r\n" + close + "Content-Length: 5\r\n\r\n");
    EXPECT_EQ(headOf("GET", {{"connection", "keep-alive, X-Private"},
                             {"x-private", "1"},
                             {"upgrade", "h2c"},
                             {"te", "trailers"},
                             {"Keep-Alive", "5"},
                             {"expect", "100-continue"},
                             {"accept", "*/*"}}),
              get + "Host: up\r\naccept: */*\r\n" + close + "\r\n");
    EXPECT_EQ(headOf("GET", {{"host", "me"}, {"Host", "me"}}),
              get + "Host: me\r\n" + close + "\r\n");
    EXPECT_EQ(headOf("GET", {{"cookie", "a=1"}, {"Cookie", "a=1"}}, {{"b", "2"}}),
              get + "Host: up\r\nCookie: a=1; a=1; b=2\r\n" + close + "\r\n");
}

TEST(OutgoingRequestTest, RefusesWhatWouldSplitTheRequest)
{
    const StringMultimap splitting[] = {{{"x", "1\r\nY: 2"}},
                                        {{"x\n", "1"}},
                                        {{"x", std::string("\0", 1)}},
                                        {{"host", "a\nb"}},
                                        {{"cookie", "a\r"}}};
    for (const auto& headers : splitting) {
        EXPECT_THROW(headOf("GET", headers), std::invalid_argument);
    }
    EXPECT_THROW(headOf("GET", {}, {{"a", "1\n"}}), std::invalid_argument);
    EXPECT_THROW(headOf("GET /x HTTP/1.1\r\n", {}), std::invalid_argument);
}

} // namespace
} // namespace connector::http::client
