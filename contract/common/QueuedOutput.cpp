#include "contract/common/QueuedOutput.h"

#include <string>
#include <unistd.h>

#include "contract/common/Log.h"

namespace connector::common {

namespace {

constexpr Log kLog("connector::common");

/// How long a normal end of the process waits for outputs that are not read.
constexpr std::chrono::milliseconds kFlushTimeout{200};

void reportDroppedOutput(std::uint64_t lines) noexcept
{
    kLog.write(Level::Warning, "Dropped lines of standard output, which nobody read in time: ",
               std::to_string(lines));
}

/// Constructed when the library is loaded, so it is destroyed after everything that uses it.
struct FlushAtEnd
{
    FlushAtEnd() = default;
    FlushAtEnd(const FlushAtEnd&) = delete;
    FlushAtEnd& operator=(const FlushAtEnd&) = delete;

    ~FlushAtEnd()
    {
        try {
            QueuedOutput::flush(kFlushTimeout);
        } catch (...) { // NOLINT(bugprone-empty-catch)
            // The process ends, and has nobody to tell.
        }
    }
};

const FlushAtEnd kFlushAtEnd;

} // namespace

QueuedOutput::QueuedOutput(int descriptor, Ownership ownership,
                           void (*onDropped)(std::uint64_t) noexcept)
    : queue_(std::make_shared<OutputWriter::Queue>(descriptor, ownership == Ownership::Owned,
                                                   onDropped))
{
    OutputWriter::instance(); // made while there is memory
}

QueuedOutput& QueuedOutput::standardOutput()
{
    static auto& output = // never destroyed, on purpose
        *new QueuedOutput(STDOUT_FILENO, Ownership::Borrowed, &reportDroppedOutput);
    return output;
}

bool QueuedOutput::post(std::string_view lines) const noexcept
{
    try {
        return OutputWriter::instance().post(queue_, lines);
    } catch (...) { // short of memory before anything was queued
        return false;
    }
}

bool QueuedOutput::put(std::string_view text, const std::stop_token& stop) const
{
    return OutputWriter::instance().put(queue_, text, stop);
}

bool QueuedOutput::flush(std::chrono::milliseconds timeout)
{
    return OutputWriter::instance().flush(timeout);
}

} // namespace connector::common
