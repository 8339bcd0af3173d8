#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contract/common/Export.h"

namespace connector {

/// A hierarchical service address: an ordered list of name segments. The first segment names the
/// receiver, the others travel on with the message. A value type, not synchronised.
class CONNECTOR_API Address
{
public:
    /// The empty address.
    Address() = default;

    /// @param segments the segments in order; a segment may hold any text, "/" included.
    explicit Address(std::vector<std::string> segments);

    /// Parses the textual form: segments joined by "/". Empty segments (a leading, trailing or
    /// doubled "/") add nothing.
    /// @param text a NUL-terminated text; never null.
    Address(const char* text); // NOLINT(google-explicit-constructor): addresses are written as text

    /// Appends the other address's segments behind this one's.
    void push(const Address& other);

    /// As above, and leaves the other address empty.
    void push(Address&& other);

    /// Removes the first segment: for whoever takes an address apart, such as its JSON form. A
    /// provider must not call it: the bus has removed the provider's own segments already.
    /// @return the removed segment.
    /// @throws std::logic_error "The address is empty." without segments.
    std::string pop();

    /// Puts @p segment in the place of the first @p count segments, which are at least one.
    void replaceFront(std::size_t count, std::string segment);

    /// Removes the first @p count segments, at most all of them.
    void dropFront(std::size_t count);

    [[nodiscard]] bool empty() const noexcept { return segments_.empty(); }

    /// The segments in order.
    [[nodiscard]] const std::vector<std::string>& segments() const noexcept { return segments_; }

    /// The segments joined by "/". Empty ones add nothing, as in a text that is parsed.
    [[nodiscard]] std::string toString() const;

    friend bool operator==(const Address&, const Address&) = default;

private:
    std::vector<std::string> segments_;
};

} // namespace connector
