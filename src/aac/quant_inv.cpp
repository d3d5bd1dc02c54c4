// Inverse quantisation: y = sign(x) |x|^(4/3) 2^((sf - 100)/4), with 3 fractional bits, from
// table lookups for small magnitudes and a polynomial for the rest.
#include "aac/pow43.hpp"
#include "aac/quant_kernels.hpp"
#include "aac/spectrum_layout.hpp"
#include "core/constexpr_math.hpp"
#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"

#include "zemac.h"
#include <algorithm>

namespace zem::aac {

namespace {

bool is_unquantised(int cb) { return cb == 0 || cb == 13 || cb == 14 || cb == 15; }

} // namespace

// Magnitudes 0..15 dequantised with exponent e and quarter step r: rows of positive values
// shifted right, by 31 at most (which leaves 0), never left.
void small_magnitudes_scalar(int32_t* small, int e, int r) {
    const int shift28 = std::clamp(25 - e, 0, 31), shift25 = std::clamp(22 - e, 0, 31);
    for (int ax = 0; ax < 4; ++ax)
        small[ax] = kPow.q28[r][ax] >> shift28;
    for (int ax = 4; ax < 16; ++ax)
        small[ax] = kPow.q25[r][ax] >> shift25;
}

namespace {

// Values from i on, one at a time; inlined into each kernel, in its own encoding.
inline int dequantise_small_from(int i, int32_t* x, int count, const int32_t* small) {
    for (; i < count; ++i) {
        const int32_t sign = x[i] >> 31;
        const uint32_t ax = uint32_t(wrap_sub(x[i] ^ sign, sign));
        if (ax >= 16u)
            return i;
        x[i] = wrap_sub(small[ax] ^ sign, sign);
    }
    return count;
}

} // namespace

int dequantise_small_scalar(int32_t* x, int count, const int32_t* small) {
    return dequantise_small_from(0, x, count, small);
}

int dequantise_small_sse2(int32_t* x, int count, const int32_t* small) {
    using namespace simd;
    const I32x4 large = splat(~15);
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const I32x4 v = load(x + i);
        if (all_zero(v))
            continue; // zeros stay zero
        const I32x4 sign = sar(v, 31);
        const I32x4 ax = negate_where(v, sign);
        if (!all_zero(ax & large))
            break;
        int32_t at[4];
        store(at, ax);
        store(x + i,
              negate_where(set(small[at[0]], small[at[1]], small[at[2]], small[at[3]]), sign));
    }
    return dequantise_small_from(i, x, count, small);
}

#if ZEM_HAS_AVX2_KERNELS
// The same table as two 256-bit stores, so that the kernel's 256-bit loads of it are forwarded
// from them: after sixteen 32-bit stores they would wait for the stores to reach the cache.
ZEM_AVX2 void small_magnitudes_avx2(int32_t* small, int e, int r) {
    using namespace simd;
    const int shift28 = std::clamp(25 - e, 0, 31), shift25 = std::clamp(22 - e, 0, 31);
    const __m256i first = _mm256_inserti128_si256(_mm256_castsi128_si256(load(kPow.q28[r]).v),
                                                  load(kPow.q25[r] + 4).v, 1);
    const __m256i shifts =
        _mm256_setr_epi32(shift28, shift28, shift28, shift28, shift25, shift25, shift25, shift25);
    store(small, I32x8{_mm256_srav_epi32(first, shifts)});
    store(small + 8, sar_by(load8(kPow.q25[r] + 8), shift25));
}

// Eight at a time, the sixteen table entries in two registers: each half picked by the low three
// bits of the magnitude, then the half by its bit 3. Zeros go through too (small[0] is 0): a
// test for them would be a branch on the data, mispredicted often.
ZEM_AVX2 int dequantise_small_avx2(int32_t* x, int count, const int32_t* small) {
    using namespace simd;
    const __m256i low = load8(small).v, high = load8(small + 8).v;
    const I32x8 large = splat8(~15), seven = splat8(7);
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const I32x8 v = load8(x + i);
        const I32x8 ax = abs(v);
        if (!_mm256_testz_si256(ax.v, large.v))
            break;
        const __m256i pick = _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(low, ax.v),
                                                _mm256_permutevar8x32_epi32(high, ax.v),
                                                _mm256_cmpgt_epi32(ax.v, seven.v));
        store(x + i, negate_where(I32x8{pick}, sar(v, 31)));
    }
    // The rest in this function's own (VEX) encoding, rather than through the SSE2 kernel.
    return dequantise_small_from(i, x, count, small);
}
#endif

const QuantKernels& quant_kernels() { return ZEM_CHOSEN_KERNELS(kQuantSse2, kQuantAvx2); }

} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsQuantInv_AAC_32s_I(int32_t* pSrcDst, const int16_t* pSf, int32_t numWinGrp,
                                         const int32_t* pWinGrpLen, int32_t maxSfb,
                                         const uint8_t* pSfbCb, int32_t sfIndex, int32_t winLen) {
    if (any_null(pSrcDst, pSf, pWinGrpLen, pSfbCb))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_bands(winLen, numWinGrp, pWinGrpLen, maxSfb, sfIndex);
        st != zemStatusOk)
        return st;
    const SwbTable& bands = swb_table(sfIndex, winLen);
    if (maxSfb > bands.count)
        return zemStatusAacBadMaxSfb;

    ZemStatus status = zemStatusOk;
    // Magnitudes below 16 (nearly all of them) come from a table of the band's scale factor,
    // built again only when the scale factor changes.
    int32_t small[16] = {};
    int tableSf = -1;
    for_each_grouped_band(
        bands, numWinGrp, pWinGrpLen, winLen, maxSfb, [&](int g, int b, int first, int count) {
            const int idx = g * maxSfb + b;
            if (status != zemStatusOk || is_unquantised(pSfbCb[idx]))
                return;
            const int s = pSf[idx] - 100;
            const int e = (s + 3) >> 2;
            const int r = 4 * e - s;
            if (pSf[idx] != tableSf) {
                tableSf = pSf[idx];
                quant_kernels().small_magnitudes(small, e, r);
            }
            int32_t* x = pSrcDst + first;
            int i = 0;
            while ((i += quant_kernels().dequantise_small(x + i, count - i, small)) < count) {
                const int32_t sign = x[i] >> 31;
                const int32_t ax = wrap_sub(x[i] ^ sign, sign);
                if (ax > 8191 || ax < 0) {
                    status = zemStatusAacBadSpectralValue;
                    return;
                }
                x[i] = wrap_sub(dequantise_large(ax, e, r) ^ sign, sign);
                ++i;
            }
        });
    return status;
}
