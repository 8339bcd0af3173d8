#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "contract/common/Export.h"
#include "contract/common/Snapshot.h"
#include "contract/http/StaticContentService.h"
#include "contract/platform/Configuration.h"
#include "contract/streams/Streams.h"
#include "staticcontent/ContentRegistry.h"
#include "staticcontent/OpenFiles.h"

namespace connector::http {

/// Serves files from registered directories.
///
/// No request path leads outside of a registered directory: ".." segments and NUL are refused as
/// not found, "." and empty segments add nothing. Symbolic links in a directory are followed
/// wherever they lead: who may write there decides what is served. Only regular files are opened.
///
/// The configuration key "connector.directoryListing" decides whether a directory without a
/// readable "index.html" is listed; a change counts from the next request on. Another type than
/// bool changes nothing: the constructor logs such a value, later the listener throws
/// boost::bad_get into the configuration, which reports it.
///
/// Any thread may call any operation.
class CONNECTOR_API StaticContentServiceImpl final : public StaticContentService
{
public:
    /// How long clients keep the files of a route whose cache flag is set.
    static constexpr unsigned int THIRTY_DAYS_IN_SECONDS = 2'592'000; // NOLINT: a given name

    /// @param configuration may be null. Else it receives @p directoryListing in the layer
    ///        "default", and its value, which a higher layer may replace, is followed.
    /// @param paths directory by route: the first routes, taken as they stand.
    /// @param cacheFlags whether clients may keep files, by route.
    /// @param directoryListing whether directories are listed without a configuration.
    StaticContentServiceImpl(std::shared_ptr<configuration::Configuration> configuration,
                             std::map<std::string, std::wstring, std::greater<std::string>>&& paths,
                             std::map<std::string, bool, std::greater<std::string>>&& cacheFlags,
                             bool directoryListing);
    ~StaticContentServiceImpl() override;

    /// The reply is ready. Whatever fails is answered with 404 "File not found.", an
    /// "if-modified-since" that is no date and a range number above 2^31 - 1 included; a lack of
    /// descriptors or memory alone gives 503 with "Cache-Control: no-store".
    /// Blocks for the storage; the address, the context and the request's body are not used.
    Future<std::unique_ptr<Message>> doGet(std::unique_ptr<HttpRequest>&& request,
                                           Address&& address,
                                           std::shared_ptr<Context>&& context) override;
    Future<std::unique_ptr<Message>> doHead(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

    /// Serves @p route, less a "/" at its end, from @p path, in place of what it had. The directory
    /// need not exist yet; an empty one serves nothing. Does not block.
    void addStaticContentPath(const std::string& route, const std::wstring& path,
                              bool enableCache) override;

    std::shared_ptr<StaticContentService> getPtr() override;

private:
    void followDirectoryListing();
    Future<std::unique_ptr<Message>> doGetHead(const HttpRequest& request, bool includeBody);

    std::mutex mutex_; ///< Serialises changes of registry_; lookups do not take it.
    common::Snapshot<staticcontent::ContentRegistry> registry_;
    staticcontent::OpenFiles openFiles_;
    const std::shared_ptr<configuration::Configuration> configuration_;
    /// Shared with the listener, which may still run while the service is destroyed.
    const std::shared_ptr<std::atomic<bool>> directoryListing_;
    std::shared_ptr<reactive_streams::Canceller> directoryListingSubscription_;
};

} // namespace connector::http
