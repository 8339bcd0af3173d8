#pragma once

#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace connector::common {

/// Owns a file descriptor and closes it, or owns none.
class FileDescriptor
{
public:
    FileDescriptor() = default;

    /// @param descriptor what a system call returned; negative: none.
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}

    /// The descriptor that a system call has just returned.
    /// @throws std::system_error with `errno` if it returned none.
    static FileDescriptor require(int descriptor)
    {
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category());
        }
        return FileDescriptor(descriptor);
    }

    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1))
    {}

    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    ~FileDescriptor()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }

    /// Negative if there is none.
    [[nodiscard]] int get() const noexcept { return descriptor_; }

private:
    int descriptor_ = -1;
};

} // namespace connector::common
