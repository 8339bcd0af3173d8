#include "staticcontent/StaticContentServiceImpl.h"

#include <new>
#include <stdexcept>
#include <utility>

#include <boost/regex.hpp>

#include "contract/common/Log.h"
#include "contract/common/LogRateLimit.h"
#include "contract/common/Text.h"
#include "contract/http/HttpResponse.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/streams/CallbackSubscriber.h"
#include "staticcontent/ContentRegistry.h"
#include "staticcontent/DirectoryListing.h"
#include "staticcontent/FileLookup.h"
#include "staticcontent/FileResponse.h"

namespace connector::http {

using namespace staticcontent;

namespace {

using configuration::Value;

constexpr common::Log kLog("connector::http::staticContent");
constinit common::LogRateLimit shortages; // one for the process, as there is one log
constexpr const char* kDirectoryListingKey = "connector.directoryListing";

void requireAlphanumeric(const std::string& route)
{
    static const boost::regex kPattern(R"(^[A-Za-z0-9\/]+$)");
    if (!boost::regex_match(route, kPattern)) {
        throw std::invalid_argument("URL path must be alpha-numeric");
    }
}

std::string cacheControl(const ContentRegistry& registry, const std::string& requestPath)
{
    const auto enableCache = registry.cacheFlag(requestPath);
    if (!enableCache) {
        return {};
    }
    return *enableCache
               ? "max-age=" + std::to_string(StaticContentServiceImpl::THIRTY_DAYS_IN_SECONDS)
               : "no-cache";
}

/// The file may well exist: neither the client nor a cache must take it for missing.
Future<std::unique_ptr<Message>> makeShortageResponse()
{
    StringMultimap headers;
    headers.emplace("Cache-Control", "no-store");
    return makeReadyFuture<std::unique_ptr<Message>>(std::make_unique<HttpResponse>(
        503, std::move(headers), StringMultimap(),
        makeBody(common::DataBuffer("The server is short of resources."))));
}

} // namespace

StaticContentServiceImpl::StaticContentServiceImpl(
    std::shared_ptr<configuration::Configuration> configuration,
    std::map<std::string, std::wstring, std::greater<std::string>>&& paths,
    std::map<std::string, bool, std::greater<std::string>>&& cacheFlags, bool directoryListing)
    : configuration_(std::move(configuration)),
      directoryListing_(std::make_shared<std::atomic<bool>>(directoryListing))
{
    registry_.set(ContentRegistry(paths, std::move(cacheFlags)));
    if (configuration_ != nullptr) {
        configuration_->set(kDirectoryListingKey, directoryListing, "default");
        followDirectoryListing();
    }
}

StaticContentServiceImpl::~StaticContentServiceImpl() = default;

Future<std::unique_ptr<Message>>
StaticContentServiceImpl::doGet(std::unique_ptr<HttpRequest>&& request, Address&& /*address*/,
                                std::shared_ptr<Context>&& /*context*/)
{
    return doGetHead(*request, true);
}

Future<std::unique_ptr<Message>>
StaticContentServiceImpl::doHead(std::unique_ptr<HttpRequest>&& request, Address&& /*address*/,
                                 std::shared_ptr<Context>&& /*context*/)
{
    return doGetHead(*request, false);
}

void StaticContentServiceImpl::addStaticContentPath(const std::string& route,
                                                    const std::wstring& path, bool enableCache)
{
    if (kLog.enabled(common::Level::Debug)) {
        kLog.write(common::Level::Debug, "Add static content path: " + route + " -> " +
                                             common::wideToUtf8(path) +
                                             ", cached = " + (enableCache ? "1" : "0"));
    }
    requireAlphanumeric(route);
    const auto key = route.ends_with('/') ? route.substr(0, route.size() - 1) : route;
    const std::lock_guard lock(mutex_);
    auto changed = *registry_.get();
    changed.set(key, path, enableCache);
    registry_.set(changed);
}

std::shared_ptr<StaticContentService> StaticContentServiceImpl::getPtr()
{
    return shared_from_this();
}

void StaticContentServiceImpl::followDirectoryListing()
{
    const auto attached = std::make_shared<std::atomic<bool>>(false);
    directoryListingSubscription_ = reactive_streams::CallbackSubscriber<Value>::attach(
        *configuration_->subscribe(kDirectoryListingKey),
        [flag = directoryListing_, attached](Value&& value) {
            if (!*attached && boost::get<bool>(&value) == nullptr) {
                // Still in the constructor, which would fail by the exception below.
                kLog.write(common::Level::Error, "The setting ", kDirectoryListingKey,
                           " is no boolean and is ignored.");
                return;
            }
            *flag = boost::get<bool>(value);
        });
    *attached = true;
}

Future<std::unique_ptr<Message>> StaticContentServiceImpl::doGetHead(const HttpRequest& request,
                                                                     bool includeBody)
{
    try {
        const auto requestPath = request.path.starts_with('/') ? request.path : '/' + request.path;
        const auto routes = registry_.get();
        const auto found = findFileForPath(*routes, openFiles_, requestPath, *directoryListing_);
        switch (found.status.type) {
        case filesystem::FileType::Regular:
            return returnFile(request, found, cacheControl(*routes, request.path), includeBody);
        case filesystem::FileType::Directory:
            return returnDirectoryList(requestPath, found.path, includeBody);
        default:
            break;
        }
    } catch (const filesystem::ResourceShortage& shortage) {
        if (shortages.admits(kLog, common::Level::Error)) {
            kLog.write(common::Level::Error, "Cannot serve a file: ", shortage.what());
        }
        return makeShortageResponse();
    } catch (const std::bad_alloc&) {
        return makeShortageResponse();
    } catch (...) {
        // Kept: whatever else fails is a missing file to the client.
    }
    return makeReadyHttpResponse(404, "File not found.");
}

} // namespace connector::http
