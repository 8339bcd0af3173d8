#include "tests/support/Browser.h"

#include <stdexcept>

#include "tests/support/HostProcess.h"

namespace connector::test {

std::string loadInBrowser(const std::string& url, const std::vector<std::string>& options,
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
    if (const auto status = browser.wait(); status != 0) {
        throw std::runtime_error("chromium ended with " + std::to_string(status) + ": " +
                                 browser.errors());
    }
    return document;
}

} // namespace connector::test
