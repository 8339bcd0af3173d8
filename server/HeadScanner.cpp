#include "server/HeadScanner.h"

#include <algorithm>

#include "contract/http/FieldSyntax.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

/// The size of the head that @p input begins with, its empty line included.
/// @param searched how many bytes of @p input earlier calls have searched without a result.
std::optional<std::size_t> findHeadEnd(std::string_view input, std::size_t searched)
{
    // The line end before the empty line may have been searched already.
    auto lineEnd = input.find('\n', searched < 2 ? 0 : searched - 2);
    while (lineEnd != std::string_view::npos) {
        auto next = lineEnd + 1;
        if (next < input.size() && input[next] == '\r') {
            ++next;
        }
        if (next < input.size() && input[next] == '\n') {
            return next + 1;
        }
        lineEnd = input.find('\n', lineEnd + 1);
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string_view> HeadScanner::scan(std::string_view input)
{
    hasBegun_ = !input.empty();
    headBegin_ = std::min(input.find_first_not_of("\r\n", headBegin_), input.size());
    const auto head = input.substr(headBegin_);
    if (searched_ == 0 && !head.empty() && tokenLength(head.substr(0, 1)) == 0) {
        throw RequestRefusal(400, "Malformed method."); // another protocol: its head may never end
    }
    const auto size = findHeadEnd(head, searched_);
    searched_ = head.size();
    if (size.has_value() && *size <= maxSize_) {
        return head.substr(0, *size);
    }
    if (size.has_value() || input.size() >= maxSize_) {
        throw RequestRefusal(431, "The request's head is too large.");
    }
    return std::nullopt;
}

} // namespace connector::http
