#include "client/ConnectionHeaders.h"

#include <algorithm>
#include <array>

#include "contract/common/Text.h"

namespace connector::http::client {

namespace {

using common::equalsIgnoreCaseAscii;

constexpr std::string_view kConnection = "connection";
constexpr std::array<std::string_view, 7> kAlways = {
    kConnection, "keep-alive", "proxy-connection", "te", "trailer", "transfer-encoding", "upgrade"};

} // namespace

ConnectionHeaders::ConnectionHeaders(const StringMultimap& headers)
{
    for (const auto& [name, value] : headers) {
        if (!equalsIgnoreCaseAscii(name, kConnection)) {
            continue;
        }
        constexpr const char* kBetween = " \t,";
        for (auto begin = value.find_first_not_of(kBetween); begin != std::string::npos;) {
            const auto end = std::min(value.find_first_of(kBetween, begin), value.size());
            named_.push_back(value.substr(begin, end - begin));
            begin = value.find_first_not_of(kBetween, end);
        }
    }
}

bool ConnectionHeaders::contain(std::string_view name) const noexcept
{
    const auto isName = [name](std::string_view other) {
        return equalsIgnoreCaseAscii(name, other);
    };
    return std::ranges::any_of(kAlways, isName) || std::ranges::any_of(named_, isName);
}

} // namespace connector::http::client
