#pragma once

#include <string>

#include "contract/platform/FileSystem.h"
#include "staticcontent/ContentRegistry.h"
#include "staticcontent/OpenFiles.h"

namespace connector::http::staticcontent {

/// What a request path leads to.
struct FoundFile
{
    filesystem::Path path;         ///< Empty: nothing was found.
    filesystem::FileStatus status; ///< Of the open file, if there is one.
    OpenFiles::File file;          ///< Null if the path is no regular file.
};

/// Looks a request path up in the registered directories, in their order, and takes the first that
/// holds a readable regular file there, or a directory with a readable "index.html". A remainder
/// that `relativePath` refuses leads nowhere. Symbolic links are followed, wherever they lead.
///
/// Only regular files are opened, so that no FIFO or device can block the thread: the lookup blocks
/// for the storage alone. It costs one status and, where there is a regular file that was not read
/// just before, one opening with a status of its own.
///
/// @param requestPath begins with "/".
/// @param listDirectories whether a readable directory without index document is a find as well.
/// @throws filesystem::ResourceShortage where that keeps it from finding out.
/// @throws std::out_of_range for a path that equals a route other than the root, with nothing
///         behind it.
FoundFile findFileForPath(const ContentRegistry& registry, OpenFiles& openFiles,
                          const std::string& requestPath, bool listDirectories);

} // namespace connector::http::staticcontent
