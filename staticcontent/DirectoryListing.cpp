#include "staticcontent/DirectoryListing.h"

#include <algorithm>
#include <utility>

#include "contract/http/HttpResponse.h"
#include "contract/http/MakeHttpResponse.h"

namespace connector::http::staticcontent {

Future<std::unique_ptr<Message>> returnDirectoryList(const std::string& requestPath,
                                                     const filesystem::Path& directory,
                                                     bool includeBody)
{
    if (!includeBody) {
        return makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<HttpResponse>(200, nullptr));
    }
    std::vector<std::string> directories;
    std::vector<std::string> files;
    for (auto& [name, type] : filesystem::listDirectory(directory)) {
        auto& names = type == filesystem::FileType::Directory ? directories : files;
        names.push_back(std::move(name));
    }
    return makeReadyHttpResponse(
        200, renderDirectoryList(requestPath, std::move(directories), std::move(files)));
}

// Kept: the parent line closes link and bold in the other order than the directory lines do.
std::string renderDirectoryList(const std::string& requestPath,
                                std::vector<std::string> directories,
                                std::vector<std::string> files)
{
    std::ranges::sort(directories);
    std::ranges::sort(files);
    auto prefix = requestPath;
    if (!prefix.empty() && prefix.back() != '/') {
        prefix += '/';
    }
    auto page = "<html><body>\n<b><a href=\"" + prefix + "..\">..</a></b><br>\n";
    for (const auto& name : directories) {
        page.append("<b><a href=\"").append(prefix).append(name);
        page.append("\">").append(name).append("</a><br></b>\n");
    }
    for (const auto& name : files) {
        page.append("<a href=\"").append(prefix).append(name);
        page.append("\">").append(name).append("</a><br>\n");
    }
    page += "</body></html>\n";
    return page;
}

} // namespace connector::http::staticcontent
