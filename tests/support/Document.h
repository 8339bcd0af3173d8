#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace connector::test {

/// The content of a file; nothing if there is none.
inline std::string readFile(const std::filesystem::path& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// The lines in all fenced blocks of @p language of a Markdown text.
inline std::vector<std::string> fencedLines(const std::string& text, const std::string& language)
{
    std::istringstream lines(text);
    std::vector<std::string> fenced;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```")) {
            inside = line == "```" + language;
        } else if (inside) {
            fenced.push_back(line);
        }
    }
    return fenced;
}

} // namespace connector::test
