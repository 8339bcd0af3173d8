#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/HostProcess.h"

namespace connector::test {

/// Opens a page in Chromium without a window and waits for the page's load event; a page that has
/// more to do delays it, for instance by an inner frame that it keeps open.
/// @param options further ones of Chromium.
/// @param home stands in for the user's directory: profile, and certificates in `.pki/nssdb`.
/// @return the document as it stands then, as HTML.
inline std::string loadInBrowser(const std::string& url, const std::vector<std::string>& options,
                                 const std::filesystem::path& home)
{
    std::vector<std::string> command = {
        "env", "HOME=" + home.string(), "chromium", "--headless",
        // A container has neither the rights for a sandbox nor much shared memory.
        "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
        // No traffic but the page's own.
        "--disable-background-networking", "--disable-component-update", "--no-first-run",
        "--user-data-dir=" + (home / "profile").string()};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"--dump-dom", url});
    ChildProcess browser(command);
    auto document = browser.readRest();
    if (browser.wait() != 0) {
        throw std::runtime_error(browser.errors());
    }
    return document;
}

} // namespace connector::test
