#pragma once

#include <functional>
#include <thread>

#include "contract/common/Export.h"

namespace connector::common {

/// Starts a thread on which signals are blocked: none that is meant for the process is handled
/// there, and a write to a closed connection fails instead of raising SIGPIPE. Signals that the
/// thread's own faults raise (SIGSEGV and the like) stay open.
///
/// @param name shown by debuggers and `top`; at most 15 bytes of it.
/// @param body must not throw.
/// @throws std::system_error if there is no thread to be had.
[[nodiscard]] CONNECTOR_API std::thread startThread(const char* name, std::function<void()> body);

/// Tells the processor that the thread tries again and again for what another thread holds.
inline void pauseInSpin() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

} // namespace connector::common
