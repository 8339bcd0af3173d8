#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/messaging/MessageAPI.h"
#include "contract/messaging/ServiceProviderAPI.h"

namespace connector::http {

class StaticContentManagerServiceProvider;

/// Asks for a directory to be served. Answered with a plain Message.
class CONNECTOR_API AddStaticContentPath final
    : public MessageAPI<AddStaticContentPath, StaticContentManagerServiceProvider>
{
public:
    AddStaticContentPath(const std::string& route, const std::wstring& path, bool enableCache);
    ~AddStaticContentPath() override;

    std::string route; ///< URL path prefix: letters, digits and "/".
    std::wstring path; ///< The directory to serve.
    bool enableCache;  ///< Clients may keep the files for thirty days.
};

/// The provider interface of the static content registry.
class CONNECTOR_API StaticContentManagerServiceProvider
    : public ServiceProviderAPI<StaticContentManagerServiceProvider>
{
public:
    virtual Future<std::unique_ptr<Message>> handle(std::unique_ptr<AddStaticContentPath>&& message,
                                                    Address&& address,
                                                    std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector::http
