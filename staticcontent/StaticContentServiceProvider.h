#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/RestServiceProvider.h"
#include "contract/http/StaticContentService.h"

namespace connector::http {

/// Hands GET and HEAD requests to the static content service. Other methods are refused by the
/// base class.
class CONNECTOR_API StaticContentServiceProvider final : public RestServiceProvider
{
public:
    explicit StaticContentServiceProvider(std::shared_ptr<StaticContentService> service);

    Future<std::unique_ptr<Message>> doGet(std::unique_ptr<HttpRequest>&& request,
                                           Address&& address,
                                           std::shared_ptr<Context>&& context) override;
    Future<std::unique_ptr<Message>> doHead(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

protected:
    [[nodiscard]] std::string allowedMethods() const override;

private:
    const std::shared_ptr<StaticContentService> service_;
};

} // namespace connector::http
