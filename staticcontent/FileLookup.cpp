#include "staticcontent/FileLookup.h"

#include <optional>
#include <string_view>
#include <utility>

#include "contract/common/Log.h"
#include "contract/http/PathStartsWith.h"
#include "staticcontent/RelativePath.h"

namespace connector::http::staticcontent {

namespace {

using filesystem::FileType;
using filesystem::Path;

constexpr common::Log kLog("connector::http::staticContent");

template <typename... Parts>
void logDebug(const Parts&... parts)
{
    if (kLog.enabled(common::Level::Debug)) {
        std::string record;
        (record.append(parts), ...);
        kLog.write(common::Level::Debug, record);
    }
}

/// The candidate for the path below a directory. An empty directory stays empty instead of being
/// the root or the working directory: nothing is found there.
Path candidateFor(const std::string& directory, const std::string& relative)
{
    if (directory.empty() || relative.empty()) {
        return directory;
    }
    return directory.back() == '/' ? directory + relative : directory + '/' + relative;
}

/// @return an empty path if there is no readable regular file.
FoundFile openFile(OpenFiles& openFiles, Path&& path, filesystem::FileStatus status)
{
    if (status.type == FileType::Regular) {
        if (auto file = openFiles.open(path, status)) {
            return {std::move(path), status, std::move(file)};
        }
    }
    return {};
}

FoundFile examine(OpenFiles& openFiles, Path&& candidate, bool listDirectories)
{
    const auto status = filesystem::status(candidate);
    if (status.type != FileType::Directory) {
        return openFile(openFiles, std::move(candidate), status);
    }
    auto index = candidateFor(candidate, "index.html");
    const auto indexStatus = filesystem::status(index);
    if (auto found = openFile(openFiles, std::move(index), indexStatus); !found.path.empty()) {
        return found;
    }
    if (listDirectories && filesystem::isReadable(candidate)) {
        return {std::move(candidate), status, {}};
    }
    return {};
}

} // namespace

FoundFile findFileForPath(const ContentRegistry& registry, OpenFiles& openFiles,
                          const std::string& requestPath, bool listDirectories)
{
    logDebug("Searching for file: ", requestPath);
    for (const auto& [route, directory] : registry.directories()) {
        if (!pathStartsWith(requestPath, route)) {
            continue;
        }
        const auto remainder = std::string_view(requestPath).substr(route.size() + 1);
        const auto relative = relativePath(remainder);
        if (!relative) {
            break;
        }
        auto candidate = candidateFor(directory, *relative);
        logDebug("Checking file: ", candidate);
        auto found = examine(openFiles, std::move(candidate), listDirectories);
        if (!found.path.empty()) {
            logDebug("Found file: ", found.path, ", for request: ", requestPath);
            return found;
        }
    }
    logDebug("Did not find: ", requestPath);
    return {};
}

} // namespace connector::http::staticcontent
