#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"

namespace connector::http {

/// Answers every request with one status and one text, without reading it.
class CONNECTOR_API HttpConstantServiceProvider final : public HttpServiceProvider
{
public:
    HttpConstantServiceProvider(unsigned short status, const std::string& text);

    /// A resolved future of the answer. Takes no lock, does not block.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const unsigned short status_;
    const std::string text_;
};

} // namespace connector::http
