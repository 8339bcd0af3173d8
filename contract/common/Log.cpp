#include "contract/common/Log.h"

#include <algorithm>
#include <cerrno>
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

namespace connector::common {

namespace {

namespace logging = boost::log;

constexpr bool isControl(char c) noexcept
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

std::string escapeControls(std::string_view text)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string escaped;
    escaped.reserve(text.size() + 8);
    for (const char c : text) {
        if (!isControl(c)) {
            escaped += c;
        } else if (c == '\n') {
            escaped += "\\n";
        } else {
            const auto byte = static_cast<unsigned char>(c);
            escaped += "\\x";
            escaped += kHex[byte >> 4U];
            escaped += kHex[byte & 0xFU];
        }
    }
    return escaped;
}

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

/// "2024-05-01T12:00:00.123Z"
std::string currentTime()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm utc{};
    ::gmtime_r(&now.tv_sec, &utc);
    char text[64];
    const auto length = std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text + length, sizeof(text) - length, ".%03ldZ", now.tv_nsec / 1'000'000);
    return text;
}

std::string makeLine(Level level, std::string_view channel, std::string_view text)
{
    auto line = currentTime();
    line.append(" ").append(nameOf(level)).append(" [").append(channel).append("] ").append(text);
    return line += '\n';
}

/// The file or terminal that lines go to, each in one write, so that the lines of several processes
/// do not mix.
class Output
{
public:
    enum class Ownership
    {
        Borrowed,
        Owned
    };

    Output(int descriptor, Ownership ownership) : descriptor_(descriptor), ownership_(ownership) {}

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    ~Output()
    {
        if (ownership_ == Ownership::Owned) {
            ::close(descriptor_);
        }
    }

    void write(std::string_view line) const noexcept
    {
        while (!line.empty()) {
            const auto written = ::write(descriptor_, line.data(), line.size());
            if (written >= 0) {
                line.remove_prefix(static_cast<std::size_t>(written));
            } else if (errno != EINTR) {
                return; // a full disk or a closed terminal must not stop the program
            }
        }
    }

private:
    const int descriptor_;
    const Ownership ownership_;
};

class Sink final : public logging::sinks::sink
{
public:
    explicit Sink(std::shared_ptr<const Output> output) : sink(false), output_(std::move(output)) {}

    bool will_consume(const logging::attribute_value_set& /*attributes*/) override { return true; }

    void consume(const logging::record_view& record) override
    {
        const auto level = logging::extract<Level>("Severity", record);
        const auto channel = logging::extract<std::string>("Channel", record);
        const auto text = record[logging::expressions::smessage];
        if (level && channel && text) {
            output_->write(makeLine(*level, *channel, *text));
        }
    }

    void flush() override {}

private:
    const std::shared_ptr<const Output> output_;
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

    void lead(std::shared_ptr<const Output> output)
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
            output_->write(makeLine(level, channel, text));
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
        lead(std::make_shared<Output>(STDERR_FILENO, Output::Ownership::Borrowed));
    }

    const logging::core_ptr core_;

    /// Guards all below, and keeps the library alive while a record is on its way: it is the one
    /// lock under which the log writes.
    std::shared_mutex mutex_;
    bool libraryEnded_ = false;
    boost::shared_ptr<Sink> sink_;
    std::shared_ptr<const Output> output_;
};

} // namespace

constinit std::atomic<Level> Log::threshold_{Level::Warning};

void Log::write(Level level, std::string_view text) const noexcept
{
    if (!enabled(level)) {
        return;
    }
    try {
        if (std::any_of(text.begin(), text.end(), isControl)) {
            Road::instance().take(level, channel_, escapeControls(text));
        } else {
            Road::instance().take(level, channel_, text);
        }
    } catch (...) { // the log is where failures are reported: it has no one to report its own to
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
    Road::instance().lead(std::make_shared<Output>(STDERR_FILENO, Output::Ownership::Borrowed));
}

void Log::logToFile(const std::filesystem::path& file)
{
    const int descriptor =
        ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640);
    if (descriptor < 0) {
        throw std::runtime_error("Cannot open the log file: " + file.string() + ": " +
                                 std::generic_category().message(errno));
    }
    Road::instance().lead(std::make_shared<Output>(descriptor, Output::Ownership::Owned));
}

} // namespace connector::common
