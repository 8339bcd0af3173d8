#pragma once

namespace connector::test {

/// Lets `operator new` of this thread fail while it lives.
class FailingMemory
{
public:
    /// @param allowed so many allocations still succeed.
    explicit FailingMemory(int allowed = 0);
    ~FailingMemory();

    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;
};

} // namespace connector::test
