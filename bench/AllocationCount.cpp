// The program's replacement of the global operator new and delete. The
// array and nothrow forms of the C++ runtime forward to these; the aligned
// forms are not used by the library.
#include "AllocationCount.h"

#include <cstdlib>
#include <new>

namespace
{
// Zero-initialised and trivially destructible: usable from the first
// allocation of a thread to its last.
thread_local std::uint64_t t_allocations = 0;
}  // namespace

std::uint64_t bench::allocationCount()
{
    return t_allocations;
}

void* operator new(std::size_t size)
{
    ++t_allocations;
    void* p = std::malloc(size != 0 ? size : 1);
    if (p == nullptr)
    {
        throw std::bad_alloc();
    }
    return p;
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
