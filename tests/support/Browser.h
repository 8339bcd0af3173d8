#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace connector::test {

/// Opens a page in Chromium without a window and waits for the page's load event; a page that has
/// more to do delays it, for instance by an inner frame that it keeps open.
/// @param options further ones of Chromium.
/// @param home stands in for the user's directory: profile, and trusted certificates if there are
///        any (below `.pki/nssdb`).
/// @return the document as it stands then, as HTML.
/// @throws std::runtime_error if there is no Chromium, or no end within 20 seconds.
std::string loadInBrowser(const std::string& url, const std::vector<std::string>& options,
                          const std::filesystem::path& home);

} // namespace connector::test
