#pragma once

#include <atomic>
#include <filesystem>
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
/// A record is built only if its level is kept:
///
///     if (log.enabled(Level::Debug)) {
///         log.write(Level::Debug, "Found file: " + name);
///     }
///
/// Any thread may call any operation. All records go to one place: standard error until a file is
/// named. Nothing that gives access may be logged: cookies, session identifiers, keys.
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

    /// Writes one line: UTC time, level, channel, @p text. Control characters in the text are
    /// escaped ("\n", others as "\x1B"); UTF-8 passes. Does nothing if the level is not kept. A
    /// record that cannot be written is dropped. Blocks for the write to the file or terminal.
    void write(Level level, std::string_view text) const noexcept;

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
    static std::atomic<Level> threshold_;

    const char* channel_;
};

} // namespace connector::common
