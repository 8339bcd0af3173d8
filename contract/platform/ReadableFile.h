#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "contract/common/Export.h"
#include "contract/common/FileDescriptor.h"
#include "contract/platform/FileSystem.h"
#include "contract/streams/DataBuffer.h"

namespace connector::filesystem {

/// A file that is open for reading, or none. To open one answers in a single system call whether it
/// may be read. Movable; closed with the object. Reads may run on several threads at once.
class CONNECTOR_API ReadableFile
{
public:
    /// No file.
    ReadableFile() = default;

    /// Opens @p path, which must be a regular file: the caller looks at its status first, since to
    /// open a device can have effects. Does not wait for a writer should it be a FIFO by now.
    /// @return no file where it cannot be opened.
    /// @throws ResourceShortage
    static ReadableFile open(const Path& path);

    [[nodiscard]] bool isOpen() const noexcept { return descriptor() >= 0; }

    /// For system calls that read it at an offset of their own. Negative if there is no file.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// What the file is now; its type is None if there is no file.
    /// @throws ResourceShortage
    [[nodiscard]] FileStatus status() const { return filesystem::status(descriptor()); }

    /// Reads into a buffer that is allocated once, with one system call unless the system cuts it
    /// short. Blocks for the storage.
    /// @return fewer than @p length bytes at the end of the file and where reading fails.
    /// @throws ResourceShortage "Out of memory!" without memory for the buffer.
    [[nodiscard]] common::DataBuffer read(std::uint64_t offset, std::size_t length) const;

    /// Reads into @p space, as `read` does.
    /// @return how many bytes.
    [[nodiscard]] std::size_t readInto(std::uint64_t offset, std::span<char> space) const noexcept;

private:
    explicit ReadableFile(int descriptor) noexcept : descriptor_(descriptor) {}

    common::FileDescriptor descriptor_;
};

} // namespace connector::filesystem
