#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "contract/common/Export.h"
#include "contract/common/Log.h"

namespace connector::common {

/// Bounds how often records of one kind are written, for kinds that a client can cause at will:
///
///     if (socketErrors.admits(kServerLog, Level::Warning)) {
///         kServerLog.write(Level::Warning, "Socket error: ", describe());
///     }
///
/// One object for each kind. Any thread may call it.
class CONNECTOR_API LogRateLimit
{
public:
    static constexpr unsigned kRecordsPerMinute = 60;

    /// @param recordsPerMinute at least 1. A minute begins with the first record after the one
    ///        before.
    explicit constexpr LogRateLimit(unsigned recordsPerMinute = kRecordsPerMinute) noexcept
        : limit_(recordsPerMinute)
    {}

    LogRateLimit(const LogRateLimit&) = delete;
    LogRateLimit& operator=(const LogRateLimit&) = delete;

    /// Whether @p log keeps records of @p level, and this one is to be written. Where others were
    /// suppressed before it, writes first how many: "Suppressed records like the next: " + count.
    [[nodiscard]] bool admits(const Log& log, Level level) noexcept;

    /// The same for a line that is written elsewhere.
    /// @return nothing if the line is to be suppressed, else how many were since the last one.
    [[nodiscard]] std::optional<std::uint64_t> admit() noexcept;

private:
    const unsigned limit_;

    std::mutex mutex_; ///< Guards all below.
    std::optional<long long> minuteBegin_;
    unsigned admitted_ = 0; ///< In this minute.
    std::uint64_t suppressed_ = 0;
};

} // namespace connector::common
