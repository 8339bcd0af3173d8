#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "contract/common/ProcessorSlots.h"

namespace connector::common {

/// A value that all threads read all the time and that hardly ever changes. A reader holds on to
/// the value as it found it, whatever changes meanwhile. Lock and reference are the processor's
/// own, see ProcessorSlots: a change copies the value for each.
template <typename T>
class Snapshot
{
public:
    /// @return null before the first `set`.
    [[nodiscard]] std::shared_ptr<const T> get() const
    {
        auto& slot = slots_.mine();
        const std::lock_guard lock(slot.mutex);
        return slot.value;
    }

    /// Not by two threads at once. A reader that begins after the return finds @p value; until
    /// then one finds either, also the former after the new one.
    void set(const T& value)
    {
        for (auto& [slot] : slots_) {
            auto copy = std::make_shared<const T>(value);
            const std::lock_guard lock(slot.mutex);
            std::swap(slot.value, copy); // the last reference goes without the lock
        }
    }

private:
    struct Slot
    {
        std::mutex mutex; ///< Guards the value.
        std::shared_ptr<const T> value;
    };

    mutable ProcessorSlots<Slot> slots_;
};

} // namespace connector::common
