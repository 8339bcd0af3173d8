#include "contract/platform/FileSystem.h"

#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

#include "contract/common/Text.h"
#include "contract/platform/ReadableFile.h"

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

Path fromWide(const std::wstring& text)
{
    return common::wideToUtf8(text);
}

std::wstring toWide(const Path& path)
{
    return common::utf8ToWide(path.native());
}

std::string toUtf8(const Path& path)
{
    return path.native();
}

FileStatus status(const Path& path) noexcept
{
    struct stat found = {};
    if (::stat(path.c_str(), &found) != 0) {
        return {};
    }
    return {typeOf(found.st_mode), static_cast<std::uint64_t>(found.st_size), found.st_mtim.tv_sec};
}

bool exists(const Path& path) noexcept
{
    return filesystem::status(path).type != FileType::None;
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

Path append(const Path& base, std::string_view component)
{
    if (component.empty() || component == ".") {
        return base;
    }
    if (component == ".." ||
        component.find_first_of(std::string_view("/\0", 2)) != component.npos) {
        throw std::invalid_argument("Not a file name: " + std::string(component));
    }
    return base / component;
}

common::DataBuffer readFile(const Path& path, std::uint64_t offset, std::uint64_t length)
{
    const auto file = ReadableFile::open(path);
    return file.isOpen() ? file.read(offset, length) : common::DataBuffer();
}

} // namespace connector::filesystem
