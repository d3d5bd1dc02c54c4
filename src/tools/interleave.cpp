// Channel interleaving and deinterleaving, with the two-channel case on its own path.
#include <cstdint>

#include "core/checks.hpp"
#include "core/simd.hpp"
#include "core/state.hpp"
#include "zemac.h"

namespace zem {
namespace {

template <class T>
ZemStatus check(const void* flat, const void* channels, int32_t numCh, int32_t len) {
    if (any_null(flat, channels))
        return zemStatusNullPointer;
    if (numCh < 1)
        return zemStatusBadChannelCount;
    if (len < 1)
        return zemStatusBadSize;
    for (int32_t c = 0; c < numCh; ++c)
        if (static_cast<T* const*>(channels)[c] == nullptr)
            return zemStatusNullPointer;
    return zemStatusOk;
}

template <class T> bool any_misaligned(const void* flat, T* const* channels, int32_t numCh) {
    bool off = !is_aligned16(flat);
    for (int32_t c = 0; c < numCh; ++c)
        off |= !is_aligned16(channels[c]);
    return off;
}

// Two channels, a vector of each at a time; returns how many values per channel were done.
int32_t zip2(const int16_t* l, const int16_t* r, int32_t len, int16_t* out) {
    using namespace simd;
    int32_t i = 0;
    for (; i + 8 <= len; i += 8) {
        const I32x4 a = load_words(l + i), b = load_words(r + i);
        store_words(out + 2 * i, zip_lo16(a, b));
        store_words(out + 2 * i + 8, zip_hi16(a, b));
    }
    return i;
}
int32_t zip2(const float* l, const float* r, int32_t len, float* out) {
    using namespace simd;
    int32_t i = 0;
    for (; i + 4 <= len; i += 4) {
        const F32x4 a = load(l + i), b = load(r + i);
        store(out + 2 * i, interleave_lo(a, b));
        store(out + 2 * i + 4, interleave_hi(a, b));
    }
    return i;
}
int32_t unzip2(const int16_t* in, int32_t len, int16_t* l, int16_t* r) {
    using namespace simd;
    int32_t i = 0;
    for (; i + 8 <= len; i += 8) {
        const I32x4 a = load_words(in + 2 * i), b = load_words(in + 2 * i + 8);
        store_words(l + i, even_words(a, b));
        store_words(r + i, odd_words(a, b));
    }
    return i;
}
int32_t unzip2(const float* in, int32_t len, float* l, float* r) {
    using namespace simd;
    int32_t i = 0;
    for (; i + 4 <= len; i += 4) {
        const F32x4 a = load(in + 2 * i), b = load(in + 2 * i + 4);
        store(l + i, shuffle<0, 2, 0, 2>(a, b));
        store(r + i, shuffle<1, 3, 1, 3>(a, b));
    }
    return i;
}

template <class T> ZemStatus deinterleave(const T* pSrc, int32_t numCh, int32_t len, T** ppDst) {
    if (const ZemStatus st = check<T>(pSrc, ppDst, numCh, len); st != zemStatusOk)
        return st;
    if (numCh == 2) {
        T* l = ppDst[0];
        T* r = ppDst[1];
        for (int32_t i = unzip2(pSrc, len, l, r); i < len; ++i) {
            l[i] = pSrc[2 * i];
            r[i] = pSrc[2 * i + 1];
        }
    } else {
        for (int32_t c = 0; c < numCh; ++c)
            for (int32_t i = 0; i < len; ++i)
                ppDst[c][i] = pSrc[int64_t(i) * numCh + c];
    }
    return any_misaligned(pSrc, ppDst, numCh) ? zemWarnMisaligned : zemStatusOk;
}

template <class T> ZemStatus interleave(const T** ppSrc, int32_t numCh, int32_t len, T* pDst) {
    if (const ZemStatus st = check<const T>(pDst, ppSrc, numCh, len); st != zemStatusOk)
        return st;
    if (numCh == 2) {
        const T* l = ppSrc[0];
        const T* r = ppSrc[1];
        for (int32_t i = zip2(l, r, len, pDst); i < len; ++i) {
            pDst[2 * i] = l[i];
            pDst[2 * i + 1] = r[i];
        }
    } else {
        for (int32_t c = 0; c < numCh; ++c)
            for (int32_t i = 0; i < len; ++i)
                pDst[int64_t(i) * numCh + c] = ppSrc[c][i];
    }
    return any_misaligned(pDst, ppSrc, numCh) ? zemWarnMisaligned : zemStatusOk;
}

} // namespace
} // namespace zem

using namespace zem;

ZEM_API ZemStatus zemsDeinterleave_16s(const int16_t* pSrc, int32_t numCh, int32_t len,
                                       int16_t** ppDst) {
    return deinterleave(pSrc, numCh, len, ppDst);
}
ZEM_API ZemStatus zemsDeinterleave_32f(const float* pSrc, int32_t numCh, int32_t len,
                                       float** ppDst) {
    return deinterleave(pSrc, numCh, len, ppDst);
}
ZEM_API ZemStatus zemsInterleave_16s(const int16_t** ppSrc, int32_t numCh, int32_t len,
                                     int16_t* pDst) {
    return interleave(ppSrc, numCh, len, pDst);
}
ZEM_API ZemStatus zemsInterleave_32f(const float** ppSrc, int32_t numCh, int32_t len, float* pDst) {
    return interleave(ppSrc, numCh, len, pDst);
}
