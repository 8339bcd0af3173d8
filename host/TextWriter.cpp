#include "host/TextWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace connector::host {

void TextWriter::write(std::string_view text) const
{
    while (!text.empty() && waitUntilWritable()) {
        // A writable pipe takes PIPE_BUF bytes without blocking. Making the descriptor non-blocking
        // would change it for everybody who shares it, the operator's shell included.
        const auto count =
            ::write(output_, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR && errno != EAGAIN) {
            return;
        }
    }
}

bool TextWriter::waitUntilWritable() const
{
    std::array<pollfd, 2> polled = {pollfd{wake_, POLLIN, 0}, pollfd{output_, POLLOUT, 0}};
    while (poll(polled.data(), polled.size(), -1) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    // What can be written at once is written even then: the answer to "quit" is on its way.
    return (polled[1].revents & POLLOUT) != 0;
}

} // namespace connector::host
