#include "contract/platform/FileSystem.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
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

/// @param result of the system call that has filled @p found.
FileStatus toStatus(int result, const struct stat& found)
{
    if (result != 0) {
        ResourceShortage::throwFor(errno);
        return {};
    }
    return {typeOf(found.st_mode),
            static_cast<std::uint64_t>(found.st_size),
            found.st_mtim.tv_sec,
            {found.st_dev, found.st_ino, found.st_ctim.tv_sec, found.st_ctim.tv_nsec}};
}

} // namespace

void ResourceShortage::throwFor(int error)
{
    if (error == EMFILE || error == ENFILE || error == ENOMEM) {
        throw ResourceShortage(std::generic_category().message(error));
    }
}

FileStatus status(const Path& path)
{
    struct stat found = {};
    return toStatus(::stat(path.c_str(), &found), found);
}

FileStatus status(int descriptor)
{
    struct stat found = {};
    return toStatus(::fstat(descriptor, &found), found);
}

bool isReadable(const Path& path)
{
    if (::access(path.c_str(), R_OK) == 0) {
        return true;
    }
    ResourceShortage::throwFor(errno);
    return false;
}

std::vector<DirectoryEntry> listDirectory(const Path& path)
{
    try {
        std::vector<DirectoryEntry> entries;
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            entries.push_back({entry.path().filename().native(), typeOf(entry)});
        }
        return entries;
    } catch (const std::filesystem::filesystem_error& failure) {
        ResourceShortage::throwFor(failure.code().value());
        throw;
    }
}

} // namespace connector::filesystem
