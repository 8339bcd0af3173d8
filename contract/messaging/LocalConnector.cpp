#include "contract/messaging/LocalConnector.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace connector {

namespace {

/// In front of every link: a control character, so that no textual address contains a link by
/// accident.
constexpr char kLinkMark = '\x1e';

std::string noProviderText(const Address& address)
{
    return "No service provider registered at the address: " + address.toString();
}

/// The context of an exchange on a LocalConnector.
class LocalContext final : public Context, public std::enable_shared_from_this<LocalContext>
{
public:
    explicit LocalContext(std::weak_ptr<LocalConnector> connector)
        : connector_(std::move(connector))
    {}

    Future<std::unique_ptr<Message>> send(std::unique_ptr<Message>&& message,
                                          Address&& address) override
    {
        const auto connector = connector_.lock();
        if (connector == nullptr) {
            return makeFailedFuture<std::unique_ptr<Message>>(
                std::runtime_error("The connector no longer exists."));
        }
        return connector->deliver(std::move(message), std::move(address), shared_from_this());
    }

private:
    // Weak, since sessions keep contexts and the connector keeps the session provider.
    const std::weak_ptr<LocalConnector> connector_;
};

} // namespace

std::shared_ptr<Context> LocalConnector::createContext()
{
    return std::make_shared<LocalContext>(weak_from_this());
}

void LocalConnector::registerProvider(const Address& address,
                                      std::shared_ptr<ServiceProvider> provider)
{
    if (address.empty()) {
        throw std::invalid_argument("A service provider needs an address.");
    }
    if (provider == nullptr) {
        throw std::invalid_argument("There is no service provider to register.");
    }
    {
        const std::unique_lock lock(mutex_);
        auto* node = &root_;
        for (const auto& segment : address.segments()) {
            node = &node->children[segment];
        }
        auto link = kLinkMark + std::to_string(++lastLink_);
        links_.emplace(link, Place{node, node->chain.size()});
        node->chain.push_back(Stage{provider, std::move(link)});
    }
    provider->onRegistered(address);
}

void LocalConnector::unregisterProvider(const Address& address,
                                        const std::shared_ptr<ServiceProvider>& provider)
{
    {
        const std::unique_lock lock(mutex_);
        auto* node = const_cast<Node*>(nodeAt(address)); // NOLINT: *this is not const here
        const auto isWanted = [&provider](const Stage& stage) {
            return stage.provider == provider;
        };
        if (node == nullptr || std::ranges::none_of(node->chain, isWanted)) {
            throw std::invalid_argument(noProviderText(address));
        }
        const auto stage = std::ranges::find_if(node->chain, isWanted);
        links_.erase(stage->link);
        for (auto moved = node->chain.erase(stage); moved != node->chain.end(); ++moved) {
            --links_.at(moved->link).index;
        }
    }
    provider->onUnregistered(address);
}

Future<std::unique_ptr<Message>> LocalConnector::deliver(std::unique_ptr<Message>&& message,
                                                         Address&& address,
                                                         std::shared_ptr<Context>&& context)
{
    try {
        auto target = find(address);
        if (target.provider == nullptr) {
            throw std::runtime_error(noProviderText(address));
        }
        if (target.nextLink.empty()) {
            address.dropFront(target.usedSegments);
        } else {
            address.replaceFront(target.usedSegments, std::move(target.nextLink));
        }
        return target.provider->deliver(std::move(message), std::move(address), std::move(context));
    } catch (...) {
        return makeFailedFuture<std::unique_ptr<Message>>(std::current_exception());
    }
}

LocalConnector::Target LocalConnector::find(const Address& address) const
{
    const std::shared_lock lock(mutex_);
    const auto& segments = address.segments();
    if (segments.empty()) {
        return {};
    }
    if (segments.front().starts_with(kLinkMark)) {
        if (const auto link = links_.find(segments.front()); link != links_.end()) {
            return stageOf(*link->second.node, link->second.index, 1);
        }
    }
    const Node* best = nullptr;
    std::size_t bestDepth = 0;
    const auto* node = &root_;
    for (std::size_t depth = 0; depth < segments.size(); ++depth) {
        const auto child = node->children.find(segments[depth]);
        if (child == node->children.end()) {
            break;
        }
        node = &child->second;
        if (!node->chain.empty()) {
            best = node;
            bestDepth = depth + 1;
        }
    }
    return best == nullptr ? Target() : stageOf(*best, 0, bestDepth);
}

const LocalConnector::Node* LocalConnector::nodeAt(const Address& address) const
{
    const auto* node = &root_;
    for (const auto& segment : address.segments()) {
        const auto child = node->children.find(segment);
        if (child == node->children.end()) {
            return nullptr;
        }
        node = &child->second;
    }
    return node;
}

LocalConnector::Target LocalConnector::stageOf(const Node& node, std::size_t index,
                                               std::size_t usedSegments)
{
    const auto isLast = index + 1 == node.chain.size();
    return Target{node.chain[index].provider, usedSegments,
                  isLast ? std::string() : node.chain[index + 1].link};
}

} // namespace connector
