#include "host/LineReader.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace connector::host {

namespace {

constexpr std::size_t kReadBytes = std::size_t{16} * 1024;

enum class Wait
{
    Readable,
    Woken,
    Failed
};

Wait waitFor(int input, int wake)
{
    std::array<pollfd, 2> polled = {pollfd{wake, POLLIN, 0}, pollfd{input, POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) < 0) {
        if (errno != EINTR) {
            return Wait::Failed;
        }
    }
    if (polled[0].revents != 0) {
        return Wait::Woken;
    }
    return (polled[1].revents & POLLNVAL) != 0 ? Wait::Failed : Wait::Readable;
}

} // namespace

LineReader::LineReader(int input, int wake, std::size_t limit)
    : input_(input), wake_(wake), limit_(limit)
{}

LineReader::Event LineReader::next(std::string& line)
{
    while (!takeLine(line)) {
        if (ended_) {
            return takeRest(line);
        }
        dropBeyondLimit();
        const auto wait = waitFor(input_, wake_);
        if (wait == Wait::Woken) {
            return Event::Woken;
        }
        std::array<char, kReadBytes> bytes;
        const auto count = wait == Wait::Failed ? 0 : read(input_, bytes.data(), bytes.size());
        if (count > 0) {
            buffer_.append(bytes.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            ended_ = true;
        }
    }
    return std::exchange(tooLong_, false) || line.size() > limit_ ? Event::TooLong : Event::Line;
}

bool LineReader::takeLine(std::string& line)
{
    const auto end = buffer_.find('\n', searched_);
    if (end == std::string::npos) {
        searched_ = buffer_.size();
        return false;
    }
    line.assign(buffer_, 0, end);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    buffer_.erase(0, end + 1);
    searched_ = 0;
    return true;
}

LineReader::Event LineReader::takeRest(std::string& line)
{
    if (buffer_.empty() && !tooLong_) {
        return Event::End;
    }
    buffer_.push_back('\n');
    searched_ = 0;
    return next(line);
}

void LineReader::dropBeyondLimit()
{
    if (buffer_.size() > limit_) {
        tooLong_ = true;
        buffer_.clear();
        searched_ = 0;
    }
}

} // namespace connector::host
