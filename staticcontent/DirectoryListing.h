#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contract/messaging/Future.h"
#include "contract/messaging/Message.h"
#include "contract/platform/FileSystem.h"

namespace connector::http::staticcontent {

/// Answers with the page that lists @p directory; the reply is ready. Blocks for the storage.
/// @param requestPath the path that was asked for.
/// @param includeBody false gives a bare 200 and reads nothing.
/// @throws what the file system layer throws for a directory that cannot be read.
Future<std::unique_ptr<Message>> returnDirectoryList(const std::string& requestPath,
                                                     const filesystem::Path& directory,
                                                     bool includeBody);

/// The page: a link to the parent, then the sub-directories in bold, then everything else, each
/// sorted byte by byte. The links begin with the request path.
///
/// Kept: names are neither HTML-escaped nor percent-encoded, so whoever can create names in a
/// served directory can put markup into its page.
std::string renderDirectoryList(const std::string& requestPath,
                                std::vector<std::string> directories,
                                std::vector<std::string> files);

} // namespace connector::http::staticcontent
