#include "core/state.hpp"

#include <cstring>

#include "zemcore.h"

namespace zem {

void* alloc_bytes(std::ptrdiff_t n) { return n < 1 ? nullptr : zemMalloc(std::size_t(n)); }

void* alloc_words(std::ptrdiff_t n) { return n < 1 ? nullptr : zemMalloc(std::size_t(n) * 4); }

void release_block(void* p) { zemFree(p); }

ZemStatus zero_bytes(void* p, std::ptrdiff_t n) {
    if (p == nullptr)
        return zemStatusNullPointer;
    if (n < 1)
        return zemStatusBadSize;
    std::memset(p, 0, std::size_t(n));
    return zemStatusOk;
}

ZemStatus zero_words(void* p, std::ptrdiff_t n) {
    if (p == nullptr)
        return zemStatusNullPointer;
    if (n < 1)
        return zemStatusBadSize;
    std::memset(p, 0, std::size_t(n) * 4);
    return zemStatusOk;
}

} // namespace zem
