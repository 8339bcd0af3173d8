#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/http/StaticContentMessages.h"
#include "contract/http/StaticContentService.h"

namespace connector::http {

/// Adds directories to the static content service by message.
class CONNECTOR_API StaticContentManagerServiceProviderImpl final
    : public StaticContentManagerServiceProvider
{
public:
    explicit StaticContentManagerServiceProviderImpl(std::shared_ptr<StaticContentService> service);

    /// Adds the message's directory. Any thread; does not block.
    /// @return a resolved future of the acknowledgement.
    /// @throws what StaticContentService::addStaticContentPath throws; nothing is added then.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<AddStaticContentPath>&& message,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const std::shared_ptr<StaticContentService> service_;
};

} // namespace connector::http
