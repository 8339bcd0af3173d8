#include "server/ResponseHead.h"

#include <Poco/Net/HTTPRequest.h>
#include <charconv>
#include <cstdint>
#include <stdexcept>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"

namespace connector::http {

namespace {

using common::equalsIgnoreCaseAscii;
using Poco::Net::HTTPServerResponse;

std::int32_t parseContentLength(const std::string& text)
{
    std::int32_t length = 0;
    const auto* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, length);
    if (failure == std::errc::result_out_of_range || (failure == std::errc() && length < 0)) {
        throw std::out_of_range("The content length is out of range.");
    }
    if (failure != std::errc() || stop != end) {
        throw std::invalid_argument("The content length is malformed.");
    }
    return length;
}

void checkField(const std::string& name, const std::string& value)
{
    if (!isToken(name) || !isFieldValue(value)) {
        throw std::invalid_argument("The response header is malformed.");
    }
}

/// Fields that the response holds already, or may hold once.
bool isSingleValued(const std::string& name)
{
    return equalsIgnoreCaseAscii(name, "date") || equalsIgnoreCaseAscii(name, "server") ||
           equalsIgnoreCaseAscii(name, "content-length");
}

void copyHeader(const std::string& name, const std::string& value, HTTPServerResponse& response)
{
    checkField(name, value);
    if (equalsIgnoreCaseAscii(name, "transfer-encoding")) {
        return;
    }
    if (equalsIgnoreCaseAscii(name, "connection")) {
        if (equalsIgnoreCaseAscii(value, "close")) {
            response.setKeepAlive(false);
        }
        return;
    }
    if (equalsIgnoreCaseAscii(name, "content-length")) {
        response.set(name, std::to_string(parseContentLength(value)));
    } else if (isSingleValued(name)) {
        response.set(name, value);
    } else {
        response.add(name, value);
    }
}

} // namespace

void fillResponse(const HttpResponse& reply, std::uint64_t bodySize, HTTPServerResponse& response)
{
    for (const auto& [name, value] : reply.headers) {
        copyHeader(name, value, response);
    }
    if (!response.hasContentLength()) {
        response.setContentLength64(static_cast<Poco::Int64>(bodySize));
    }
    for (const auto& [name, value] : reply.cookies) {
        auto cookie = name + "=" + value;
        checkField("Set-Cookie", cookie);
        response.add("Set-Cookie", cookie);
    }
}

bool isBodiless(int status, const std::string& method)
{
    return method == Poco::Net::HTTPRequest::HTTP_HEAD || status < 200 || status == 204 ||
           status == 304;
}

std::string formatHead(const HTTPServerResponse& response)
{
    std::string head;
    head.reserve(512);
    head.append(response.getVersion()).append(" ");
    head.append(std::to_string(static_cast<int>(response.getStatus()))).append(" ");
    head.append(response.getReason()).append("\r\n");
    for (const auto& [name, value] : response) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    head.append("\r\n");
    return head;
}

} // namespace connector::http
