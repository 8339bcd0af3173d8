#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/messaging/Address.h"
#include "contract/messaging/Context.h"
#include "contract/messaging/Future.h"
#include "contract/messaging/Message.h"

namespace connector {

/// Base of every object that the bus can deliver to. The bus shares ownership while the provider is
/// registered and during each delivery.
class CONNECTOR_API ServiceProvider
{
public:
    ServiceProvider() = default;
    virtual ~ServiceProvider();

    ServiceProvider(const ServiceProvider&) = delete;
    ServiceProvider& operator=(const ServiceProvider&) = delete;

    /// Called once the bus delivers to this provider at @p address, with no lock held.
    virtual void onRegistered(const Address& address);

    /// Called once the bus has ceased to deliver to this provider at @p address, with no lock held.
    /// Deliveries that began before may still be running.
    virtual void onUnregistered(const Address& address);

    /// Takes a message. Runs on the sender's thread, on many threads at once.
    /// @param address what is left of the target address behind this provider's own segments.
    /// @return the future of the reply. An exception that leaves `deliver` becomes a failed future
    ///         at the sender.
    virtual Future<std::unique_ptr<Message>> deliver(std::unique_ptr<Message>&& message,
                                                     Address&& address,
                                                     std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector
