#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "contract/common/Export.h"
#include "contract/common/Snapshot.h"
#include "contract/messaging/Address.h"
#include "contract/messaging/BusTable.h"
#include "contract/messaging/Connector.h"
#include "contract/messaging/ServiceProvider.h"

namespace connector {

/// The bus of one process. The longest registered address that is a prefix of the target wins; its
/// segments are dropped and the rest goes to the provider's `deliver`, on the sender's thread and
/// with no lock held.
///
/// Several providers at one address form a chain in the order of registration: the first receives
/// the message, and what it forwards to the address it was given reaches the next one. The link to
/// the next stage is a generated segment in front of that address, so a stage may replace the
/// context freely.
///
/// Owned by `std::shared_ptr`. Contexts refer to it weakly: they may outlive it.
class CONNECTOR_API LocalConnector final : public Connector,
                                           public std::enable_shared_from_this<LocalConnector>
{
public:
    LocalConnector();

    std::shared_ptr<Context> createContext() override;

    /// Registers @p provider at @p address, behind those that are registered there already.
    /// @throws std::invalid_argument "A service provider needs an address." for an empty address,
    ///         "There is no service provider to register." for a null provider.
    void registerProvider(const Address& address, std::shared_ptr<ServiceProvider> provider);

    /// Removes the first registration of @p provider at @p address. Deliveries that have begun go
    /// on; a message on its way to the removed stage of a chain fails.
    /// @throws std::invalid_argument "No service provider registered at the address: " + address
    ///         when this provider is not registered there.
    void unregisterProvider(const Address& address,
                            const std::shared_ptr<ServiceProvider>& provider);

    /// Delivers @p message; what `Context::send` does.
    /// @return the reply, or a failed future: the provider's own exception, or std::runtime_error
    ///         "No service provider registered at the address: " + address.
    Future<std::unique_ptr<Message>> deliver(std::unique_ptr<Message>&& message, Address&& address,
                                             std::shared_ptr<Context>&& context);

private:
    friend class LocalContext;
    class Delivery;

    /// A table and which one of the connector's it is.
    struct Published
    {
        BusTable table;
        std::uint64_t version = 0;
    };

    void publish();

    const std::uint64_t id_; ///< No other connector of the process has or had it.

    std::once_flag selfSet_;
    common::Snapshot<std::weak_ptr<LocalConnector>> self_; ///< For the contexts.

    std::mutex mutex_; ///< Guards table_ and serialises its changes.
    BusTable table_;
    common::Snapshot<Published> published_;
    std::atomic<std::uint64_t> version_ = 0; ///< Of what is published, for everybody.
};

} // namespace connector
