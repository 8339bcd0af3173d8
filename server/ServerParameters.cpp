#include "server/ServerParameters.h"

#include "server/ServerLimits.h"

namespace connector::http {

Poco::Timespan toTimespan(std::chrono::microseconds duration)
{
    return {duration.count() / 1000000, duration.count() % 1000000};
}

Poco::Net::HTTPServerParams::Ptr makeServerParameters()
{
    Poco::Net::HTTPServerParams::Ptr parameters(new Poco::Net::HTTPServerParams);
    parameters->setSoftwareVersion(kSoftwareVersion);
    parameters->setKeepAlive(true);
    parameters->setMaxThreads(kMaxThreads);
    return parameters;
}

} // namespace connector::http
