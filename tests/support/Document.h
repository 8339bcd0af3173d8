#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace connector::test {

/// The content of a file; nothing if there is none.
std::string readFile(const std::filesystem::path& path);

/// The lines in all fenced blocks of @p language of a Markdown text.
std::vector<std::string> fencedLines(const std::string& text, const std::string& language);

} // namespace connector::test
