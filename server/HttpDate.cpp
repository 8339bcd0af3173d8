#include "server/HttpDate.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace connector::http {

namespace {

constexpr std::array kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

} // namespace

std::string_view currentHttpDate() noexcept
{
    thread_local std::time_t second = -1;
    thread_local std::array<char, 64> text = {};
    thread_local int size = 0;
    if (const auto now = std::time(nullptr); now != second) {
        std::tm utc = {};
        ::gmtime_r(&now, &utc);
        size = std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                             kDays.at(utc.tm_wday), utc.tm_mday, kMonths.at(utc.tm_mon),
                             utc.tm_year + 1900, utc.tm_hour, utc.tm_min, utc.tm_sec);
        second = now;
    }
    return {text.data(), static_cast<std::size_t>(size)};
}

} // namespace connector::http
