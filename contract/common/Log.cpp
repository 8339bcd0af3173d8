#include "contract/common/Log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/sink.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/make_shared.hpp>

#include "contract/common/QueuedOutput.h"
#include "contract/common/Text.h"

namespace connector::common {

namespace {

namespace logging = boost::log;

constexpr Log kLog("connector::common");

std::string_view nameOf(Level level) noexcept
{
    switch (level) {
    case Level::Trace:
        return "trace";
    case Level::Debug:
        return "debug";
    case Level::Info:
        return "info";
    case Level::Warning:
        return "warning";
    case Level::Error:
        return "error";
    case Level::Off:
        break;
    }
    return "off";
}

using TimeText = std::array<char, 64>;

/// "2024-05-01T12:00:00.123Z"
std::string_view currentTime(TimeText& text) noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm utc{};
    ::gmtime_r(&now.tv_sec, &utc);
    const auto length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text.data() + length, text.size() - length, ".%03ldZ", now.tv_nsec / 1'000'000);
    return text.data();
}

std::string makeLine(Level level, std::string_view channel, std::string_view text)
{
    TimeText time;
    std::string line(currentTime(time));
    line.append(" ").append(nameOf(level)).append(" [").append(channel).append("] ").append(text);
    return line += '\n';
}

/// A line as `makeLine` makes it when there is no memory for that: cut to its size, and with "?"
/// for all but printable ASCII.
class FixedLine
{
public:
    FixedLine(Level level, std::string_view channel,
              std::span<const std::string_view> parts) noexcept
    {
        TimeText time;
        for (const auto part : {currentTime(time), std::string_view(" "), nameOf(level),
                                std::string_view(" ["), channel, std::string_view("] ")}) {
            append(part);
        }
        std::ranges::for_each(parts, [this](std::string_view part) { append(part); });
        line_[size_++] = '\n';
    }

    [[nodiscard]] std::string_view text() const noexcept { return {line_.data(), size_}; }

private:
    void append(std::string_view part) noexcept
    {
        for (const char c : part.substr(0, line_.size() - 1 - size_)) {
            line_[size_++] = c >= ' ' && c <= '~' ? c : '?';
        }
    }

    std::array<char, 1024> line_;
    std::size_t size_ = 0;
};

std::string join(std::span<const std::string_view> parts)
{
    std::string text;
    for (const auto part : parts) {
        text += part;
    }
    return text;
}

void reportDroppedRecords(std::uint64_t records) noexcept;

std::shared_ptr<const QueuedOutput> makeOutput(int descriptor, QueuedOutput::Ownership ownership)
{
    return std::make_shared<QueuedOutput>(descriptor, ownership, &reportDroppedRecords);
}

class Sink final : public logging::sinks::sink
{
public:
    explicit Sink(std::shared_ptr<const QueuedOutput> output)
        : sink(false), output_(std::move(output))
    {}

    bool will_consume(const logging::attribute_value_set& /*attributes*/) override { return true; }

    void consume(const logging::record_view& record) override
    {
        const auto level = logging::extract<Level>("Severity", record);
        const auto channel = logging::extract<std::string>("Channel", record);
        const auto text = record[logging::expressions::smessage];
        if (level && channel && text) {
            output_->post(makeLine(*level, *channel, *text));
        }
    }

    void flush() override {}

private:
    const std::shared_ptr<const QueuedOutput> output_;
};

/// The way of a record to its one output. Never destroyed: objects log while the process ends.
class Road
{
public:
    static Road& instance()
    {
        static auto& road = *new Road; // kept for ever on purpose
        return road;
    }

    void lead(std::shared_ptr<const QueuedOutput> output)
    {
        const auto sink = boost::make_shared<Sink>(output);
        const std::lock_guard lock(mutex_);
        if (libraryEnded_) {
            return;
        }
        core_->add_sink(sink); // first, so that no record falls between the two
        if (sink_ != nullptr) {
            core_->remove_sink(sink_);
        }
        sink_ = sink;
        output_ = std::move(output);
    }

    void take(Level level, const char* channel, std::string_view text)
    {
        const std::shared_lock lock(mutex_);
        if (libraryEnded_) {
            output_->post(makeLine(level, channel, text));
            return;
        }
        logging::sources::severity_channel_logger<Level, std::string> logger(
            logging::keywords::channel = channel);
        if (auto record = logger.open_record(logging::keywords::severity = level)) {
            logging::record_ostream stream(record);
            stream.write(text.data(), static_cast<std::streamsize>(text.size()));
            stream.flush();
            logger.push_record(std::move(record));
        }
        // Made after all that the library keeps in static storage, hence destroyed before it.
        static const LibraryEnd end;
    }

    /// Writes without Boost.Log, which allocates memory.
    void takeFixed(Level level, const char* channel, std::span<const std::string_view> parts)
    {
        const FixedLine line(level, channel, parts);
        const std::shared_lock lock(mutex_);
        output_->post(line.text());
    }

private:
    /// From its end on, records go straight to the output.
    struct LibraryEnd
    {
        ~LibraryEnd()
        {
            auto& road = instance();
            const std::lock_guard lock(road.mutex_);
            road.libraryEnded_ = true;
        }
    };

    Road() : core_(logging::core::get())
    {
        lead(makeOutput(STDERR_FILENO, QueuedOutput::Ownership::Borrowed));
    }

    const logging::core_ptr core_;

    /// Guards all below, and keeps the library alive while a record is on its way: it is the one
    /// lock under which a record is queued.
    std::shared_mutex mutex_;
    bool libraryEnded_ = false;
    boost::shared_ptr<Sink> sink_;
    std::shared_ptr<const QueuedOutput> output_;
};

void reportDroppedRecords(std::uint64_t records) noexcept
{
    // As grave as what may have been lost, so that no threshold hides it.
    kLog.write(Level::Error,
               "Dropped records, which the log's output did not take: ", std::to_string(records));
}

} // namespace

constinit std::atomic<Level> Log::threshold_{Level::Warning};

void Log::writeParts(Level level, std::span<const std::string_view> parts) const noexcept
{
    try {
        try {
            Road::instance().take(level, channel_, escapeControls(join(parts)));
        } catch (...) { // short of memory
            Road::instance().takeFixed(level, channel_, parts);
        }
    } catch (...) { // NOLINT(bugprone-empty-catch)
        // The log is where failures are reported: it has no one to report its own to.
    }
}

void Log::setLevel(Level level) noexcept
{
    threshold_.store(level, std::memory_order_relaxed);
}

Level Log::level() noexcept
{
    return threshold_.load(std::memory_order_relaxed);
}

void Log::logToStandardError()
{
    Road::instance().lead(makeOutput(STDERR_FILENO, QueuedOutput::Ownership::Borrowed));
}

void Log::logToFile(const std::filesystem::path& file)
{
    const int descriptor =
        ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640);
    if (descriptor < 0) {
        throw std::runtime_error("Cannot open the log file: " + file.string() + ": " +
                                 std::generic_category().message(errno));
    }
    Road::instance().lead(makeOutput(descriptor, QueuedOutput::Ownership::Owned));
}

} // namespace connector::common
