#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "client/ClientLimits.h"
#include "client/ResponseHead.h"
#include "contract/streams/DataBuffer.h"

namespace connector::http::client {

/// Reads one answer from a stream of bytes, of which it knows no more than how to get the next
/// ones. What that throws passes through.
class ResponseReader
{
public:
    /// Receives at least one byte and at most as many as given, blocking until then.
    /// @return how many; 0 at the end of the stream.
    using Receive = std::function<std::size_t(char*, std::size_t)>;

    /// What a reader receives into; the caller's stack has room for it, the heap takes its time.
    using Buffer = std::array<char, std::size_t{16} << 10U>;

    /// @param buffer outlives the reader.
    /// @param limits of the body.
    ResponseReader(Receive receive, Buffer& buffer, const ClientLimits& limits = {});

    /// The head of the final answer; interim ones (1xx) are passed over.
    /// @throws std::runtime_error "The upstream closed the connection before the end of its
    ///         answer."; "The upstream's answer is malformed."; "The upstream's answer is too
    ///         large." for a head beyond `kMaxResponseHead`; "The upstream switched protocols." for
    ///         a 101, which nobody asked for; "The upstream sends interim answers without end."
    ResponseHead readHead();

    /// The body, decoded. Memory is taken for what has arrived, not for what is announced.
    /// @throws std::runtime_error the first three texts of `readHead`, the third for a body beyond
    ///         `maxBody`.
    /// @throws common::MemoryBudgetExceeded
    common::DataBuffer readBody(const BodyFraming& framing);

private:
    common::DataBuffer readLength(std::uint64_t length);
    common::DataBuffer readChunks();
    common::DataBuffer readUntilClose();

    std::string readHeadText();
    /// Without its end. Fails when it reaches @p limit.
    void appendLine(std::string& text, std::size_t limit);
    /// Appends what there is to @p body, at most @p most bytes, past the buffer.
    std::size_t readMore(common::DataBuffer& body, std::size_t most);
    std::size_t readSome(char* into, std::size_t count);
    bool fill();

    const Receive receive_;
    const std::size_t maxBody_;
    const std::shared_ptr<common::MemoryBudget> bodyMemory_;
    const std::span<char> buffer_;
    std::size_t begin_ = 0; ///< What is buffered lies from here
    std::size_t end_ = 0;   ///< to here.
};

} // namespace connector::http::client
