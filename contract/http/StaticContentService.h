#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpRequest.h"
#include "contract/messaging/Context.h"

namespace connector::http {

/// Serves files from registered directories. Owned by `std::shared_ptr`. Every operation may be
/// called from any thread.
class CONNECTOR_API StaticContentService : public std::enable_shared_from_this<StaticContentService>
{
public:
    StaticContentService() = default;
    virtual ~StaticContentService();

    StaticContentService(const StaticContentService&) = delete;
    StaticContentService& operator=(const StaticContentService&) = delete;

    /// Answers a GET request; the reply is always ready.
    virtual Future<std::unique_ptr<Message>> doGet(std::unique_ptr<HttpRequest>&& request,
                                                   Address&& address,
                                                   std::shared_ptr<Context>&& context) = 0;

    /// Answers as `doGet` does, without a body.
    virtual Future<std::unique_ptr<Message>> doHead(std::unique_ptr<HttpRequest>&& request,
                                                    Address&& address,
                                                    std::shared_ptr<Context>&& context) = 0;

    /// Serves the paths under @p route from the directory @p path.
    /// @param enableCache whether clients may keep the files for thirty days.
    /// @throws std::invalid_argument "URL path must be alpha-numeric" for a route with other
    ///         characters than letters, digits and "/".
    virtual void addStaticContentPath(const std::string& route, const std::wstring& path,
                                      bool enableCache) = 0;

    virtual std::shared_ptr<StaticContentService> getPtr() = 0;
};

} // namespace connector::http
