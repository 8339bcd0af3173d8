#pragma once

#include <chrono>
#include <stdexcept>

#include "server/net/Session.h"

namespace connector::http::websocket {

/// Tells when a client that sends nothing gets a ping (RFC 6455 section 5.5.2), and when it is
/// given up. Not synchronised.
class PingTimer
{
public:
    /// @param limit as `WebSocketLimits::pingTimeout`.
    explicit PingTimer(std::chrono::milliseconds limit) : limit_(limit), heardAt_(Clock::now()) {}

    /// Something came of the client.
    void heard()
    {
        if (isOn()) {
            heardAt_ = Clock::now();
            pinged_ = false;
        }
    }

    /// Whether a ping is to be sent now. It is told once for each silence.
    /// @throws std::runtime_error "The client answered no ping."
    bool takePing()
    {
        if (!isOn() || Clock::now() < deadline()) {
            return false;
        }
        if (pinged_) {
            throw std::runtime_error("The client answered no ping.");
        }
        pinged_ = true;
        return true;
    }

    /// When `takePing` has to be called.
    [[nodiscard]] net::Clock::time_point deadline() const
    {
        if (!isOn()) {
            return Clock::time_point::max();
        }
        return heardAt_ + (pinged_ ? limit_ : limit_ / 2);
    }

private:
    using Clock = net::Clock;

    [[nodiscard]] bool isOn() const noexcept { return limit_.count() > 0; }

    std::chrono::milliseconds limit_;
    Clock::time_point heardAt_;
    bool pinged_ = false; ///< Since then.
};

} // namespace connector::http::websocket
