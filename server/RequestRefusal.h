#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace connector::http {

/// A request that can't be trusted to be read as its sender meant it. It is answered with a status
/// and the text, and its connection closes.
class RequestRefusal : public std::runtime_error
{
public:
    RequestRefusal(unsigned short status, const std::string& text)
        : std::runtime_error(text), status_(status)
    {}

    [[nodiscard]] unsigned short status() const noexcept { return status_; }

private:
    unsigned short status_;
};

/// A refusal as it goes out where there is no request to answer yet: an HTTP/1.1 answer that closes
/// the connection.
std::string formatRefusal(unsigned short status, std::string_view text);

} // namespace connector::http
