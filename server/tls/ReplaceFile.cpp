#include "server/tls/ReplaceFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "contract/common/FileDescriptor.h"

namespace connector::http {

namespace {

constexpr std::string_view kUnfinished = ".unfinished-";
constexpr std::string_view kRandomLetters = "XXXXXX"; ///< The placeholder of mkostemp.

/// A new file beside the one to be replaced; it is removed unless it took that one's place.
class Replacement
{
public:
    explicit Replacement(const std::string& path)
        : path_(path), temporary_(path + std::string(kUnfinished) + std::string(kRandomLetters)),
          descriptor_(::mkostemp(temporary_.data(), O_CLOEXEC))
    {
        check(descriptor_.get() >= 0);
        ::flock(descriptor_.get(), LOCK_EX); // until the process ends: see removeUnfinished
    }

    ~Replacement()
    {
        if (!temporary_.empty()) {
            ::unlink(temporary_.c_str());
        }
    }

    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    void write(std::string_view content, mode_t mode)
    {
        check(::fchmod(descriptor_.get(), mode) == 0);
        while (!content.empty()) {
            const auto written = ::write(descriptor_.get(), content.data(), content.size());
            check(written >= 0 || errno == EINTR);
            content.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
        }
        check(::fsync(descriptor_.get()) == 0);
    }

    void takePlace()
    {
        check(std::rename(temporary_.c_str(), path_.c_str()) == 0);
        temporary_.clear();
    }

private:
    void check(bool succeeded) const
    {
        if (!succeeded) {
            throw std::system_error(errno, std::generic_category(), "Cannot write " + path_);
        }
    }

    const std::string& path_;
    std::string temporary_;
    const common::FileDescriptor descriptor_;
};

/// Makes the rename itself last. A directory that cannot be opened for that is no failure: the file
/// is complete under its name.
void syncDirectoryOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    const auto directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const common::FileDescriptor descriptor(
        ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.get() >= 0) {
        ::fsync(descriptor.get());
    }
}

/// Removes a regular file unless some process holds the lock of it.
void removeUnlessLocked(const std::string& path)
{
    const common::FileDescriptor descriptor(
        ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (::fstat(descriptor.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        ::flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0) {
        ::unlink(path.c_str());
    }
}

} // namespace

void replaceFile(const std::string& path, std::string_view content, mode_t mode)
{
    Replacement replacement(path);
    replacement.write(content, mode);
    replacement.takePlace();
    syncDirectoryOf(path);
}

void removeUnfinished(const std::string& path)
{
    const std::filesystem::path finished(path);
    const auto begin = finished.filename().string() + std::string(kUnfinished);
    const auto directory = finished.has_parent_path() ? finished.parent_path() : ".";
    std::error_code fault;
    std::filesystem::directory_iterator entry(directory, fault);
    for (; !fault && entry != std::filesystem::directory_iterator(); entry.increment(fault)) {
        const auto name = entry->path().filename().string();
        if (name.starts_with(begin) && name.size() == begin.size() + kRandomLetters.size()) {
            removeUnlessLocked(entry->path());
        }
    }
}

} // namespace connector::http
