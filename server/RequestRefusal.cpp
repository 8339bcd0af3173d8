#include "server/RequestRefusal.h"

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Timestamp.h>

#include "server/ServerLimits.h"

namespace connector::http {

std::string formatRefusal(unsigned short status, std::string_view text)
{
    using Poco::Net::HTTPResponse;
    std::string answer = "HTTP/1.1 " + std::to_string(status) + " ";
    answer += status == 431 // younger than the library's table
                  ? "Request Header Fields Too Large"
                  : HTTPResponse::getReasonForStatus(static_cast<HTTPResponse::HTTPStatus>(status));
    answer += "\r\nDate: ";
    answer += Poco::DateTimeFormatter::format(Poco::Timestamp(), Poco::DateTimeFormat::HTTP_FORMAT);
    answer += "\r\nConnection: Close\r\nServer: ";
    answer += kSoftwareVersion;
    answer += "\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n";
    return answer.append(text);
}

} // namespace connector::http
