#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "server/ServerLimits.h"
#include "server/net/Session.h"

namespace connector::http {

/// How fast the bytes of one body or one answer come or go, and when that is too slow.
class TransferPace
{
public:
    /// Begins with the next transfer.
    void reset() noexcept { began_ = {}; }

    /// @param bytes that have come or gone so far.
    /// @return when the transfer is to be cut off, unless there are more by then.
    net::Clock::time_point deadline(const ServerLimits& limits, std::size_t bytes) noexcept
    {
        const auto now = net::Clock::now();
        if (began_ == net::Clock::time_point()) {
            began_ = last_ = now;
            bytes_ = bytes;
        } else if (bytes != bytes_) {
            last_ = now;
            bytes_ = bytes;
        }
        const auto latest =
            std::min(last_ + limits.silenceTimeout, began_ + limits.transferTimeout);
        if (limits.minRate == 0) {
            return latest;
        }
        const std::chrono::seconds earned(bytes / limits.minRate);
        return std::min(latest, began_ + limits.rateGrace + earned);
    }

private:
    net::Clock::time_point began_; ///< When it first had to wait.
    net::Clock::time_point last_;  ///< When bytes came or went last.
    std::size_t bytes_ = 0;
};

} // namespace connector::http
