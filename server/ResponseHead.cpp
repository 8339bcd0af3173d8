#include "server/ResponseHead.h"

#include <Poco/Net/HTTPResponse.h>
#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "server/ServerLimits.h"

namespace connector::http {

namespace {

using common::equalsIgnoreCaseAscii;
using Poco::Net::HTTPResponse;

/// What a usual head has room in.
constexpr std::size_t kUsualSize = 512;

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

/// The content length that a reply announces; of several the last.
std::optional<std::int32_t> findContentLength(const HttpResponse& reply)
{
    std::optional<std::int32_t> length;
    for (const auto& [name, value] : reply.headers) {
        if (equalsIgnoreCaseAscii(name, "content-length")) {
            length = parseContentLength(value);
        }
    }
    return length;
}

void checkField(std::string_view name, std::string_view value)
{
    if (!isToken(name) || !isFieldValue(value)) {
        throw std::invalid_argument("The response header is malformed.");
    }
}

void appendField(std::string& text, std::string_view name, std::string_view value)
{
    text.append(name).append(": ").append(value).append("\r\n");
}

void appendNumber(std::string& text, std::uint64_t number)
{
    std::array<char, 20> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text.append(digits.data(), end);
}

} // namespace

ResponseHead::ResponseHead(bool http10, bool keepAlive, std::string_view date)
    : http10_(http10), keepAlive_(keepAlive), date_(date), server_(kSoftwareVersion)
{
    fields_.reserve(kUsualSize);
}

void ResponseHead::setStatus(unsigned short status)
{
    if (status < 100 || status > 999) {
        throw std::out_of_range("The response status is out of range.");
    }
    status_ = status;
}

void ResponseHead::offerUpgrade(std::string_view protocol)
{
    offersUpgrade_ = true;
    add("Upgrade", protocol);
}

void ResponseHead::add(std::string_view name, std::string_view value)
{
    checkField(name, value);
    appendField(fields_, name, value);
}

void ResponseHead::addContentLength(std::uint64_t length, std::string_view name)
{
    hasContentLength_ = true;
    contentLength_ = length;
    fields_.append(name).append(": ");
    appendNumber(fields_, length);
    fields_.append("\r\n");
}

void ResponseHead::addReply(const HttpResponse& reply, std::uint64_t bodySize)
{
    const auto announced = findContentLength(reply);
    for (const auto& [name, value] : reply.headers) {
        addHeader(name, value, announced);
    }
    if (!hasContentLength_) {
        addContentLength(bodySize);
    }
    for (const auto& [name, value] : reply.cookies) {
        add("Set-Cookie", name + "=" + value);
    }
}

void ResponseHead::addHeader(const std::string& name, const std::string& value,
                             std::optional<std::int32_t> announced)
{
    checkField(name, value);
    if (equalsIgnoreCaseAscii(name, "transfer-encoding")) {
        return;
    }
    if (equalsIgnoreCaseAscii(name, "connection")) {
        keepAlive_ = keepAlive_ && !equalsIgnoreCaseAscii(value, "close");
    } else if (equalsIgnoreCaseAscii(name, "content-length")) {
        if (!hasContentLength_) {
            addContentLength(static_cast<std::uint64_t>(*announced), name);
        }
    } else if (equalsIgnoreCaseAscii(name, "date")) {
        date_ = value;
    } else if (equalsIgnoreCaseAscii(name, "server")) {
        server_ = value;
    } else {
        appendField(fields_, name, value);
    }
}

std::string_view ResponseHead::connection() const noexcept
{
    if (offersUpgrade_) {
        return keepAlive_ ? "Upgrade" : "Close, Upgrade";
    }
    return keepAlive_ ? "Keep-Alive" : "Close";
}

std::string ResponseHead::format() const
{
    std::string head;
    head.reserve(kUsualSize);
    head.append(http10_ ? "HTTP/1.0 " : "HTTP/1.1 ");
    appendNumber(head, status_);
    head.append(" ").append(
        HTTPResponse::getReasonForStatus(static_cast<HTTPResponse::HTTPStatus>(status_)));
    head.append("\r\n");
    appendField(head, "Date", date_);
    appendField(head, "Connection", connection());
    appendField(head, "Server", server_);
    head.append(fields_).append("\r\n");
    return head;
}

bool isBodiless(unsigned short status, std::string_view method)
{
    return method == "HEAD" || status < 200 || status == 204 || status == 304;
}

} // namespace connector::http
