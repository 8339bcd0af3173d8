#pragma once

#include <stdexcept>
#include <string>

#include "contract/common/Export.h"

namespace connector::http {

/// An exception that the server answers with a status of its own, and with its text as plain text.
/// A provider throws it, or fails its reply with it, for what the client is to blame for; any other
/// exception is answered with 500 (RFC 9110 section 15).
class CONNECTOR_API HttpError : public std::runtime_error
{
public:
    /// @param status 400 to 599.
    /// @param text goes to the client as it is.
    /// @throws std::invalid_argument "No status of an error: " + status.
    HttpError(unsigned short status, const std::string& text);
    ~HttpError() override;

    [[nodiscard]] unsigned short status() const noexcept { return status_; }

private:
    unsigned short status_;
};

} // namespace connector::http
