#pragma once

#include <cstddef>
#include <string>

namespace connector::host {

/// Reads lines from a descriptor without ever being stuck in it: a second descriptor wakes it.
/// One thread.
class LineReader
{
public:
    enum class Event
    {
        Line,
        TooLong, ///< A line was longer than the limit; it was dropped as a whole.
        End,     ///< End of the input, or a fault of it.
        Woken    ///< The wake descriptor became readable.
    };

    /// @param input read from; neither closed nor changed.
    /// @param wake only polled; stays woken as long as it is readable.
    /// @param limit of a line in bytes, without its end. No more than this and one read is kept.
    LineReader(int input, int wake, std::size_t limit);

    /// Blocks until one of the events.
    /// @param line receives the line without its "\n" or "\r\n" on Event::Line; any bytes. A last
    ///        line without an end counts.
    Event next(std::string& line);

private:
    /// Takes a whole line out of the buffer; false if there is none.
    bool takeLine(std::string& line);
    Event takeRest(std::string& line);
    void dropBeyondLimit();

    const int input_;
    const int wake_;
    const std::size_t limit_;
    std::string buffer_;
    std::size_t searched_ = 0; ///< So far the buffer holds no line end.
    bool tooLong_ = false;     ///< The line that the buffer ends with has lost its beginning.
    bool ended_ = false;
};

} // namespace connector::host
