#pragma once

#include <vector>

#include <boost/thread/lock_types.hpp>
#include <boost/thread/shared_mutex.hpp>

#include "contract/common/ProcessorSlots.h"

namespace connector::http::pipeline {

/// A reader/writer lock for what every request reads and hardly anything writes. A reader takes the
/// lock of its processor, since even to share a single one makes all threads fight for it; a writer
/// takes them all.
class ReaderLocks
{
public:
    using Shared = boost::shared_lock<boost::shared_mutex>;
    using Exclusive = std::vector<boost::unique_lock<boost::shared_mutex>>;

    [[nodiscard]] Shared lockShared() { return Shared(mutexes_.mine()); }

    [[nodiscard]] Exclusive lockExclusively()
    {
        Exclusive held;
        for (auto& [mutex] : mutexes_) { // in one order, so that writers meet at the first
            held.emplace_back(mutex);
        }
        return held;
    }

private:
    common::ProcessorSlots<boost::shared_mutex> mutexes_;
};

} // namespace connector::http::pipeline
