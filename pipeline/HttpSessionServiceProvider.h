#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"
#include "contract/http/HttpSessionManager.h"

namespace connector::http {

/// Binds every request to the HTTP session that its cookie names, or to a new one.
///
/// The cookie is "JSESSIONID" on plain connections and "JSESSIONID2" on secure ones: browsers keep
/// cookies by host and not by port, so the two servers of one host would overwrite each other's.
class CONNECTOR_API HttpSessionServiceProvider final : public HttpServiceProvider
{
public:
    explicit HttpSessionServiceProvider(std::shared_ptr<HttpSessionManager> sessionManager);

    /// Sends the request on through the session's context. Once the reply is there the session is
    /// updated, and an HttpResponse of a new session receives the cookie: the identifier with
    /// "; Path=/" and "; Secure" on secure connections, "; HttpOnly" on plain ones. A failed reply
    /// passes as it is, without cookie and update. Takes the session manager's lock for a moment,
    /// does not block.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const std::shared_ptr<HttpSessionManager> sessionManager_;
};

} // namespace connector::http
