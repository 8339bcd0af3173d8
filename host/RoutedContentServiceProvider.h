#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "contract/http/HttpRouter.h"
#include "contract/http/StaticContentMessages.h"

namespace connector::host {

/// Stands in front of the static content manager and keeps the routing table in step with it: the
/// static content service knows which directory serves a route, the router which paths reach the
/// service.
class RoutedContentServiceProvider final : public http::StaticContentManagerServiceProvider
{
public:
    /// @param content the address of the static content provider, which routes are to lead to.
    /// @param notFound the address of the plain not-found page, whose route gives way to a
    ///        directory at "/": that may hold a page of its own.
    RoutedContentServiceProvider(std::shared_ptr<http::HttpRouter> router, Address content,
                                 Address notFound);

    /// Hands the message on, and adds the route once that has succeeded. The route is kept without
    /// a "/" at its end, as the service keeps it; adding it again changes the directory alone.
    /// @throws std::invalid_argument "The route is taken by another provider: " + route, which the
    ///         new directory could never be reached behind. Nothing is changed then, nor when the
    ///         manager refuses.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<http::AddStaticContentPath>&& message,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    /// What a continuation needs of this object, which it may outlive.
    class Table;

    const std::shared_ptr<Table> table_;
};

} // namespace connector::host
