#include "tests/support/TemporaryDirectory.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace connector::test {

TemporaryDirectory::TemporaryDirectory()
{
    auto name = (std::filesystem::temp_directory_path() / "connector-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryDirectory::write(const std::string& name,
                                                std::string_view content) const
{
    const auto file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

} // namespace connector::test
