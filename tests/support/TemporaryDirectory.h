#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace connector::test {

/// A fresh directory that goes away with everything in it.
class TemporaryDirectory
{
public:
    TemporaryDirectory()
    {
        auto name = (std::filesystem::temp_directory_path() / "connector-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }

    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

    /// Writes a file below the directory, making the directories on its way.
    std::filesystem::path write(const std::string& name, std::string_view content) const
    {
        const auto file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

private:
    std::filesystem::path path_;
};

} // namespace connector::test
