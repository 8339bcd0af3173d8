#include "contract/messaging/Address.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace connector {

Address::Address(std::vector<std::string> segments) : segments_(std::move(segments)) {}

Address::Address(const char* text)
{
    std::string_view rest(text);
    while (!rest.empty()) {
        const auto end = std::min(rest.find('/'), rest.size());
        if (end > 0) {
            segments_.emplace_back(rest.substr(0, end));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

void Address::push(const Address& other)
{
    push(Address(other)); // other may be this address
}

void Address::push(Address&& other)
{
    if (segments_.empty()) {
        segments_ = std::exchange(other.segments_, {});
        return;
    }
    std::ranges::move(std::exchange(other.segments_, {}), std::back_inserter(segments_));
}

std::string Address::pop()
{
    if (segments_.empty()) {
        throw std::logic_error("The address is empty.");
    }
    std::string first = std::move(segments_.front());
    segments_.erase(segments_.begin());
    return first;
}

void Address::replaceFront(std::size_t count, std::string segment)
{
    dropFront(count - 1);
    segments_.front() = std::move(segment);
}

void Address::dropFront(std::size_t count)
{
    const auto dropped = static_cast<std::ptrdiff_t>(std::min(count, segments_.size()));
    segments_.erase(segments_.begin(), segments_.begin() + dropped);
}

std::string Address::toString() const
{
    std::string text;
    for (const auto& segment : segments_) {
        if (!text.empty() && !segment.empty()) {
            text += '/';
        }
        text += segment;
    }
    return text;
}

} // namespace connector
