#include "contract/messaging/BusTable.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace connector {

namespace {

/// In front of every link: a control character, so that no textual address contains a link by
/// accident.
constexpr char kLinkMark = '\x1e';

std::string makeLink(std::uint64_t number)
{
    return kLinkMark + std::to_string(number);
}

/// @return 0, which no link has, for a segment that is none.
std::uint64_t linkNumber(std::string_view segment)
{
    std::uint64_t number = 0;
    if (segment.starts_with(kLinkMark)) {
        std::from_chars(segment.data() + 1, segment.data() + segment.size(), number);
    }
    return number;
}

} // namespace

BusTable::Target BusTable::find(const Address& address) const
{
    const auto& segments = address.segments();
    if (segments.empty()) {
        return {};
    }
    if (const auto number = linkNumber(segments.front()); number != 0) {
        const auto link = links_.find(number);
        if (link != links_.end() && link->second.stage().link == segments.front()) {
            return targetAt(*link->second.chain, link->second.index, 1);
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
        if (node->chain != nullptr) {
            best = node;
            bestDepth = depth + 1;
        }
    }
    return best == nullptr ? Target() : targetAt(*best->chain, 0, bestDepth);
}

void BusTable::add(const Address& address, std::shared_ptr<ServiceProvider> provider)
{
    auto* node = &root_;
    for (const auto& segment : address.segments()) {
        node = &node->children[segment];
    }
    auto chain = node->chain == nullptr ? Chain() : *node->chain;
    chain.push_back(Stage{std::move(provider), makeLink(++lastLink_)});
    replaceChain(*node, std::move(chain));
}

bool BusTable::remove(const Address& address, const std::shared_ptr<ServiceProvider>& provider)
{
    auto* const node = nodeAt(address);
    if (node == nullptr || node->chain == nullptr) {
        return false;
    }
    auto chain = *node->chain;
    const auto stage = std::ranges::find(chain, provider, &Stage::provider);
    if (stage == chain.end()) {
        return false;
    }
    links_.erase(linkNumber(stage->link));
    chain.erase(stage);
    replaceChain(*node, std::move(chain));
    return true;
}

BusTable::Target BusTable::targetAt(const Chain& chain, std::size_t index, std::size_t usedSegments)
{
    return {&chain[index], usedSegments, index + 1 < chain.size() ? &chain[index + 1] : nullptr};
}

BusTable::Node* BusTable::nodeAt(const Address& address)
{
    auto* node = &root_;
    for (const auto& segment : address.segments()) {
        const auto child = node->children.find(segment);
        if (child == node->children.end()) {
            return nullptr;
        }
        node = &child->second;
    }
    return node;
}

void BusTable::replaceChain(Node& node, Chain chain)
{
    node.chain = chain.empty() ? nullptr : std::make_shared<const Chain>(std::move(chain));
    for (std::size_t i = 0; node.chain != nullptr && i < node.chain->size(); ++i) {
        links_[linkNumber((*node.chain)[i].link)] = Place{node.chain, i};
    }
}

} // namespace connector
