#include "tests/support/FailingMemory.h"

#include <cstdlib>
#include <new>

using connector::test::FailingMemory;

constinit thread_local int FailingMemory::allowed_ = kUnlimited;

void* FailingMemory::allocate(unsigned long size)
{
    if (allowed_ == 0) {
        throw std::bad_alloc();
    }
    allowed_ -= allowed_ > 0 ? 1 : 0;
    return std::malloc(size);
}

void* operator new(std::size_t size)
{
    return FailingMemory::allocate(size);
}

// Replaced as well: otherwise AddressSanitizer would have its own, whose memory is not to be freed.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return std::malloc(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
