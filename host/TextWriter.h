#pragma once

#include <string_view>

namespace connector::host {

/// Writes text to a descriptor without ever being stuck in it: a reader that has stopped reading
/// holds the writer only until a second descriptor wakes it. One thread.
class TextWriter
{
public:
    /// @param output written to; neither closed nor changed.
    /// @param wake only polled.
    TextWriter(int output, int wake) : output_(output), wake_(wake) {}

    /// Writes all of @p text, unless it is woken or the output fails; then the rest is dropped.
    void write(std::string_view text) const;

private:
    [[nodiscard]] bool waitUntilWritable() const;

    const int output_;
    const int wake_;
};

} // namespace connector::host
