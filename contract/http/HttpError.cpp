#include "contract/http/HttpError.h"

namespace connector::http {

HttpError::HttpError(unsigned short status, const std::string& text)
    : std::runtime_error(text), status_(status)
{
    if (status < 400 || status > 599) {
        throw std::invalid_argument("No status of an error: " + std::to_string(status));
    }
}

HttpError::~HttpError() = default;

} // namespace connector::http
