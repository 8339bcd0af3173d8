#include "server/RequestRefusal.h"

#include <Poco/Net/HTTPResponse.h>
#include <algorithm>
#include <cstdio>

#include "server/HttpDate.h"
#include "server/ServerLimits.h"
#include "server/ServerLog.h"

namespace connector::http {

namespace {

const char* reasonOf(unsigned short status)
{
    using Poco::Net::HTTPResponse;
    return status == 431 // younger than POCO's table
               ? "Request Header Fields Too Large"
               : HTTPResponse::getReasonForStatus(static_cast<HTTPResponse::HTTPStatus>(status))
                     .c_str();
}

} // namespace

void logLimitOf(const RequestRefusal& refusal)
{
    switch (refusal.status()) {
    case 413:
    case 431:
        logReached(serverLogLimits.sizes, refusal.what());
        break;
    case 503:
        logReached(serverLogLimits.shortages, refusal.what());
        break;
    default:
        break;
    }
}

RefusalAnswer::RefusalAnswer(const RequestRefusal& refusal) noexcept
{
    const auto date = currentHttpDate();
    const std::string_view text = refusal.what();
    const auto size =
        std::snprintf(text_.data(), text_.size(),
                      "HTTP/1.1 %d %s\r\nDate: %.*s\r\nConnection: Close\r\n"
                      "Server: %s\r\nContent-Length: %zu\r\n\r\n%s",
                      refusal.status(), reasonOf(refusal.status()), static_cast<int>(date.size()),
                      date.data(), kSoftwareVersion, text.size(), text.data());
    size_ = std::min(static_cast<std::size_t>(size), text_.size() - 1);
}

} // namespace connector::http
