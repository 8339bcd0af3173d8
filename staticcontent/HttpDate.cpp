#include "staticcontent/HttpDate.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeParser.h>
#include <algorithm>
#include <chrono>
#include <cstring>

namespace connector::http::staticcontent {

namespace {

constexpr std::int64_t kEarliest = -62'135'596'800; // 0001-01-01 00:00:00
constexpr std::int64_t kLatest = 253'402'300'799;   // 9999-12-31 23:59:59
constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Writes @p number right-aligned over the @p digits zeros at @p place.
void put(char* place, int digits, long number)
{
    for (; digits > 0; number /= 10) {
        place[--digits] = static_cast<char>('0' + number % 10);
    }
}

} // namespace

// The same text as Poco::DateTimeFormatter with HTTP_FORMAT, in 20 ns instead of 200 ns.
std::string formatHttpDate(std::int64_t epochSeconds)
{
    using namespace std::chrono;
    const sys_seconds time{seconds(std::clamp(epochSeconds, kEarliest, kLatest))};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);

    std::string text = "---, 00 --- 0000 00:00:00 GMT";
    auto* const out = text.data();
    std::memcpy(out, kWeekdays[weekday(day).c_encoding()], 3);
    put(out + 5, 2, static_cast<unsigned>(date.day()));
    std::memcpy(out + 8, kMonths[static_cast<unsigned>(date.month()) - 1], 3);
    put(out + 12, 4, static_cast<int>(date.year()));
    put(out + 17, 2, clock.hours().count());
    put(out + 20, 2, clock.minutes().count());
    put(out + 23, 2, clock.seconds().count());
    return text;
}

bool isNotLaterThan(std::int64_t epochSeconds, const std::string& date)
{
    int zoneSeconds = 0;
    auto parsed = Poco::DateTimeParser::parse(date, zoneSeconds);
    parsed.makeUTC(zoneSeconds);
    const std::chrono::microseconds limit(parsed.timestamp().epochMicroseconds());
    return epochSeconds <= std::chrono::floor<std::chrono::seconds>(limit).count();
}

} // namespace connector::http::staticcontent
