#include "contract/platform/ReadableFile.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace connector::filesystem {

namespace {

common::DataBuffer allocate(std::size_t size)
{
    try {
        return common::DataBuffer(size);
    } catch (const std::bad_alloc&) {
        throw ResourceShortage("Out of memory!");
    }
}

} // namespace

ReadableFile ReadableFile::open(const Path& path)
{
    ReadableFile file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen()) {
        ResourceShortage::throwFor(errno);
    }
    return file;
}

common::DataBuffer ReadableFile::read(std::uint64_t offset, std::size_t length) const
{
    auto buffer = allocate(length);
    buffer.resize(readInto(offset, {buffer.data(), length}));
    return buffer;
}

std::size_t ReadableFile::readInto(std::uint64_t offset, std::span<char> space) const noexcept
{
    std::size_t done = 0;
    while (done < space.size()) {
        const auto count = ::pread(descriptor(), space.data() + done, space.size() - done,
                                   static_cast<off_t>(offset + done));
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

} // namespace connector::filesystem
