#pragma once

#include <string>

namespace connector::http::staticcontent {

/// The media type of files with @p extension.
/// @param extension without the dot; upper and lower case differ.
/// @return empty for an unknown extension.
std::string mimeTypeMap(const std::wstring& extension);

} // namespace connector::http::staticcontent
