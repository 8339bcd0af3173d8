#include "manager/HandlerGate.h"

#include <stdexcept>

namespace connector::http::manager {

HandlerGate::Turn::Turn(HandlerGate& gate, const std::stop_token& callOff) : gate_(gate)
{
    std::unique_lock lock(gate_.mutex_);
    if (!gate_.freed_.wait(lock, callOff, [this] { return !gate_.taken_; })) {
        throw std::runtime_error("The server of this request is being stopped.");
    }
    gate_.taken_ = true;
}

HandlerGate::Turn::~Turn()
{
    const std::lock_guard lock(gate_.mutex_);
    gate_.taken_ = false;
    gate_.freed_.notify_one(); // under the lock: a waiter that is called off hands nothing on
}

} // namespace connector::http::manager
