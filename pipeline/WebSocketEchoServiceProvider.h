#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/RestServiceProvider.h"

namespace connector::http {

/// Accepts a WebSocket upgrade and sends every frame back as it came: a diagnostic endpoint, and
/// the shortest user of the WebSocket reply. Other methods than GET are refused.
class CONNECTOR_API WebSocketEchoServiceProvider final : public RestServiceProvider
{
public:
    /// A resolved future of a WebSocket whose frames go through a processor of its own. The request
    /// is not read: whether it asks for an upgrade at all is the server's to judge.
    Future<std::unique_ptr<Message>> doGet(std::unique_ptr<HttpRequest>&& request,
                                           Address&& address,
                                           std::shared_ptr<Context>&& context) override;

protected:
    [[nodiscard]] std::string allowedMethods() const override;
};

} // namespace connector::http
