// Joint stereo on the grouped spectrum: mid/side and intensity stereo.
#include "aac/spectrum_layout.hpp"
#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "zemac.h"

namespace zem::aac {

namespace {

// (l + r, l - r) in place, wrapping, four lines at a time (band widths are multiples of four).
void mid_side(int32_t* left, int32_t* right, int count) {
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const simd::I32x4 l = simd::load(left + i), r = simd::load(right + i);
        simd::store(left + i, l + r);
        simd::store(right + i, l - r);
    }
    for (; i < count; ++i) {
        const int32_t l = left[i], r = right[i];
        left[i] = wrap_add(l, r);
        right[i] = wrap_sub(l, r);
    }
}

constexpr int kMsRow = 60; // bytes per group row of M/S flags

using cmath::QuarterPowers;
using cmath::Rounding;

// Intensity gains 2^(-p/4) in Q30, rounded, for positions p = -3..7, and 2^(k/4), k = 0..3,
// for the positions below -3.
constexpr QuarterPowers<11> kIsGain = cmath::quarter_powers<11>(3, -1, 30, Rounding::Nearest);
constexpr QuarterPowers<4> kIsGainUp = cmath::quarter_powers<4>(0, 1, 30, Rounding::Nearest);
static_assert(kIsGain.starts_with({1805811301, 1518500250, 1276901417, 1073741824, 902905651,
                                   759250125, 638450708, 536870912}));
static_assert(kIsGainUp == QuarterPowers<4>{{1073741824, 1276901417, 1518500250, 1805811301}});

int32_t shr_sign(int32_t v, int shift) { return shift >= 32 ? (v < 0 ? -1 : 0) : v >> shift; }

// R = L 2^(-p/4) in the fixed-point steps of each position range.
int32_t intensity_scale(int32_t L, int p) {
    if (p >= -3 && p <= 7)
        return mul_hi32(kIsGain.v[p + 3], wrap_shl(L, 2));
    if (p >= 8)
        return shr_sign(mul_hi32(kIsGain.v[3 + (p & 3)], L), (p >> 2) - 2);
    const int q = -p;
    const int shift = (q >> 2) + 2;
    return mul_hi32(kIsGainUp.v[q & 3], shift >= 32 ? 0 : wrap_shl(L, shift));
}

} // namespace

} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsDecodeMsStereo_AAC_32s_I(int32_t* pSrcDstL, int32_t* pSrcDstR,
                                               int32_t msMaskPresent, const uint8_t* pMsUsedRows,
                                               uint8_t* pSfbCb, int32_t numWinGrp,
                                               const int32_t* pWinGrpLen, int32_t maxSfb,
                                               int32_t sfIndex, int32_t winLen) {
    if (any_null(pSrcDstL, pSrcDstR, pMsUsedRows, pSfbCb, pWinGrpLen))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_bands(winLen, numWinGrp, pWinGrpLen, maxSfb, sfIndex); st != 0)
        return st;
    if (msMaskPresent != 1 && msMaskPresent != 2)
        return zemStatusAacBadMsMaskPresent;
    const SwbTable& bands = swb_table(sfIndex, winLen);
    if (maxSfb > bands.count)
        return zemStatusAacBadMaxSfb;

    for_each_grouped_band(bands, numWinGrp, pWinGrpLen, winLen, maxSfb,
                          [&](int g, int b, int first, int count) {
                              uint8_t& cb = pSfbCb[g * maxSfb + b];
                              const bool used = pMsUsedRows[g * kMsRow + b] != 0;
                              if (cb == 14 || cb == 15) {
                                  // An M/S flag on an intensity band inverts the intensity
                                  // direction instead.
                                  if (msMaskPresent == 1 && used)
                                      cb = cb == 14 ? 15 : 14;
                                  return;
                              }
                              if ((msMaskPresent == 2 || used) && cb != 13)
                                  mid_side(pSrcDstL + first, pSrcDstR + first, count);
                          });
    return zemStatusOk;
}

ZEM_API ZemStatus zemsDecodeIsStereo_AAC_32s(const int32_t* pSrcL, int32_t* pDstR,
                                             const int16_t* pSf, const uint8_t* pSfbCb,
                                             int32_t numWinGrp, const int32_t* pWinGrpLen,
                                             int32_t maxSfb, int32_t sfIndex, int32_t winLen) {
    if (any_null(pSrcL, pDstR, pSf, pSfbCb, pWinGrpLen))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_bands(winLen, numWinGrp, pWinGrpLen, maxSfb, sfIndex); st != 0)
        return st;
    const SwbTable& bands = swb_table(sfIndex, winLen);
    if (maxSfb > bands.count)
        return zemStatusAacBadMaxSfb;

    for_each_grouped_band(bands, numWinGrp, pWinGrpLen, winLen, maxSfb,
                          [&](int g, int b, int first, int count) {
                              const int idx = g * maxSfb + b;
                              const int cb = pSfbCb[idx];
                              if (cb != 14 && cb != 15)
                                  return;
                              const int p = pSf[idx];
                              for (int i = first; i < first + count; ++i) {
                                  const int32_t r = intensity_scale(pSrcL[i], p);
                                  pDstR[i] = cb == 14 ? wrap_neg(r) : r;
                              }
                          });
    return zemStatusOk;
}
