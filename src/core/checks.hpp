// The argument checks every export makes before it touches data, in this order: required
// pointers (-8), the cursor's bit offset (family status), then scalars and state tags.
// A failed check returns before anything is written.
#pragma once

#include <cstdint>

#include "zemac/core.h"

namespace zem {

template <typename... P> constexpr bool any_null(const P*... p) { return ((p == nullptr) || ...); }

// Whether the row pointers of an array of `count` rows (the D2L layout) are all given.
template <class T> bool rows_present(T* const* rows, int32_t count) {
    for (int32_t l = 0; l < count; ++l)
        if (rows[l] == nullptr)
            return false;
    return true;
}

constexpr bool valid_bit_pos(int32_t pos) { return pos >= 0 && pos <= 7; }

// Checks a bit-stream cursor: the two cursor pointers and the byte pointer for null, then the
// bit offset, which fails with the family's own status.
inline ZemStatus check_cursor(uint8_t* const* ppStream, const int32_t* pBitPos,
                              ZemStatus badOffset) {
    if (ppStream == nullptr || pBitPos == nullptr || *ppStream == nullptr)
        return zemStatusNullPointer;
    return valid_bit_pos(*pBitPos) ? zemStatusOk : badOffset;
}

} // namespace zem
