#include "tests/support/FailingMemory.h"

#include <cstdlib>
#include <new>

namespace {

constexpr int kUnlimited = -1;
constinit thread_local int allowedAllocations = kUnlimited;

} // namespace

void* operator new(std::size_t size)
{
    auto* const memory = allowedAllocations == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allowedAllocations -= allowedAllocations > 0 ? 1 : 0;
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

connector::test::FailingMemory::FailingMemory(int allowed)
{
    allowedAllocations = allowed;
}

connector::test::FailingMemory::~FailingMemory()
{
    allowedAllocations = kUnlimited;
}
