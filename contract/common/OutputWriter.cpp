#include "contract/common/OutputWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "contract/common/Thread.h"

namespace connector::common {

namespace {

/// While an output is not read, new text for another one is noticed after this time.
constexpr int kReaderCheckMs = 50;

constexpr std::size_t kMaxPolled = 4;

/// Queueing allocates memory only if more outputs than these have text.
constexpr std::size_t kExpectedOutputs = 16;

bool isRegularFile(int descriptor)
{
    struct stat status
    {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

std::uint64_t countLines(std::string_view text)
{
    return static_cast<std::uint64_t>(std::ranges::count(text, '\n'));
}

/// The part of @p text to write in one call. A file takes all of it. A pipe that is ready takes
/// PIPE_BUF bytes for certain without blocking; whole lines do not mix with those of other
/// processes.
std::string_view nextChunk(std::string_view text, bool regularFile)
{
    if (regularFile || text.size() <= PIPE_BUF) {
        return text;
    }
    const auto end = text.rfind('\n', PIPE_BUF - 1);
    return text.substr(0, end == std::string_view::npos ? PIPE_BUF : end + 1);
}

/// Blocks.
void writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const auto count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace

OutputWriter::Queue::Queue(int descriptor_, bool owned_, void (*onDropped_)(std::uint64_t) noexcept)
    : descriptor(descriptor_), owned(owned_), regularFile(isRegularFile(descriptor_)),
      onDropped(onDropped_)
{
    gathered.reserve(kMaxQueuedBytes); // untouched pages take no memory
    taken.reserve(kMaxQueuedBytes);
}

OutputWriter::Queue::~Queue()
{
    if (owned) {
        ::close(descriptor);
    }
}

OutputWriter& OutputWriter::instance()
{
    static auto& writer = *new OutputWriter; // never destroyed, on purpose
    return writer;
}

OutputWriter::OutputWriter()
{
    busy_.reserve(kExpectedOutputs);
    pthread_atfork([] { instance().mutex_.lock(); }, [] { instance().mutex_.unlock(); },
                   [] { instance().abandonInChild(); });
}

bool OutputWriter::post(const std::shared_ptr<Queue>& queue, std::string_view lines)
{
    Lock lock(mutex_);
    if (inChild_) {
        lock.unlock();
        writeAll(queue->descriptor, lines);
        return true;
    }
    if (queue->gathered.size() + lines.size() > kMaxQueuedBytes) {
        queue->dropped += countLines(lines);
        return false;
    }
    doAppend(lock, queue, lines);
    return true;
}

bool OutputWriter::put(const std::shared_ptr<Queue>& queue, std::string_view text,
                       const std::stop_token& stop)
{
    Lock lock(mutex_);
    while (!text.empty() && !inChild_) {
        const auto piece = text.substr(0, kMaxQueuedBytes);
        const auto hasRoom = [&] {
            return queue->gathered.size() + piece.size() <= kMaxQueuedBytes;
        };
        if (!drained_.wait(lock, stop, hasRoom)) {
            queue->dropped += countLines(text);
            return false;
        }
        doAppend(lock, queue, piece);
        text.remove_prefix(piece.size());
        const auto end = queue->appended;
        if (!drained_.wait(lock, stop, [&] { return queue->finished >= end; })) {
            queue->dropped += countLines(text);
            return false;
        }
    }
    lock.unlock();
    writeAll(queue->descriptor, text);
    return true;
}

bool OutputWriter::flush(std::chrono::milliseconds timeout)
{
    Lock lock(mutex_);
    if (!busy_.empty()) {
        doStart(lock);
    }
    return drained_.wait_for(lock, timeout, [this] { return busy_.empty(); });
}

/// If no thread can be started, the next text tries again.
void OutputWriter::doStart(Lock& /*lock*/)
{
    if (!started_) {
        try {
            startThread("connector-out", [this] { run(); }).detach();
            started_ = true;
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        }
    }
}

void OutputWriter::doAppend(Lock& lock, const std::shared_ptr<Queue>& queue, std::string_view text)
{
    doStart(lock);
    if (text.empty()) {
        return;
    }
    if (!queue->busy) {
        busy_.push_back(queue);
        queue->busy = true;
        filled_.notify_one();
    }
    queue->gathered += text; // within what is reserved
    queue->appended += text.size();
}

void OutputWriter::run()
{
    Lock lock(mutex_);
    for (;;) {
        filled_.wait(lock, [this] { return !busy_.empty(); });
        if (!doRound(lock)) {
            doAwaitReader(lock);
        }
    }
}

/// Serves each output once.
/// @return whether any of them took text.
bool OutputWriter::doRound(Lock& lock)
{
    auto progressed = false;
    for (std::size_t index = 0; index < busy_.size(); ++index) {
        const auto queue = busy_[index]; // others may be added meanwhile
        progressed |= doServe(lock, queue);
    }
    std::erase_if(busy_, [](const std::shared_ptr<Queue>& queue) { return !queue->busy; });
    drained_.notify_all();
    return progressed;
}

/// Releases the lock while it writes.
bool OutputWriter::doServe(Lock& lock, const std::shared_ptr<Queue>& queue)
{
    if (!queue->writing) {
        queue->taken.clear();
        queue->written = 0;
        queue->taken.swap(queue->gathered);
        queue->writing = true;
    }
    const auto before = queue->written;
    lock.unlock();
    const auto progress = writeSome(*queue);
    lock.lock();
    if (progress == Progress::Blocked) {
        return false;
    }
    if (progress == Progress::Failed) { // a full disk, or a terminal that was closed
        queue->dropped += countLines(std::string_view(queue->taken).substr(queue->written));
        queue->written = queue->taken.size();
    }
    queue->finished += queue->written - before;
    queue->writing = queue->written < queue->taken.size();
    if (!queue->writing && progress == Progress::Written && queue->dropped > 0) {
        const auto dropped = std::exchange(queue->dropped, 0);
        lock.unlock();
        queue->onDropped(dropped);
        lock.lock();
    }
    queue->busy = queue->writing || !queue->gathered.empty();
    return true;
}

OutputWriter::Progress OutputWriter::writeSome(Queue& queue)
{
    pollfd polled{queue.descriptor, POLLOUT, 0};
    if (::poll(&polled, 1, 0) == 0) {
        return Progress::Blocked;
    }
    // The descriptor stays blocking: O_NONBLOCK would also hold for the other processes that share
    // it, such as the operator's shell.
    const auto chunk =
        nextChunk(std::string_view(queue.taken).substr(queue.written), queue.regularFile);
    const auto count = ::write(queue.descriptor, chunk.data(), chunk.size());
    if (count > 0) {
        queue.written += static_cast<std::size_t>(count);
        return Progress::Written;
    }
    return count == 0 || errno == EINTR || errno == EAGAIN ? Progress::Blocked : Progress::Failed;
}

void OutputWriter::doAwaitReader(Lock& lock)
{
    std::array<pollfd, kMaxPolled> polled;
    const auto count = std::min(busy_.size(), polled.size());
    for (std::size_t index = 0; index < count; ++index) {
        polled[index] = {busy_[index]->descriptor, POLLOUT, 0};
    }
    lock.unlock();
    ::poll(polled.data(), count, kReaderCheckMs);
    lock.lock();
}

/// The lock is held by the fork.
void OutputWriter::abandonInChild() noexcept
{
    inChild_ = true;
    busy_.clear(); // the parent writes it
    mutex_.unlock();
}

} // namespace connector::common
