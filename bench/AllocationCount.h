// Heap allocations of the calling thread, counted by the benchmark program's
// own global operator new. Per thread, so that threads running side by side
// neither share nor fight over a counter.
#pragma once

#include <cstdint>

namespace bench
{

std::uint64_t allocationCount();

}  // namespace bench
