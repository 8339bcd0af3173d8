#pragma once

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Timespan.h>
#include <chrono>

namespace connector::http {

/// The library's form of a duration.
Poco::Timespan toTimespan(std::chrono::microseconds duration);

/// What the library is told of a server: its name on the wire and its limits.
Poco::Net::HTTPServerParams::Ptr makeServerParameters();

} // namespace connector::http
