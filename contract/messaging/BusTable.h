#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "contract/messaging/Address.h"
#include "contract/messaging/ServiceProvider.h"

namespace connector {

/// Who is registered where on a bus. A value: a copy costs in proportion to what is registered.
class BusTable
{
public:
    /// One provider of the chain at an address.
    struct Stage
    {
        std::shared_ptr<ServiceProvider> provider;
        std::string link; ///< The generated segment that leads here from the stage before.
    };

    /// What a lookup found. It points into the table.
    struct Target
    {
        const Stage* stage = nullptr; ///< Null if there is none.
        std::size_t usedSegments = 0; ///< What led there.
        const Stage* next = nullptr;  ///< The next one of the chain; null behind the last.
    };

    /// The longest registered address that is a prefix of @p address, or the stage that its first
    /// segment links to.
    [[nodiscard]] Target find(const Address& address) const;

    /// Appends @p provider to the chain at @p address, under a new link.
    void add(const Address& address, std::shared_ptr<ServiceProvider> provider);

    /// Removes the first registration of @p provider at @p address.
    /// @return false if there is none.
    bool remove(const Address& address, const std::shared_ptr<ServiceProvider>& provider);

private:
    using Chain = std::vector<Stage>;

    struct Node
    {
        std::map<std::string, Node, std::less<>> children;
        std::shared_ptr<const Chain> chain; ///< Null or not empty. Shared with links_ and copies.
    };
    /// A stage of a chain.
    struct Place
    {
        std::shared_ptr<const Chain> chain;
        std::size_t index = 0;

        [[nodiscard]] const Stage& stage() const { return (*chain)[index]; }
    };

    static Target targetAt(const Chain& chain, std::size_t index, std::size_t usedSegments);
    Node* nodeAt(const Address& address);
    void replaceChain(Node& node, Chain chain);

    Node root_;
    std::unordered_map<std::uint64_t, Place> links_; ///< Number of a link to where it leads.
    std::uint64_t lastLink_ = 0;
};

} // namespace connector
