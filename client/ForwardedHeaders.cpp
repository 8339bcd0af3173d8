#include "client/ForwardedHeaders.h"

#include <set>
#include <sstream>
#include <string>

#include "contract/common/Text.h"

namespace connector::http {

namespace {

std::string trimmed(const std::string& text)
{
    const auto begin = text.find_first_not_of(" \t");
    return begin == std::string::npos
               ? std::string()
               : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

} // namespace

void removeConnectionHeaders(StringMultimap& headers)
{
    std::set<std::string> dropped{"connection", "keep-alive",        "proxy-connection", "te",
                                  "trailer",    "transfer-encoding", "upgrade"};
    for (const auto& [name, value] : headers) {
        if (common::equalsIgnoreCaseAscii(name, "connection")) {
            std::istringstream named(value);
            for (std::string option; std::getline(named, option, ',');) {
                dropped.insert(common::toLowerAscii(trimmed(option)));
            }
        }
    }
    std::erase_if(headers, [&dropped](const auto& header) {
        return dropped.contains(common::toLowerAscii(header.first));
    });
}

} // namespace connector::http
