// Channel interleaving and deinterleaving, with the two-channel case on its own path.
#include <cstdint>

#include "core/checks.hpp"
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

template <class T> ZemStatus deinterleave(const T* pSrc, int32_t numCh, int32_t len, T** ppDst) {
    if (const ZemStatus st = check<T>(pSrc, ppDst, numCh, len); st != zemStatusOk)
        return st;
    if (numCh == 2) {
        T* l = ppDst[0];
        T* r = ppDst[1];
        for (int32_t i = 0; i < len; ++i) {
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
        for (int32_t i = 0; i < len; ++i) {
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
