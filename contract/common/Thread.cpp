#include "contract/common/Thread.h"

#include <csignal>
#include <pthread.h>
#include <string>

namespace connector::common {

namespace {

/// Blocks signals on this thread for as long as it lives; a thread that starts meanwhile inherits
/// the mask.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_SETMASK, &blocked, &previous_);
    }

    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

private:
    sigset_t previous_{};
};

} // namespace

std::thread startThread(const char* name, std::function<void()> body)
{
    const SignalsBlocked blocked;
    std::thread thread(std::move(body));
    pthread_setname_np(thread.native_handle(), std::string(name).substr(0, 15).c_str());
    return thread;
}

} // namespace connector::common
