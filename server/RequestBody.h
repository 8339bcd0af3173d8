#pragma once

#include <cstddef>

#include "contract/streams/DataBuffer.h"
#include "server/RequestHead.h"

namespace connector::http {

/// Where the bytes of a request come from: a session, or a text in tests.
class ByteSource
{
public:
    virtual ~ByteSource() = default;

    /// The next byte.
    /// @return -1 at the end of the input.
    virtual int get() = 0;

    /// Reads up to @p length bytes, at least one unless the input has ended.
    /// @return how many; 0 at the end of the input.
    virtual std::size_t read(char* buffer, std::size_t length) = 0;
};

/// Reads a request's whole body, decoding the chunked form (RFC 9112 section 7.1); chunk extensions
/// and trailer fields are dropped. Memory grows with the bytes that arrive, not with the length
/// that was announced.
/// @throws RequestRefusal with status 400 when the body is truncated or its chunks are malformed,
///         with status 413 when it is larger than `kMaxRequestBody`. Whatever the source throws
///         passes through.
common::DataBuffer readBody(ByteSource& source, const BodyFraming& framing);

} // namespace connector::http
