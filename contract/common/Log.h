#pragma once

#include <array>
#include <atomic>
#include <filesystem>
#include <span>
#include <string_view>

#include "contract/common/Export.h"

namespace connector::common {

/// How grave a record is, or as a threshold: the least grave that is kept.
enum class Level
{
    Trace,
    Debug,
    Info,
    Warning,
    Error,
    Off ///< As a threshold: keep nothing. No record has this level.
};

/// A named channel of the process' log. Cheap to make and to copy; objects at file scope are safe
/// to use from the start of the process to its end.
///
/// The parts of a record are joined only if its level is kept:
///
///     log.write(Level::Debug, "Found file: ", name);
///
/// A caller that has to compute a part checks `enabled` first.
///
/// Any thread may call any operation. All records go to one place: standard error until a file is
/// named. They are queued for it (`QueuedOutput`): no operation waits for a disk or for a reader,
/// records that find the queue full are dropped, and a later record counts them.
/// Nothing that gives access may be logged: cookies, session identifiers, keys.
class CONNECTOR_API Log
{
public:
    /// @param channel the name, UTF-8; not copied, so a literal.
    explicit constexpr Log(const char* channel) noexcept : channel_(channel) {}

    /// Whether records of @p level are kept. One load, no lock.
    [[nodiscard]] bool enabled(Level level) const noexcept
    {
        return level >= threshold_.load(std::memory_order_relaxed) && level != Level::Off;
    }

    /// Writes one line: UTC time, level, channel, and @p parts (texts), joined and with
    /// `escapeControls`. Does nothing if the level is not kept. Short of memory, the line is cut to
    /// 1 KB of ASCII.
    template <typename... Parts>
    void write(Level level, const Parts&... parts) const noexcept
    {
        if (enabled(level)) {
            const std::array<std::string_view, sizeof...(parts)> views = {parts...};
            writeParts(level, views);
        }
    }

    /// Sets the threshold of all channels. It is `Level::Warning` at first.
    static void setLevel(Level level) noexcept;

    [[nodiscard]] static Level level() noexcept;

    /// Sends all records from now on to standard error.
    static void logToStandardError();

    /// Appends all records from now on to @p file, which is made if need be.
    /// @throws std::runtime_error "Cannot open the log file: " + file + ": " + reason. Records then
    ///         go where they went before.
    static void logToFile(const std::filesystem::path& file);

private:
    void writeParts(Level level, std::span<const std::string_view> parts) const noexcept;

    static std::atomic<Level> threshold_;

    const char* channel_;
};

} // namespace connector::common
