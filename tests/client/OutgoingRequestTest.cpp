#include "client/OutgoingRequest.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

namespace connector::http {
namespace {

TEST(UpstreamUrlTest, TakesAUrlApartAndKeepsItsTarget)
{
    struct Case
    {
        const char* url;
        const char* origin;
        const char* host;
        const char* target;
    };
    const Case cases[] = {
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

TEST(OutgoingRequestTest, FramesTheRequestAnewWhateverItsHeadersSay)
{
    struct Case
    {
        const char* name;
        const char* method;
        StringMultimap headers;
        StringMultimap cookies;
        const char* head;
    };
    const Case cases[] = {
        {"get",
         "GET",
         {{"content-length", "9"}},
         {},
         "GET /p? HTTP/1.1\r\nHost: up\r\nConnection: close\r\n\r\n"},
        {"post",
         "POST",
         {{"Content-Length", "9"}, {"transfer-encoding", "chunked"}},
         {},
         "POST /p? HTTP/1.1\r\nHost: up\r\nConnection: close\r\nContent-Length: 5\r\n\r\n"},
        {"connection headers",
         "GET",
         {{"connection", "keep-alive, X-Private"},
          {"x-private", "1"},
          {"upgrade", "h2c"},
          {"te", "trailers"},
          {"Keep-Alive", "5"},
          {"expect", "100-continue"},
          {"accept", "*/*"}},
         {},
         "GET /p? HTTP/1.1\r\nHost: up\r\naccept: */*\r\nConnection: close\r\n\r\n"},
        {"one host",
         "GET",
         {{"host", "me"}, {"Host", "me"}},
         {},
         "GET /p? HTTP/1.1\r\nHost: me\r\nConnection: close\r\n\r\n"},
        {"one cookie line",
         "GET",
         {{"cookie", "a=1"}, {"Cookie", "a=1"}},
         {{"b", "2"}},
         "GET /p? HTTP/1.1\r\nHost: up\r\nCookie: a=1; a=1; b=2\r\nConnection: close\r\n\r\n"},
    };
    const auto url = parseUrl("http://up:8080/p?");
    for (const auto& [name, method, headers, cookies, head] : cases) {
        SCOPED_TRACE(name);
        const HttpClientRequest request("", "", StringMultimap(headers), StringMultimap(cookies),
                                        nullptr);
        EXPECT_EQ(formatRequestHead(request, url, method, 5), head);
    }
}

TEST(OutgoingRequestTest, RefusesWhatWouldSplitTheRequest)
{
    const std::pair<StringMultimap, StringMultimap> cases[] = {
        {{{"x", "1\r\nY: 2"}}, {}}, {{{"x\n", "1"}}, {}},      {{{"x", std::string("\0", 1)}}, {}},
        {{{"host", "a\nb"}}, {}},   {{{"cookie", "a\r"}}, {}}, {{}, {{"a", "1\n"}}},
    };
    const auto url = parseUrl("http://up/");
    for (const auto& [headers, cookies] : cases) {
        const HttpClientRequest request("", "", StringMultimap(headers), StringMultimap(cookies),
                                        nullptr);
        EXPECT_THROW(formatRequestHead(request, url, "GET", 0), std::invalid_argument);
    }
    const HttpClientRequest plain("", "", {}, {}, nullptr);
    EXPECT_THROW(formatRequestHead(plain, url, "GET /x HTTP/1.1\r\n", 0), std::invalid_argument);
}

} // namespace
} // namespace connector::http
