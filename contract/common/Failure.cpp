#include "contract/common/Failure.h"

#include <Poco/Exception.h>

namespace connector::common {

std::string textOf(const std::exception& failure)
{
    // The what() of a Poco::Exception is only the name of its class.
    const auto* const ofPoco = dynamic_cast<const Poco::Exception*>(&failure);
    return ofPoco != nullptr ? ofPoco->displayText() : failure.what();
}

std::string textOfCurrentException()
{
    try {
        throw;
    } catch (const std::exception& failure) {
        return textOf(failure);
    } catch (...) {
        return "Unknown exception.";
    }
}

} // namespace connector::common
