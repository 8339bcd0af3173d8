#include "server/tls/ErrorQueueScope.h"

#include <array>
#include <openssl/err.h>

namespace connector::http {

ErrorQueueScope::ErrorQueueScope() noexcept
{
    ERR_clear_error();
}

ErrorQueueScope::~ErrorQueueScope()
{
    ERR_clear_error();
}

std::string ErrorQueueScope::takeReason()
{
    std::array<char, 256> text = {};
    const auto code = ERR_get_error();
    ERR_clear_error();
    ERR_error_string_n(code, text.data(), text.size());
    return code == 0 ? "no reason given" : text.data();
}

} // namespace connector::http
