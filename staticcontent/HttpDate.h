#pragma once

#include <cstdint>
#include <string>

namespace connector::http::staticcontent {

/// A point in time as an HTTP date (RFC 9110 section 5.6.7), such as
/// "Sun, 06 Nov 1994 08:49:37 GMT".
/// @param epochSeconds seconds since the Unix epoch. The form has four digits for the year: times
///        outside of the years 1 to 9999 give the first or last second of them.
std::string formatHttpDate(std::int64_t epochSeconds);

/// Whether the time @p epochSeconds is that of the date @p date or earlier.
/// @param date in any form that Poco::DateTimeParser detects, with its time zone.
/// @throws Poco::SyntaxException for a text that is no date.
bool isNotLaterThan(std::int64_t epochSeconds, const std::string& date);

} // namespace connector::http::staticcontent
