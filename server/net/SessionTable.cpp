#include "server/net/SessionTable.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace connector::http::net {

namespace {

constexpr std::uint32_t kNoSlot = std::numeric_limits<std::uint32_t>::max();

// The state of a slot: the generation in the upper half, below it the events and these bits.
constexpr std::uint64_t kEventBits = 0xff;
constexpr std::uint64_t kRunning = 0x100;
constexpr std::uint64_t kVacant = 0x200;
constexpr unsigned kGenerationShift = 32;

constexpr std::uint64_t idleState(std::uint32_t generation)
{
    return std::uint64_t{generation} << kGenerationShift;
}

constexpr std::uint32_t generationOf(std::uint64_t state)
{
    return static_cast<std::uint32_t>(state >> kGenerationShift);
}

constexpr Clock::rep kNever = Clock::duration::max().count();

} // namespace

struct SessionTable::Slot
{
    std::atomic<std::uint64_t> state = kVacant;
    std::atomic<Clock::rep> deadline = kNever;
    std::atomic<Clock::rep> idleSince = kNever;
    std::unique_ptr<Session> session; ///< Belongs to the thread that runs it.
    std::uint32_t nextFree = kNoSlot;
    std::uint32_t nextQueued = kNoSlot;
};

struct SessionTable::Chunk
{
    std::array<Slot, kChunkSize> slots;
};

SessionTable::SessionTable(std::size_t capacity)
    : capacity_(capacity),
      chunks_(std::make_unique<std::atomic<Chunk*>[]>(capacity / kChunkSize + 1)),
      queueFirst_(kNoSlot), queueLast_(kNoSlot), firstFree_(kNoSlot)
{}

SessionTable::~SessionTable()
{
    for (std::size_t i = 0; i <= capacity_ / kChunkSize; ++i) {
        const std::unique_ptr<Chunk> chunk(chunks_[i].load());
    }
}

SessionTable::Slot& SessionTable::slot(std::uint32_t index) const noexcept
{
    return chunks_[index / kChunkSize].load(std::memory_order_acquire)->slots[index % kChunkSize];
}

std::optional<Key> SessionTable::add(EventLoop& loop, std::unique_ptr<Session>& session)
{
    const std::lock_guard lock(mutex_);
    auto index = firstFree_;
    if (index != kNoSlot) {
        firstFree_ = slot(index).nextFree;
    } else if (used_ < capacity_) {
        index = used_;
        auto& chunk = chunks_[index / kChunkSize];
        if (chunk.load() == nullptr) {
            chunk = std::make_unique<Chunk>().release();
        }
        ++used_;
    } else {
        return std::nullopt;
    }
    auto& slot = this->slot(index);
    const Key key = {index, generationOf(slot.state.load())};
    session->loop_ = &loop;
    session->key_ = key;
    slot.deadline = kNever;
    slot.session = std::move(session);
    slot.state = idleState(key.generation); // publishes the session
    ++size_;
    return key;
}

bool SessionTable::raise(Key key, Events events) noexcept
{
    auto& state = slot(key.index).state;
    auto before = state.load(std::memory_order_relaxed);
    do {
        if (generationOf(before) != key.generation || (before & kVacant) != 0) {
            return false;
        }
    } while (!state.compare_exchange_weak(before, before | events | kRunning,
                                          std::memory_order_acq_rel, std::memory_order_relaxed));
    return (before & kRunning) == 0;
}

void SessionTable::enqueue(Key key) noexcept
{
    const std::lock_guard lock(queueMutex_);
    slot(key.index).nextQueued = kNoSlot;
    if (queueFirst_ == kNoSlot) {
        queueFirst_ = key.index;
    } else {
        slot(queueLast_).nextQueued = key.index;
    }
    queueLast_ = key.index;
    ++queued_;
}

