#include "client/OutgoingRequest.h"

#include <stdexcept>
#include <string_view>

#include "client/ConnectionHeaders.h"
#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"

namespace connector::http::client {

namespace {

using common::equalsIgnoreCaseAscii;

/// What a usual head has room in, apart from the headers that pass.
constexpr std::size_t kUsualSize = 512;

void appendField(std::string& head, std::string_view name, std::string_view value)
{
    if (!isToken(name) || !isFieldValue(value)) {
        throw std::invalid_argument("The request header is malformed.");
    }
    head.append(name).append(": ").append(value).append("\r\n");
}

void appendCookie(std::string& cookies, const std::string& cookie)
{
    cookies += (cookies.empty() ? "" : "; ") + cookie;
}

} // namespace

bool sendsBody(const std::string& method)
{
    return method != "GET" && method != "HEAD" && method != "DELETE";
}

std::string formatRequestHead(const HttpClientRequest& request, const UpstreamUrl& url,
                              const std::string& method, std::size_t bodySize)
{
    if (!isToken(method)) {
        throw std::invalid_argument("The request method is malformed.");
    }
    const ConnectionHeaders ofConnection(request.headers);
    std::string host;
    std::string cookies;
    std::string fields;
    for (const auto& [name, value] : request.headers) {
        if (ofConnection.contain(name)) {
            continue;
        }
        if (equalsIgnoreCaseAscii(name, "host")) {
            host = host.empty() ? value : host;
        } else if (equalsIgnoreCaseAscii(name, "cookie")) {
            appendCookie(cookies, value);
        } else if (!equalsIgnoreCaseAscii(name, "content-length") &&
                   !equalsIgnoreCaseAscii(name, "expect")) {
            appendField(fields, name, value);
        }
    }
    for (const auto& [name, value] : request.cookies) {
        appendCookie(cookies, name + "=" + value);
    }
    std::string head;
    head.reserve(kUsualSize + fields.size());
    head.append(method).append(" ").append(url.target).append(" HTTP/1.1\r\n");
    appendField(head, "Host", host.empty() ? url.hostHeader() : host);
    head += fields;
    if (!cookies.empty()) {
        appendField(head, "Cookie", cookies);
    }
    appendField(head, "Connection", "close");
    if (sendsBody(method)) {
        appendField(head, "Content-Length", std::to_string(bodySize));
    }
    return head + "\r\n";
}

std::string describeRequest(const HttpClientRequest& request, const UpstreamUrl& url,
                            const std::string& method)
{
    auto text = method + " " + url.target + "\nHost: " + url.origin() + "\n";
    for (const auto& [name, value] : request.cookies) {
        text += "Cookie: " + name + "\n";
    }
    return text;
}

} // namespace connector::http::client
