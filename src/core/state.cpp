#include "core/state.hpp"

#include <cstring>

#include "zemcore.h"

namespace zem {

void* zemAllocBytes(std::ptrdiff_t n) { return n < 1 ? nullptr : zemMalloc(std::size_t(n)); }

void* zemAllocWords(std::ptrdiff_t n) { return n < 1 ? nullptr : zemMalloc(std::size_t(n) * 4); }

void zemRelease(void* p) { zemFree(p); }

ZemStatus zemZeroBytes(void* p, std::ptrdiff_t n) {
    if (p == nullptr)
        return zemStatusNullPointer;
    if (n < 1)
        return zemStatusBadSize;
    std::memset(p, 0, std::size_t(n));
    return zemStatusOk;
}

ZemStatus zemZeroWords(void* p, std::ptrdiff_t n) {
    if (p == nullptr)
        return zemStatusNullPointer;
    if (n < 1)
        return zemStatusBadSize;
    std::memset(p, 0, std::size_t(n) * 4);
    return zemStatusOk;
}

} // namespace zem
