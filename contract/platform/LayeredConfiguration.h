#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "contract/platform/Configuration.h"
#include "contract/streams/CachedValuePublisher.h"

namespace connector::configuration {

/// A configuration in memory. The layers have an order; the effective value of a key is that of the
/// highest layer that has one. A layer that is first named by `set` is put above all others.
///
/// Subscribers are called on a thread that sets a value, with no lock held, each change in the
/// order in which it was made: while one thread calls them, others leave their changes to it, and
/// so does a subscriber that sets a value itself. What a subscriber throws is logged, and it stays
/// subscribed.
class CONNECTOR_API LayeredConfiguration final : public Configuration
{
public:
    /// @param layers from the lowest to the highest.
    explicit LayeredConfiguration(std::vector<std::string> layers = {"default", "host"});

    Future<bool> set(const std::string& key, Value value, const std::string& layer) override;

    [[nodiscard]] std::shared_ptr<reactive_streams::PublisherAPI<Value>>
    subscribe(const std::string& key) override;

    /// The effective value of @p key, if any layer has one.
    [[nodiscard]] std::optional<Value> get(const std::string& key) const;

private:
    using Publisher = reactive_streams::CachedValuePublisher<Value, std::function<void()>>;
    using Stream = Publisher::CachedSubscription;

    struct Setting
    {
        /// By rank of the layer, the highest first.
        std::map<std::size_t, Value, std::greater<>> values;
        /// Kept alive by their publishers and subscribers.
        std::vector<std::weak_ptr<Stream>> streams;

        [[nodiscard]] std::optional<Value> effective() const;
    };

    std::size_t doRankOf(std::unique_lock<std::mutex>& lock, const std::string& layer);
    void doAnnounce(std::unique_lock<std::mutex>& lock, const std::string& key, Setting& setting,
                    const Value& value);
    void doDeliver(std::unique_lock<std::mutex>& lock);

    struct Change
    {
        std::string key;
        Value value;
        std::shared_ptr<Stream> stream;
    };

    mutable std::mutex mutex_; ///< Guards all below.
    std::vector<std::string> layers_;
    std::unordered_map<std::string, Setting> settings_;
    std::deque<Change> changes_; ///< Not delivered yet.
    bool delivering_ = false;
};

} // namespace connector::configuration
