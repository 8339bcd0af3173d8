#include "server/tls/ReplaceFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace connector::http {

namespace {

/// A new file beside the one to be replaced; it is removed unless it took that one's place.
class Replacement
{
public:
    explicit Replacement(const std::string& path)
        : path_(path), temporary_(path + ".XXXXXX"),
          descriptor_(::mkostemp(temporary_.data(), O_CLOEXEC))
    {
        check(descriptor_ >= 0);
    }

    ~Replacement()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        if (!temporary_.empty()) {
            ::unlink(temporary_.c_str());
        }
    }

    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    void write(std::string_view content, mode_t mode)
    {
        check(::fchmod(descriptor_, mode) == 0);
        while (!content.empty()) {
            const auto written = ::write(descriptor_, content.data(), content.size());
            check(written >= 0 || errno == EINTR);
            content.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
        }
        check(::fsync(descriptor_) == 0);
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
    const int descriptor_;
};

/// Makes the rename itself last. A directory that cannot be opened for that is no failure: the file
/// is complete under its name.
void syncDirectoryOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    const auto directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const auto descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
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

} // namespace connector::http
