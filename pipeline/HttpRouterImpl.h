#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contract/common/Export.h"
#include "contract/http/HttpRouter.h"
#include "pipeline/ReaderLocks.h"

namespace connector::http {

/// The routing table. Lookups run in parallel and block only while the table changes.
class CONNECTOR_API HttpRouterImpl final : public HttpRouter
{
public:
    /// @param routes prefix and address; taken over as they stand: their order is the order of
    ///        lookup, whatever their lengths.
    explicit HttpRouterImpl(std::vector<std::pair<std::string, Address>>&& routes);

    /// Inserts the route in front of the first one with a shorter prefix (in bytes).
    void addRoute(const std::string& path, const Address& address) override;
    void removeRoute(const std::string& path) override;

    /// The address of the first route whose prefix @p path lies under (pathStartsWith), else an
    /// empty one. Writes its trace record, when that level is on, with the shared lock held.
    Address findAddress(const std::string& path) override;
    std::vector<std::pair<std::string, Address>> listRoutes() override;
    std::shared_ptr<HttpRouter> getPtr() override;

private:
    pipeline::ReaderLocks locks_; ///< Guard routes_.
    std::vector<std::pair<std::string, Address>> routes_;
};

} // namespace connector::http
