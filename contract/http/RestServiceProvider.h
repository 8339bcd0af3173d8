#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"

namespace connector::http {

/// A provider that dispatches on the request's method. A subclass overrides the operations of the
/// methods that it serves, and names them in `allowedMethods`.
///
/// Any other method, and an operation that is not overridden, is answered with 405 and the text
/// "Method not allowed.", with an "Allow" header as RFC 9110 section 15.5.6 asks for.
class CONNECTOR_API RestServiceProvider : public HttpServiceProvider
{
public:
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

    virtual Future<std::unique_ptr<Message>> doGet(std::unique_ptr<HttpRequest>&& request,
                                                   Address&& address,
                                                   std::shared_ptr<Context>&& context);
    virtual Future<std::unique_ptr<Message>> doPost(std::unique_ptr<HttpRequest>&& request,
                                                    Address&& address,
                                                    std::shared_ptr<Context>&& context);
    virtual Future<std::unique_ptr<Message>> doPut(std::unique_ptr<HttpRequest>&& request,
                                                   Address&& address,
                                                   std::shared_ptr<Context>&& context);
    virtual Future<std::unique_ptr<Message>> doDelete(std::unique_ptr<HttpRequest>&& request,
                                                      Address&& address,
                                                      std::shared_ptr<Context>&& context);
    virtual Future<std::unique_ptr<Message>> doHead(std::unique_ptr<HttpRequest>&& request,
                                                    Address&& address,
                                                    std::shared_ptr<Context>&& context);

protected:
    /// The value of the "Allow" header: the methods that the subclass serves, such as "GET, HEAD".
    [[nodiscard]] virtual std::string allowedMethods() const;

private:
    [[nodiscard]] Future<std::unique_ptr<Message>> refuseMethod() const;
};

} // namespace connector::http
