#pragma once

#include <memory>

#include "contract/http/StaticContentMessages.h"
#include "contract/messaging/Address.h"
#include "pipeline/RouteTable.h"

namespace connector::http::pipeline {

/// Stands in front of the static content manager and keeps the routing table in step: without a
/// route a directory that was added would never be asked for.
class RoutedContentServiceProvider final : public StaticContentManagerServiceProvider
{
public:
    explicit RoutedContentServiceProvider(std::shared_ptr<RouteTable> routes);

    /// Hands the message on, and adds the route to the static content once that has succeeded. The
    /// route is kept without a "/" at its end, as the service keeps it; adding it again changes the
    /// directory alone.
    /// @throws std::invalid_argument "The route is taken by another provider: " + route, which the
    ///         new directory could never be reached behind. Nothing is changed then, nor when the
    ///         manager refuses.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<AddStaticContentPath>&& message,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const std::shared_ptr<RouteTable> routes_; ///< A continuation may outlive this object.
};

} // namespace connector::http::pipeline
