#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "contract/common/Export.h"
#include "contract/streams/DataBuffer.h"

/// The file system, by paths that hold the bytes of the system itself: UTF-8 as a rule, but any
/// bytes may occur in the name of a file on Linux. No locale changes anything here.
namespace connector::filesystem {

using Path = std::filesystem::path;

/// @throws std::invalid_argument as common::wideToUtf8.
[[nodiscard]] CONNECTOR_API Path fromWide(const std::wstring& text);

/// @throws std::invalid_argument "The text is not valid UTF-8." for a name that is not.
[[nodiscard]] CONNECTOR_API std::wstring toWide(const Path& path);

/// The bytes of the path, as they are: for a name that is not UTF-8, neither are they.
[[nodiscard]] CONNECTOR_API std::string toUtf8(const Path& path);

enum class FileType
{
    None, ///< Nothing is there, or it cannot be seen.
    Regular,
    Directory,
    Other
};

struct FileStatus
{
    FileType type = FileType::None;
    std::uint64_t size = 0;            ///< In bytes.
    std::int64_t lastWriteSeconds = 0; ///< Since the Unix epoch, rounded down.
};

/// The status of what @p path leads to, links followed. Blocks for one system call.
[[nodiscard]] CONNECTOR_API FileStatus status(const Path& path) noexcept;

/// Whether @p path leads to anything, links followed.
[[nodiscard]] CONNECTOR_API bool exists(const Path& path) noexcept;

/// The access check of mode 2: whether this process may read what @p path leads to.
[[nodiscard]] CONNECTOR_API bool isReadable(const Path& path) noexcept;

struct DirectoryEntry
{
    std::string name;               ///< The bytes of its last component.
    FileType type = FileType::None; ///< Of what it leads to; None for a broken link.
};

/// The entries of a directory, hidden ones included, "." and ".." not, in no order. Blocks for the
/// storage; a link costs a system call of its own.
/// @throws std::filesystem::filesystem_error if the directory cannot be read.
[[nodiscard]] CONNECTOR_API std::vector<DirectoryEntry> listDirectory(const Path& path);

/// @p base followed by one more component, never leading out of it (but for what symbolic links in
/// it do). An empty component and "." add nothing.
/// @throws std::invalid_argument "Not a file name: " + the component, for "..", and for any that
///         holds a "/" or NUL.
[[nodiscard]] CONNECTOR_API Path append(const Path& base, std::string_view component);

/// Reads part of a regular file, whose status the caller knows, with one allocation and as a rule
/// three system calls. See ReadableFile.
/// @param length of the part in bytes.
/// @return fewer bytes where the file ends early or reading fails; none if it cannot be opened.
/// @throws std::runtime_error "Out of memory!"
[[nodiscard]] CONNECTOR_API common::DataBuffer readFile(const Path& path, std::uint64_t offset,
                                                        std::uint64_t length);

} // namespace connector::filesystem
