#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace connector::test {

/// A fresh directory that goes away with everything in it.
class TemporaryDirectory
{
public:
    TemporaryDirectory();
    ~TemporaryDirectory();

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

    /// Writes a file below the directory, making the directories on its way.
    std::filesystem::path write(const std::string& name, std::string_view content) const;

private:
    std::filesystem::path path_;
};

} // namespace connector::test
