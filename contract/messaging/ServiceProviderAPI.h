#pragma once

#include <stdexcept>
#include <utility>

#include "contract/messaging/MessageAPI.h"
#include "contract/messaging/ServiceProvider.h"

namespace connector {

/// Base of a provider interface @p P. It turns a delivered message into the call of the `handle`
/// overload of its concrete type (double dispatch):
///
///     class GreeterServiceProvider : public ServiceProviderAPI<GreeterServiceProvider> {
///     public:
///         virtual Future<std::unique_ptr<Message>> handle(std::unique_ptr<Greeting>&&, Address&&,
///                                                         std::shared_ptr<Context>&&) = 0;
///     };
///
template <typename P>
class CONNECTOR_API ServiceProviderAPI : public ServiceProvider
{
public:
    /// @throws std::invalid_argument "The service provider does not accept messages of this type."
    ///         for a null message and for one that is addressed to another provider interface.
    Future<std::unique_ptr<Message>> deliver(std::unique_ptr<Message>&& message, Address&& address,
                                             std::shared_ptr<Context>&& context) override
    {
        if (message == nullptr || message->addressee() != typeid(P)) {
            throw std::invalid_argument(
                "The service provider does not accept messages of this type.");
        }
        auto& accepted = static_cast<ServiceMessage<P>&>(*message);
        return accepted.dispatch(static_cast<P&>(*this), std::move(message), std::move(address),
                                 std::move(context));
    }
};

} // namespace connector
