#include "contract/http/PathStartsWith.h"

namespace connector::http {

bool pathStartsWith(const std::string& path, const std::string& prefix)
{
    if (prefix.empty()) {
        return true;
    }
    if (!path.starts_with(prefix)) {
        return false;
    }
    return path.size() == prefix.size() || prefix.back() == '/' || path[prefix.size()] == '/';
}

} // namespace connector::http
