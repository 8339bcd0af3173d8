#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "contract/common/Export.h"

namespace connector::common {

/// The timers of one clock, run in order of time and, at the same time, in the order in which they
/// were scheduled. Held by `std::shared_ptr`; any thread may call it. No lock is held while a
/// timer's function runs or is destroyed.
class CONNECTOR_API TickManager : public std::enable_shared_from_this<TickManager>
{
    struct Timer;

public:
    /// Tells the current tick.
    using Clock = long long (*)() noexcept;

    /// The handle of one timer. Any thread may call it.
    class CONNECTOR_API Canceller
    {
    public:
        Canceller(std::shared_ptr<TickManager> manager, std::shared_ptr<Timer> timer);

        Canceller(const Canceller&) = delete;
        Canceller& operator=(const Canceller&) = delete;

        /// Cancels the timer.
        ~Canceller();

        /// Ends the timer: when this returns, its function neither runs nor will run, and has been
        /// destroyed. It therefore waits for a call that is running on another thread; a caller
        /// must hold no lock which that call takes. Called from within the function, it returns at
        /// once and the running call is the last. Further calls do nothing.
        void cancel();

    private:
        const std::shared_ptr<TickManager> manager_;
        const std::shared_ptr<Timer> timer_;
    };

    explicit TickManager(Clock clock) : clock_(clock) {}

    TickManager(const TickManager&) = delete;
    TickManager& operator=(const TickManager&) = delete;

    ~TickManager();

    /// Schedules a timer; see `periodic` in contract/common/Tick.h.
    std::shared_ptr<Canceller> schedule(std::function<void(long long)> function, long long period);

    /// The tick at which the next timer is due, if there is one.
    [[nodiscard]] std::optional<long long> nextDue() const;

    /// Runs the next timer on this thread if it is due.
    /// @return whether one ran.
    bool runNext();

    /// Runs the timers as they fall due, for ever. The clock must count milliseconds.
    [[noreturn]] void run();

private:
    using Key = std::pair<long long, unsigned long long>; // when it is due, order of scheduling
    using Timers = std::map<Key, std::shared_ptr<Timer>>;

    void doInsert(std::unique_lock<std::mutex>& lock, Timers::node_type timer);
    bool doRunNext(std::unique_lock<std::mutex>& lock);
    void cancel(Timer& timer);

    const Clock clock_;

    mutable std::mutex mutex_; ///< Guards all below and the state of every timer.
    std::condition_variable scheduleChanged_;
    std::condition_variable callEnded_;
    Timers timers_; ///< All that wait; a running one is left out.
    unsigned long long scheduled_ = 0;
};

} // namespace connector::common
