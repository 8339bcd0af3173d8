#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace connector::http::staticcontent {

/// Which routes are served from which directories. Its users share values that no longer change,
/// so that lookups need no lock.
///
/// Routes are ordered from the greatest down: a longer route that extends a shorter one comes
/// before it, and the empty route, which serves every path, comes last.
class ContentRegistry
{
public:
    using WideDirectories = std::map<std::string, std::wstring, std::greater<std::string>>;
    using Directories = std::map<std::string, std::string, std::greater<std::string>>;
    using CacheFlags = std::map<std::string, bool, std::greater<std::string>>;

    /// @param directories by route. The routes are taken as they stand.
    /// @throws std::invalid_argument "The wide text holds a code point that Unicode does not
    ///         have." for such a directory.
    ContentRegistry(const WideDirectories& directories, CacheFlags cacheFlags);

    /// Serves @p key from @p directory, in place of what it had.
    /// @throws std::invalid_argument as the constructor does; nothing has changed then.
    void set(const std::string& key, const std::wstring& directory, bool enableCache);

    /// By route, in UTF-8.
    [[nodiscard]] const Directories& directories() const noexcept { return directories_; }

    /// The cache flag of the first route that is a prefix of @p requestPath.
    /// Kept: any prefix counts, "/a" of "/abc" too.
    [[nodiscard]] std::optional<bool> cacheFlag(const std::string& requestPath) const;

private:
    Directories directories_;
    CacheFlags cacheFlags_;
};

} // namespace connector::http::staticcontent
