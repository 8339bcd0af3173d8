#include "staticcontent/RelativePath.h"

#include <algorithm>

#include "contract/common/Text.h"

namespace connector::http::staticcontent {

std::optional<std::string> relativePath(std::string_view remainder)
{
    if (remainder.find('\0') != std::string_view::npos || !common::isValidUtf8(remainder)) {
        return std::nullopt;
    }
    std::string path;
    path.reserve(remainder.size());
    for (std::size_t begin = 0; begin < remainder.size();) {
        const auto end = std::min(remainder.find('/', begin), remainder.size());
        const auto segment = remainder.substr(begin, end - begin);
        if (segment == "..") {
            return std::nullopt;
        }
        if (!segment.empty() && segment != ".") {
            path.append(segment);
            path.append(end < remainder.size() ? "/" : "");
        }
        begin = end + 1;
    }
    return path;
}

} // namespace connector::http::staticcontent
