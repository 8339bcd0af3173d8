#include "staticcontent/ContentRegistry.h"

#include <utility>

#include "contract/common/Text.h"

namespace connector::http::staticcontent {

ContentRegistry::ContentRegistry(const WideDirectories& directories, CacheFlags cacheFlags)
    : cacheFlags_(std::move(cacheFlags))
{
    for (const auto& [route, directory] : directories) {
        directories_.emplace(route, common::wideToUtf8(directory));
    }
}

void ContentRegistry::set(const std::string& key, const std::wstring& directory, bool enableCache)
{
    directories_[key] = common::wideToUtf8(directory);
    cacheFlags_[key] = enableCache;
}

std::optional<bool> ContentRegistry::cacheFlag(const std::string& requestPath) const
{
    for (const auto& [route, enableCache] : cacheFlags_) {
        if (requestPath.starts_with(route)) {
            return enableCache;
        }
    }
    return std::nullopt;
}

} // namespace connector::http::staticcontent
