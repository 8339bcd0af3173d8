#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"

namespace connector::http {

/// The place of toolbox content in a pipeline. It serves nothing itself: every request goes on,
/// unchanged, to the rest of its address.
class CONNECTOR_API KorvelToolboxStaticContentServiceProvider final : public HttpServiceProvider
{
public:
    KorvelToolboxStaticContentServiceProvider();

    /// The future of the next provider, whatever it answers. Takes no lock; blocks as long as that
    /// provider does.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;
};

} // namespace connector::http