std::optional<Key> SessionTable::dequeue() noexcept
{
    if (queued_ == 0) {
        return std::nullopt;
    }
    const std::lock_guard lock(queueMutex_);
    if (queueFirst_ == kNoSlot) {
        return std::nullopt;
    }
    const auto index = queueFirst_;
    auto& slot = this->slot(index);
    queueFirst_ = slot.nextQueued;
    --queued_;
    return Key{index, generationOf(slot.state.load(std::memory_order_relaxed))};
}

bool SessionTable::run(Key key, std::span<char> scratch) noexcept
{
    auto& slot = this->slot(key.index);
    auto state = slot.state.fetch_and(~kEventBits, std::memory_order_acq_rel);
    Turn turn = {static_cast<Events>(state & kEventBits), scratch};
    if (!slot.session->run(turn)) {
        end(slot, key);
        return false;
    }
    state = slot.state.load(std::memory_order_relaxed);
    while ((state & kEventBits) == 0) {
        if (slot.state.compare_exchange_weak(state, state & ~kRunning, std::memory_order_acq_rel,
                                             std::memory_order_relaxed)) {
            return false;
        }
    }
    return true;
}

void SessionTable::end(Slot& slot, Key key) noexcept
{
    slot.session.reset();
    slot.deadline.store(kNever, std::memory_order_relaxed);
    slot.idleSince.store(kNever, std::memory_order_relaxed);
    slot.state.store(idleState(key.generation + 1) | kVacant, std::memory_order_release);
    const std::lock_guard lock(mutex_);
    slot.nextFree = firstFree_;
    firstFree_ = key.index;
    --size_;
    if (waiters_ > 0) {
        changed_.notify_all();
    }
}

void SessionTable::setDeadline(Key key, Clock::time_point deadline) noexcept
{
    // Sequentially consistent, as the load in `expire` is: the caller reads next when the next scan
    // is due, and that scan must not miss the deadline.
    slot(key.index).deadline.store(deadline.time_since_epoch().count());
}

void SessionTable::setIdleSince(Key key, Clock::time_point since) noexcept
{
    slot(key.index).idleSince.store(since.time_since_epoch().count(), std::memory_order_relaxed);
}

std::optional<Key> SessionTable::takeLongestIdle() noexcept
{
    std::optional<Key> found;
    auto earliest = kNever;
    const auto used = used_.load(std::memory_order_acquire);
    for (std::uint32_t index = 0; index < used; ++index) {
        const auto& slot = this->slot(index);
        const auto since = slot.idleSince.load(std::memory_order_relaxed);
        if (since < earliest) {
            earliest = since;
            found = {index, generationOf(slot.state.load(std::memory_order_acquire))};
        }
    }
    if (found.has_value()) {
        slot(found->index).idleSince.store(kNever, std::memory_order_relaxed);
    }
    return found;
}

Clock::time_point SessionTable::expire(Clock::time_point now, const std::function<void(Key)>& isDue)
{
    const auto limit = now.time_since_epoch().count();
    auto next = kNever;
    const auto used = used_.load(std::memory_order_acquire);
    for (std::uint32_t index = 0; index < used; ++index) {
        auto& slot = this->slot(index);
        auto deadline = slot.deadline.load();
        if (deadline > limit) {
            next = std::min(next, deadline);
            continue;
        }
        const auto generation = generationOf(slot.state.load(std::memory_order_acquire));
        if (slot.deadline.compare_exchange_strong(deadline, kNever)) {
            isDue({index, generation});
        }
    }
    return Clock::time_point(Clock::duration(next));
}

void SessionTable::forEach(const std::function<void(Key)>& function)
{
    const auto used = used_.load(std::memory_order_acquire);
    for (std::uint32_t index = 0; index < used; ++index) {
        const auto state = slot(index).state.load(std::memory_order_acquire);
        function({index, generationOf(state)});
    }
}

bool SessionTable::waitForAtMost(std::size_t count, std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex_);
    ++waiters_;
    const auto reached = changed_.wait_for(lock, limit, [&] { return size_.load() <= count; });
    --waiters_;
    return reached;
}

} // namespace connector::http::net
