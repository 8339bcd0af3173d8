#include "contract/platform/LayeredConfiguration.h"

#include <algorithm>

#include "contract/common/Log.h"

namespace connector::configuration {

namespace {

constexpr common::Log kLog("connector::configuration");

} // namespace

std::optional<Value> LayeredConfiguration::Setting::effective() const
{
    return values.empty() ? std::nullopt : std::optional(values.begin()->second);
}

LayeredConfiguration::LayeredConfiguration(std::vector<std::string> layers)
    : layers_(std::move(layers))
{}

Future<bool> LayeredConfiguration::set(const std::string& key, Value value,
                                       const std::string& layer)
{
    std::unique_lock lock(mutex_);
    auto& setting = settings_[key];
    const auto before = setting.effective();
    setting.values.insert_or_assign(doRankOf(lock, layer), std::move(value));
    const auto after = setting.effective();
    const bool changed = before != after;
    if (changed) {
        doAnnounce(lock, key, setting, *after);
        doDeliver(lock);
    }
    return makeReadyFuture(changed);
}

std::shared_ptr<reactive_streams::PublisherAPI<Value>>
LayeredConfiguration::subscribe(const std::string& key)
{
    auto publisher = std::make_shared<Publisher>();
    const std::lock_guard lock(mutex_);
    auto& setting = settings_[key];
    std::erase_if(setting.streams, [](const auto& stream) { return stream.expired(); });
    setting.streams.push_back(publisher->stream());
    if (auto value = setting.effective()) {
        publisher->publish(*std::move(value)); // kept: there is no subscriber to call yet
    }
    return publisher;
}

std::optional<Value> LayeredConfiguration::get(const std::string& key) const
{
    const std::lock_guard lock(mutex_);
    const auto setting = settings_.find(key);
    return setting == settings_.end() ? std::nullopt : setting->second.effective();
}

std::size_t LayeredConfiguration::doRankOf(std::unique_lock<std::mutex>& /*lock*/,
                                           const std::string& layer)
{
    const auto place = std::find(layers_.begin(), layers_.end(), layer);
    const auto rank = static_cast<std::size_t>(place - layers_.begin());
    if (place == layers_.end()) {
        layers_.push_back(layer);
    }
    return rank;
}

void LayeredConfiguration::doAnnounce(std::unique_lock<std::mutex>& /*lock*/,
                                      const std::string& key, Setting& setting, const Value& value)
{
    std::erase_if(setting.streams, [&](const auto& weak) {
        auto stream = weak.lock();
        if (stream == nullptr) {
            return true;
        }
        changes_.push_back({key, value, std::move(stream)});
        return false;
    });
}

/// Lets go of the lock around each call of a subscriber.
void LayeredConfiguration::doDeliver(std::unique_lock<std::mutex>& lock)
{
    if (delivering_) {
        return;
    }
    delivering_ = true;
    while (!changes_.empty()) {
        auto change = std::move(changes_.front());
        changes_.pop_front();
        lock.unlock();
        try {
            change.stream->publish(std::move(change.value));
        } catch (const std::exception& failure) { // a fault of one subscriber is not the setter's
            kLog.write(common::Level::Error,
                       "A subscriber of the setting " + change.key + " failed: " + failure.what());
        } catch (...) {
            kLog.write(common::Level::Error,
                       "A subscriber of the setting " + change.key + " failed.");
        }
        change.stream.reset(); // may be the last owner: not under the lock
        lock.lock();
    }
    delivering_ = false;
}

} // namespace connector::configuration
