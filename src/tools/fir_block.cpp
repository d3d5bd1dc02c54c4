// The block FIR filter: a delay line of whole blocks, one row per past block, the oldest row
// overwritten by the current block as it is used.
#include <cstdint>

#include "core/checks.hpp"
#include "core/simd.hpp"
#include "core/state.hpp"
#include "zemac.h"

struct ZemFirBlockState_32f {
    float* rows;
    int16_t taps;
    int16_t blockLen;
    int16_t stride;
    int16_t row;
    int32_t tag;
};

namespace zem {
namespace {

constexpr int32_t kFirTag = int32_t(Tag::FirBlock);

bool aligned(const void* p) { return is_aligned16(p); }

// A record with the tag; memory not aligned for one cannot hold one.
bool live(const ZemFirBlockState_32f* s) {
    return reinterpret_cast<std::uintptr_t>(s) % alignof(ZemFirBlockState_32f) == 0 &&
           s->tag == kFirTag;
}

// y = a * x + y over n values, four at a time where all three are aligned.
void multiply_add(float* y, const float* x, float a, int n, bool simd) {
    int i = 0;
    if (simd) {
        const simd::F32x4 f = simd::splat(a);
        for (; i + 4 <= n; i += 4)
            simd::store_aligned(y + i, f * simd::load_aligned(x + i) + simd::load_aligned(y + i));
    }
    for (; i < n; ++i)
        y[i] = a * x[i] + y[i];
}

} // namespace
} // namespace zem

using namespace zem;

ZEM_API ZemStatus zemsFIRBlockInitAlloc_32f(ZemFirBlockState_32f** ppState, int32_t taps,
                                            int32_t blockLen) {
    if (ppState == nullptr)
        return zemStatusNullPointer;
    if (taps < 1 || blockLen < 1 || taps > 32767 || blockLen > 32767)
        return zemStatusBadFirLength;
    const int32_t stride = (blockLen + 3) & ~3;
    if (stride > 32767)
        return zemStatusBadFirLength;
    auto* s = static_cast<ZemFirBlockState_32f*>(alloc_bytes(sizeof(ZemFirBlockState_32f)));
    if (s == nullptr)
        return zemStatusNoMemory;
    s->rows = static_cast<float*>(alloc_bytes(std::ptrdiff_t(taps) * stride * 4));
    if (s->rows == nullptr) {
        release_block(s);
        return zemStatusNoMemory;
    }
    for (int64_t i = 0; i < int64_t(taps) * stride; ++i)
        s->rows[i] = 0.0f;
    s->taps = int16_t(taps);
    s->blockLen = int16_t(blockLen);
    s->stride = int16_t(stride);
    s->row = 0;
    s->tag = kFirTag;
    *ppState = s;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFIRBlockOne_32f(const float* pSrc, float* pDst, ZemFirBlockState_32f* pState,
                                      const float* pTaps) {
    if (any_null(pSrc, pDst, pState, pTaps))
        return zemStatusNullPointer;
    if (!live(pState))
        return zemStatusContextMismatch;
    const int taps = pState->taps, n = pState->blockLen;
    if (n < 1 || taps < 1 || pState->row < 0 || pState->row > taps - 1)
        return zemStatusBadFirLength;
    const bool simd = aligned(pSrc) && aligned(pDst) && aligned(pTaps);
    if (taps == 1) {
        for (int i = 0; i < n; ++i)
            pDst[i] = pSrc[i] * pTaps[0];
        return simd ? zemStatusOk : zemWarnMisaligned;
    }
    // The oldest block's row takes the current block; the others follow backwards from it.
    const int history = taps - 1;
    const int idx = (pState->row + 1) % history;
    pState->row = int16_t(idx);
    float* oldest = pState->rows + int64_t(idx) * pState->stride;
    for (int i = 0; i < n; ++i) {
        const float old = oldest[i], x = pSrc[i];
        oldest[i] = x;
        pDst[i] = old * pTaps[taps - 1] + x * pTaps[0];
    }
    const bool rowsSimd = simd && aligned(pState->rows);
    for (int k = 1; k <= taps - 2; ++k) {
        const int r = ((idx - k) % history + history) % history;
        multiply_add(pDst, pState->rows + int64_t(r) * pState->stride, pTaps[k], n, rowsSimd);
    }
    return simd ? zemStatusOk : zemWarnMisaligned;
}

ZEM_API ZemStatus zemsFIRBlockFree_32f(ZemFirBlockState_32f* pState) {
    if (pState == nullptr)
        return zemStatusNullPointer;
    if (!live(pState))
        return zemStatusContextMismatch;
    pState->tag = 0;
    release_block(pState->rows);
    release_block(pState);
    return zemStatusOk;
}
