#pragma once

#include <stdexcept>
#include <string>

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

} // namespace connector::http
