// Layer III hybrid synthesis: alias reduction, 36- and 12-point inverse MDCTs with their
// windows, overlap-add and frequency inversion; and the 32-band polyphase synthesis. The
// kernels are in imdct.cpp, matrixing.cpp and polyphase_window.cpp.
#include "zemac.h"

#include "core/checks.hpp"
#include "core/fixed.hpp"
#include "mp3/imdct.hpp"
#include "mp3/matrixing.hpp"
#include "mp3/polyphase_window.hpp"

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsMDCTInvWindow_MP3_32s(const int32_t* pSrc, int32_t* pDst, int32_t blockType) {
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (blockType < 0 || blockType > 3)
        return zemStatusBadArgument;
    imdct_scalar(pSrc, pDst, blockType);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMDCTInv_MP3_32s(int32_t* pSrcXr, int32_t* pDstY, int32_t* pOverlap,
                                      int32_t nonZeroBound, int32_t* pPrevNumOfImdct,
                                      int32_t blockType, int32_t mixedBlock) {
    if (any_null(pSrcXr, pDstY, pOverlap, pPrevNumOfImdct))
        return zemStatusNullPointer;
    if (nonZeroBound < 0 || nonZeroBound > 576 || blockType < 0 || blockType > 3 ||
        mixedBlock < 0 || mixedBlock > 1)
        return zemStatusBadArgument;
    const int prev = *pPrevNumOfImdct;
    if (prev < 0 || prev > 32)
        return zemStatusBadArgument;
    int n;
    if (blockType == 2) {
        n = ceil_div18(nonZeroBound);
        if (mixedBlock && n < 2)
            n = 2;
    } else {
        n = nearest_div18(nonZeroBound) + 1; // the alias butterflies reach into the next sub-band
    }
    if (n > 32)
        n = 32;
    const HybridKernels& kernels = hybrid_kernels();
    if (blockType != 2) {
        for (int j = 1; j < n || j == 1; ++j)
            kernels.alias_reduce(pSrcXr, 18 * j);
    } else if (mixedBlock && n >= 2) {
        kernels.alias_reduce(pSrcXr, 18);
    }
    // Sub-bands below n are transformed in groups of the same window: the normal-window pair of
    // a mixed block first, then fours, then pairs. A partner at or above n takes zero lines,
    // whose transform is zero, so that the sub-bands of the previous granule flush their overlap.
    static constexpr int32_t kZeroLines[18] = {};
    const int active = n > prev ? n : prev;
    int sb = 0;
    auto pair = [&](int type) {
        int32_t z[72];
        if (sb < n) {
            kernels.imdct_pair(pSrcXr + 18 * sb, sb + 1 < n ? pSrcXr + 18 * sb + 18 : kZeroLines, z,
                               type);
        } else {
            for (int32_t& v : z)
                v = 0;
        }
        // Overlap-add; frequency inversion negates the odd time slots of the odd sub-band.
        // A partner at or above the active count stays silent and keeps its overlap.
        int32_t* ov = pOverlap + 18 * sb;
        if (sb + 1 < active) {
            kernels.overlap_pair(z, ov, pDstY + sb);
            return;
        }
        for (int t = 0; t < 18; ++t) {
            pDstY[32 * t + sb] = wrap_add(z[2 * t], ov[t]);
            pDstY[32 * t + sb + 1] = 0;
            ov[t] = z[36 + 2 * t];
        }
    };
    // The normal window for sub-bands 0 and 1 whenever the mixed flag is set, start and stop
    // blocks included.
    if (mixedBlock) {
        pair(0);
        sb = 2;
    }
    for (; sb + 4 <= active; sb += 4) {
        const int32_t* x = pSrcXr + 18 * sb;
        int32_t lines[72];
        if (sb + 4 > n) {
            for (int i = 0; i < 72; ++i)
                lines[i] = sb + i / 18 < n ? x[i] : 0;
            x = lines;
        }
        kernels.quad(x, pOverlap + 18 * sb, pDstY + sb, blockType);
    }
    for (; sb < active; sb += 2)
        pair(blockType);
    const int done = (active + 1) & ~1;
    for (int t = 0; t < 18; ++t)
        for (int sb = done; sb < 32; ++sb)
            pDstY[32 * t + sb] = 0;
    *pPrevNumOfImdct = n;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthPQMF_MP3_32s16s(const int32_t* pSrcY, int16_t* pDstAudioOut,
                                           int32_t* pVBuffer, int32_t* pVPosition, int32_t mode) {
    if (any_null(pSrcY, pDstAudioOut, pVBuffer, pVPosition))
        return zemStatusNullPointer;
    if ((mode != 1 && mode != 2) || *pVPosition < 0 || *pVPosition > 15)
        return zemStatusBadArgument;
    const int pos = (*pVPosition + 15) & 15;
    *pVPosition = pos;
    const PolyphaseKernels& kernels = polyphase_kernels();
    kernels.dct32(pSrcY, pVBuffer + 32 * pos);
    int32_t sum[32];
    kernels.window(pVBuffer, pos, sum);
    kernels.pcm(sum, pDstAudioOut, mode);
    return zemStatusOk;
}
