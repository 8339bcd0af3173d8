#pragma once

#include <cstddef>
#include <utility>

#include "contract/platform/FilePublisher.h"
#include "contract/streams/DataBuffer.h"

namespace connector::http {

/// The body of an answer: bytes in memory, or a range of a file, which is not read before it is
/// sent.
struct OutgoingBody
{
    OutgoingBody() = default;
    OutgoingBody(common::DataBuffer bytes) noexcept : buffer(std::move(bytes)) {}
    OutgoingBody(filesystem::FileRange file) noexcept : range(std::move(file)) {}

    [[nodiscard]] bool isFile() const noexcept { return range.file != nullptr; }
    [[nodiscard]] std::size_t size() const noexcept
    {
        return isFile() ? range.length : buffer.size();
    }

    common::DataBuffer buffer;   ///< Empty if it is a file.
    filesystem::FileRange range; ///< Without a file if it is none.
};

} // namespace connector::http
