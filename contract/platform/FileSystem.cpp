#include "contract/platform/FileSystem.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace connector::filesystem {

namespace {

FileType typeOf(mode_t mode) noexcept
{
    if (S_ISREG(mode)) {
        return FileType::Regular;
    }
    return S_ISDIR(mode) ? FileType::Directory : FileType::Other;
}

/// The directory usually tells the type itself; only links need a look at what they lead to.
FileType typeOf(const std::filesystem::directory_entry& entry)
{
    std::error_code ignored;
    if (entry.is_symlink(ignored)) {
        return filesystem::status(entry.path()).type;
    }
    if (entry.is_regular_file(ignored)) {
        return FileType::Regular;
    }
    return entry.is_directory(ignored) ? FileType::Directory : FileType::Other;
}

} // namespace

FileStatus status(const Path& path) noexcept
{
    struct stat found = {};
    if (::stat(path.c_str(), &found) != 0) {
        return {};
    }
    return {typeOf(found.st_mode),
            static_cast<std::uint64_t>(found.st_size),
            found.st_mtim.tv_sec,
            {found.st_dev, found.st_ino, found.st_ctim.tv_sec, found.st_ctim.tv_nsec}};
}

bool isReadable(const Path& path) noexcept
{
    return ::access(path.c_str(), R_OK) == 0;
}

std::vector<DirectoryEntry> listDirectory(const Path& path)
{
    std::vector<DirectoryEntry> entries;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        entries.push_back({entry.path().filename().native(), typeOf(entry)});
    }
    return entries;
}

} // namespace connector::filesystem
