#include "server/HttpDate.h"

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>
#include <ctime>
#include <string>

namespace connector::http {

std::string_view currentHttpDate()
{
    thread_local std::time_t second = -1;
    thread_local std::string text;
    if (const auto now = std::time(nullptr); now != second) {
        text = Poco::DateTimeFormatter::format(Poco::Timestamp::fromEpochTime(now),
                                               Poco::DateTimeFormat::HTTP_FORMAT);
        second = now;
    }
    return text;
}

} // namespace connector::http
