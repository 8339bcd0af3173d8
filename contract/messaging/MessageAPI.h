#pragma once

#include <memory>
#include <typeinfo>
#include <utility>

#include "contract/messaging/Address.h"
#include "contract/messaging/Context.h"
#include "contract/messaging/Future.h"
#include "contract/messaging/Message.h"

namespace connector {

/// Base of the messages that are addressed to providers of the interface @p P.
template <typename P>
class CONNECTOR_API ServiceMessage : public Message
{
public:
    /// Calls back the overload of `P::handle` that matches this message's concrete type.
    /// @param self the owner of this very message; passed on to the provider.
    virtual Future<std::unique_ptr<Message>> dispatch(P& provider, std::unique_ptr<Message>&& self,
                                                      Address&& address,
                                                      std::shared_ptr<Context>&& context) = 0;

    [[nodiscard]] const std::type_info& addressee() const noexcept final { return typeid(P); }
};

/// Base of the concrete message @p M, which providers of the interface @p P handle:
/// `class HttpRequest : public MessageAPI<HttpRequest, HttpServiceProvider>`.
template <typename M, typename P>
class CONNECTOR_API MessageAPI : public ServiceMessage<P>
{
public:
    Future<std::unique_ptr<Message>> dispatch(P& provider, std::unique_ptr<Message>&& self,
                                              Address&& address,
                                              std::shared_ptr<Context>&& context) override
    {
        std::unique_ptr<M> message(static_cast<M*>(self.release()));
        return provider.handle(std::move(message), std::move(address), std::move(context));
    }
};

} // namespace connector
