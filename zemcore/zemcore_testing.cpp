#include "zemcore_testing.h"

#include <atomic>
#include <cstdlib>

namespace {
std::atomic<long> failCountdown{0};
std::atomic<long> outstanding{0};
std::atomic<long> allocations{0};
} // namespace

void* zemMalloc(size_t size) {
    if (size == 0)
        return nullptr;
    ++allocations;
    if (failCountdown.load() > 0 && --failCountdown == 0)
        return nullptr;
    void* p = std::malloc(size);
    if (p != nullptr)
        ++outstanding;
    return p;
}

void zemFree(void* ptr) {
    if (ptr == nullptr)
        return;
    --outstanding;
    std::free(ptr);
}

void zemcoreFailAllocation(long n) { failCountdown = n; }
long zemcoreOutstandingBlocks(void) { return outstanding.load(); }
long zemcoreAllocationCount(void) { return allocations.load(); }
