#pragma once

#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// The outstanding demand of one subscriber, as one unit: additions saturate at unbounded, and
/// unbounded demand is never used up. Not synchronised.
class Demand
{
public:
    void add(std::uint64_t n) noexcept
    {
        outstanding_ = n > kUnboundedDemand - outstanding_ ? kUnboundedDemand : outstanding_ + n;
    }

    /// Uses one up.
    /// @return false without demand.
    bool take() noexcept
    {
        if (outstanding_ == 0) {
            return false;
        }
        if (outstanding_ != kUnboundedDemand) {
            --outstanding_;
        }
        return true;
    }

    [[nodiscard]] bool any() const noexcept { return outstanding_ > 0; }

    [[nodiscard]] std::uint64_t count() const noexcept { return outstanding_; }

private:
    std::uint64_t outstanding_ = 0;
};

} // namespace connector::reactive_streams
