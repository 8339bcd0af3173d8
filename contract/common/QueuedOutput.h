#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string_view>

#include "contract/common/OutputWriter.h"

namespace connector::common {

/// Text on its way to a file, a pipe or a terminal whose reader may have stopped reading. It waits
/// in a bounded queue. One thread of the process writes what the descriptors take, so an output
/// that blocks delays neither another output nor a caller. The text of one call stays together.
///
/// Any thread may call any operation, and also while the process ends: its orderly end waits up to
/// 200 ms for what is queued. The child of a fork has no such thread; there each call writes
/// itself.
class CONNECTOR_API QueuedOutput
{
public:
    /// The most that waits for one output, beside as much that is being written.
    static constexpr std::size_t kMaxQueuedBytes = OutputWriter::kMaxQueuedBytes;

    enum class Ownership
    {
        Borrowed,
        Owned ///< Closed once all is written and the object is gone.
    };

    /// @param onDropped is told how many lines were lost, once the output takes text again. It is
    ///        called on the writing thread with no lock held.
    QueuedOutput(int descriptor, Ownership ownership, void (*onDropped)(std::uint64_t) noexcept);

    /// The standard output of the process. Lines that it loses are told to the log.
    static QueuedOutput& standardOutput();

    /// Queues whole lines, or drops and counts them if there is no room. Never blocks.
    /// @return whether they are queued.
    bool post(std::string_view lines) const noexcept;

    /// Queues text and blocks until it is written, or lost because the output failed: for a thread
    /// whose only business is this output.
    /// @param stop ends the wait. What is queued by then stays queued, the rest is dropped.
    /// @return false if the wait was ended so.
    bool put(std::string_view text, const std::stop_token& stop) const;

    /// Waits until all outputs of the process have written what is queued.
    /// @return false if that took longer than @p timeout.
    static bool flush(std::chrono::milliseconds timeout);

private:
    const std::shared_ptr<OutputWriter::Queue> queue_;
};

} // namespace connector::common
