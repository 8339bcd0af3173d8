#pragma once

namespace connector::test {

/// Lets `operator new` of this thread fail while it lives, after so many allocations.
class FailingMemory
{
public:
    explicit FailingMemory(int allowed = 0) { allowed_ = allowed; }
    ~FailingMemory() { allowed_ = kUnlimited; }

    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    static void* allocate(unsigned long size);

private:
    static constexpr int kUnlimited = -1;
    static constinit thread_local int allowed_;
};

} // namespace connector::test
