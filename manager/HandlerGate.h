#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace connector::http::manager {

/// Lets one caller at a time through. Unlike at a mutex, a caller that waits can be called off:
/// whoever is inside may be waiting for that very caller's thread.
class HandlerGate
{
public:
    /// The way through, held while it lives.
    class Turn
    {
    public:
        /// Waits until nobody is inside.
        /// @param callOff ends the wait once it is stopped.
        /// @throws std::runtime_error "The server of this request is being stopped." when it is
        ///         called off.
        Turn(HandlerGate& gate, const std::stop_token& callOff);
        ~Turn();

        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        HandlerGate& gate_;
    };

private:
    std::mutex mutex_; ///< Guards taken_.
    std::condition_variable_any freed_;
    bool taken_ = false;
};

} // namespace connector::http::manager
