#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "contract/common/Export.h"

/// The file system, by paths that hold the bytes of the system itself: UTF-8 as a rule, but any
/// bytes may occur in the name of a file on Linux. No locale changes anything here.
namespace connector::filesystem {

/// Not the standard library's path, which takes each one apart: most of the work of a small file's
/// lookup.
using Path = std::string;

/// The process or the system lacks descriptors or memory: what a path leads to cannot be told, or
/// not be read. Every operation of this namespace throws it.
class CONNECTOR_API ResourceShortage : public std::runtime_error
{
public:
    using runtime_error::runtime_error;

    /// @throws ResourceShortage if @p error is EMFILE, ENFILE or ENOMEM.
    static void throwFor(int error);
};

enum class FileType
{
    None, ///< Nothing is there, or it cannot be seen.
    Regular,
    Directory,
    Other
};

/// What differs between two files, and between a file before and after any change to it: of its
/// bytes, its name or its permissions.
struct FileIdentity
{
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::int64_t changeSeconds = 0; ///< Since the Unix epoch.
    std::int64_t changeNanoseconds = 0;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

struct FileStatus
{
    FileType type = FileType::None;
    std::uint64_t size = 0;            ///< In bytes.
    std::int64_t lastWriteSeconds = 0; ///< Since the Unix epoch, rounded down.
    FileIdentity identity;
};

/// The status of what @p path leads to, links followed. Blocks for one system call.
[[nodiscard]] CONNECTOR_API FileStatus status(const Path& path);

/// The status of an open file.
[[nodiscard]] CONNECTOR_API FileStatus status(int descriptor);

/// The access check of mode 2: whether this process may read what @p path leads to.
[[nodiscard]] CONNECTOR_API bool isReadable(const Path& path);

struct DirectoryEntry
{
    std::string name;               ///< The bytes of its last component.
    FileType type = FileType::None; ///< Of what it leads to; None for a broken link.
};

/// The entries of a directory, hidden ones included, "." and ".." not, in no order. Blocks for the
/// storage; a link costs a system call of its own.
/// @throws std::filesystem::filesystem_error if the directory cannot be read.
[[nodiscard]] CONNECTOR_API std::vector<DirectoryEntry> listDirectory(const Path& path);

} // namespace connector::filesystem
