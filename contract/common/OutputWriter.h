#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "contract/common/Export.h"

namespace connector::common {

/// The writing thread of all `QueuedOutput` objects; private to them. It starts with the first text
/// and is never destroyed. Queueing allocates no memory.
class OutputWriter
{
public:
    static constexpr std::size_t kMaxQueuedBytes = std::size_t{1} << 20U;

    /// The text for one descriptor.
    struct Queue
    {
        Queue(int descriptor, bool owned, void (*onDropped)(std::uint64_t) noexcept);
        ~Queue();

        Queue(const Queue&) = delete;
        Queue& operator=(const Queue&) = delete;

        const int descriptor;
        const bool owned;
        const bool regularFile;
        void (*const onDropped)(std::uint64_t) noexcept;

        // Guarded by the writer's mutex.
        std::string gathered;       ///< Waits for `taken` to be written.
        std::uint64_t appended = 0; ///< Bytes so far.
        std::uint64_t finished = 0; ///< Bytes so far that were written or lost.
        std::uint64_t dropped = 0;  ///< Lines that were lost and not told yet.
        bool busy = false;          ///< In `busy_`: has text in one of the two.
        bool writing = false;       ///< `taken` is not all written.

        // Of the writing thread alone.
        std::string taken;
        std::size_t written = 0; ///< Bytes of `taken`.
    };

    static OutputWriter& instance();

    OutputWriter(const OutputWriter&) = delete;
    OutputWriter& operator=(const OutputWriter&) = delete;

    /// See QueuedOutput::post.
    bool post(const std::shared_ptr<Queue>& queue, std::string_view lines);

    /// See QueuedOutput::put.
    bool put(const std::shared_ptr<Queue>& queue, std::string_view text,
             const std::stop_token& stop);

    /// See QueuedOutput::flush.
    bool flush(std::chrono::milliseconds timeout);

private:
    using Lock = std::unique_lock<std::mutex>;

    enum class Progress
    {
        Written, ///< Some of the text.
        Blocked,
        Failed
    };

    OutputWriter();

    void doStart(Lock& lock);
    void doAppend(Lock& lock, const std::shared_ptr<Queue>& queue, std::string_view text);
    [[noreturn]] void run();
    bool doRound(Lock& lock);
    bool doServe(Lock& lock, const std::shared_ptr<Queue>& queue);
    void doAwaitReader(Lock& lock);
    static Progress writeSome(Queue& queue);
    void abandonInChild() noexcept;

    std::mutex mutex_;                    ///< Guards all below.
    std::condition_variable filled_;      ///< For the writing thread.
    std::condition_variable_any drained_; ///< For `put` and `flush`.
    std::vector<std::shared_ptr<Queue>> busy_;
    bool started_ = false;
    bool inChild_ = false; ///< This process is a fork's child: the thread stayed with the parent.
};

} // namespace connector::common
