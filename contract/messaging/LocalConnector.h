#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "contract/common/Export.h"
#include "contract/messaging/Address.h"
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
    LocalConnector() = default;

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
    struct Stage
    {
        std::shared_ptr<ServiceProvider> provider;
        std::string link; ///< The generated segment that leads here from the stage before.
    };
    struct Node
    {
        std::map<std::string, Node, std::less<>> children;
        std::vector<Stage> chain;
    };
    /// A stage of a chain.
    struct Place
    {
        const Node* node;
        std::size_t index;
    };
    /// What a lookup found: whom to call, how many segments that used up, and how to go on.
    struct Target
    {
        std::shared_ptr<ServiceProvider> provider;
        std::size_t usedSegments = 0;
        std::string nextLink; ///< Empty behind the last stage.
    };

    Target find(const Address& address) const;
    const Node* nodeAt(const Address& address) const;
    static Target stageOf(const Node& node, std::size_t index, std::size_t usedSegments);

    mutable std::shared_mutex mutex_; ///< Guards all below.
    Node root_;                       ///< Nodes stay where they are once they are made.
    std::unordered_map<std::string, Place> links_; ///< Link segment to the stage it leads to.
    std::uint64_t lastLink_ = 0;
};

} // namespace connector
