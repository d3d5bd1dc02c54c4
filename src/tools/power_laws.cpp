// Numeric helpers of quantisers: scale-factor gains, mantissa and exponent to float, the 3/4
// and 4/3 powers, band-wise scaling and the model-two spreading function.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "aac/pow43.hpp"
#include "core/checks.hpp"
#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/state.hpp"
#include "zemac.h"

namespace zem {
namespace {

struct GainTable {
    float g[1024]; // 2^((i - 512) / 4)
};
constexpr GainTable make_gains() {
    GainTable t{};
    for (int i = 0; i < 1024; ++i) {
        const int k = i - 512, whole = k >= 0 ? k / 4 : -((-k + 3) / 4), quarter = k - 4 * whole;
        double v = cmath::pow2_quarter(quarter);
        for (int j = 0; j < (whole >= 0 ? whole : -whole); ++j)
            v = whole >= 0 ? v * 2.0 : v * 0.5;
        t.g[i] = float(v);
    }
    return t;
}
constexpr GainTable kGains = make_gains();
static_assert(kGains.g[512] == 1.0f && kGains.g[516] == 2.0f);

struct Pow43Table {
    float p[8207]; // j^(4/3), rounded to single precision
};
constexpr Pow43Table make_pow43() {
    Pow43Table t{};
    for (int j = 0; j < 8207; ++j)
        t.p[j] = float(j * cmath::cbrt(double(j)));
    return t;
}
constexpr Pow43Table kPow43 = make_pow43();
static_assert(kPow43.p[8191] == 165113.5f && kPow43.p[8] == 16.0f);

bool misaligned(const void* a, const void* b, const void* c = nullptr) {
    return !is_aligned16(a) || !is_aligned16(b) || (c != nullptr && !is_aligned16(c));
}

// |x| r r' with the processor's reciprocal-square-root estimates, four values at a time.
inline simd::F32x4 pow34_estimate(simd::F32x4 x) {
    using namespace simd;
    const F32x4 a = abs(x), r = rsqrt_estimate(a);
    return where_greater(a * r * rsqrt_estimate(r), a, splat(1.0e-37f));
}

float pow34_one(float x) {
    float out[4];
    simd::store(out, pow34_estimate(simd::splat(x)));
    return out[0];
}

} // namespace
} // namespace zem

using namespace zem;

ZEM_API ZemStatus zemsCalcSF_16s32f(const int16_t* pSrc, int32_t offset, float* pDst, int32_t len) {
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (len < 1)
        return zemStatusBadSize;
    const uint16_t c = uint16_t(sat16(int64_t(offset) + 512));
    for (int32_t i = 0; i < len; ++i)
        pDst[i] = kGains.g[uint16_t(uint16_t(pSrc[i]) - c) & 1023];
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMakeFloat_16s32f(const int16_t* pMant, const int16_t* pExp, float* pDst,
                                       int32_t len) {
    if (any_null(pMant, pExp, pDst))
        return zemStatusNullPointer;
    if (len < 1)
        return zemStatusBadSize;
    const bool vector = !misaligned(pMant, pExp, pDst);
    int32_t i = 0;
    for (; vector && i + 8 <= len; i += 8) {
        using namespace simd;
        const I32x4 m = load_words(pMant + i), e = load_words(pExp + i);
        const auto scaled = [](I32x4 mant, I32x4 exp) {
            return to_float(mant) * as_float(shl((splat(112) - exp) & splat(0xFF), 23));
        };
        store(pDst + i, scaled(widen_lo16(m), widen_lo16(e)));
        store(pDst + i + 4, scaled(widen_hi16(m), widen_hi16(e)));
    }
    for (; i < len; ++i) {
        const uint32_t bits = (uint32_t(112 - pExp[i]) & 0xFF) << 23;
        float scale;
        std::memcpy(&scale, &bits, 4);
        pDst[i] = float(pMant[i]) * scale;
    }
    return misaligned(pMant, pExp, pDst) ? zemWarnMisaligned : zemStatusOk;
}

ZEM_API ZemStatus zemsPow34_32f(const float* pSrc, float* pDst, int32_t len) {
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (len < 1)
        return zemStatusBadSize;
    const bool vector = !misaligned(pSrc, pDst);
    int32_t i = 0;
    for (; vector && i + 4 <= len; i += 4)
        simd::store(pDst + i, pow34_estimate(simd::load(pSrc + i)));
    for (; i < len; ++i)
        pDst[i] = pow34_one(pSrc[i]);
    return misaligned(pSrc, pDst) ? zemWarnMisaligned : zemStatusOk;
}

ZEM_API ZemStatus zemsPow34_32f16s(const float* pSrc, int16_t* pDst, int32_t len) {
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (len < 1)
        return zemStatusBadSize;
    const bool vector = !misaligned(pSrc, pDst);
    int32_t i = 0;
    for (; vector && i + 8 <= len; i += 8) {
        using namespace simd;
        const auto rounded = [](F32x4 x) { // 31623 above 1e6 and for NaN
            return blend(mask_less_equal(abs(x), splat(1.0e6f)), round_to_int(pow34_estimate(x)),
                         simd::splat(31623));
        };
        store_sat16(pDst + i, rounded(load(pSrc + i)), rounded(load(pSrc + i + 4)));
    }
    for (; i < len; ++i) {
        const float a = std::fabs(pSrc[i]);
        // NaN compares false: it takes the large-input value too.
        pDst[i] = a <= 1.0e6f ? int16_t(std::nearbyint(pow34_one(a))) : int16_t(31623);
    }
    return misaligned(pSrc, pDst) ? zemWarnMisaligned : zemStatusOk;
}

ZEM_API ZemStatus zemsPow34_16s_Sfs(const int16_t* pSrc, int32_t inScale, int16_t* pDst,
                                    int32_t scaleFactor, int32_t len) {
    if (len < 1)
        return zemStatusBadSize;
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    // The exponent of 2 in (|x| 2^inScale)^(3/4) 2^-scaleFactor; huge scales saturate or flush.
    const double exponent = 0.75 * std::fmax(std::fmin(double(inScale), 4096.0), -4096.0) -
                            std::fmax(std::fmin(double(scaleFactor), 4096.0), -4096.0);
    for (int32_t i = 0; i < len; ++i) {
        if (pSrc[i] == 0) {
            pDst[i] = 0;
            continue;
        }
        const double v = std::pow(std::fabs(double(pSrc[i])), 0.75) * std::exp2(exponent);
        pDst[i] = v >= 32767.0 ? int16_t(32767) : int16_t(std::nearbyint(v));
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsPow43_16s32f(const int16_t* pSrc, float* pDst, int32_t len) {
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (len < 0)
        return zemStatusBadSize;
    for (int32_t i = 0; i < len; ++i) {
        const int32_t a = pSrc[i] < 0 ? -int32_t(pSrc[i]) : pSrc[i];
        const float p = kPow43.p[a < 8206 ? a : 8206];
        pDst[i] = pSrc[i] < 0 ? -p : p;
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsPow43Scale_16s32s_Sf(const int16_t* pSrc, int32_t* pDst,
                                           const int16_t* pScaleFactors,
                                           const int32_t* pBandOffsets, int32_t sfOffset,
                                           int32_t numBands, int32_t groupLen,
                                           int32_t scaleFactor) {
    if (any_null(pSrc, pDst, pScaleFactors, pBandOffsets))
        return zemStatusNullPointer;
    if (numBands < 0 || groupLen < 0)
        return zemStatusBadSize;
    for (int32_t b = 0; b < numBands; ++b) {
        // g = sf - sfOffset - 4 scaleFactor; q = ceil(g / 4), k = 4 q - g; the inverse
        // quantiser's exponent is q - 3 (its values carry 3 fractional bits).
        const int64_t g64 = int64_t(pScaleFactors[b]) - sfOffset - 4 * int64_t(scaleFactor);
        const int64_t g = g64 < -4096 ? -4096 : g64 > 4096 ? 4096 : g64;
        const int q = int((g + 3) >> 2), k = int(4 * q - g), e = q - 3;
        const int shift28 = q > 28 ? 0 : 28 - q > 31 ? 31 : 28 - q;
        const int shift25 = q > 25 ? 0 : 25 - q > 31 ? 31 : 25 - q;
        const int64_t from = int64_t(groupLen) * pBandOffsets[b];
        const int64_t to = int64_t(groupLen) * pBandOffsets[b + 1];
        for (int64_t i = from; i < to; ++i) {
            const int32_t x = pSrc[i];
            int32_t a = x < 0 ? -x : x;
            int32_t m;
            if (a == 0)
                m = 0;
            else if (a < 4)
                m = aac::kPow.q28[k][a] >> shift28;
            else if (a < 16)
                m = aac::kPow.q25[k][a] >> shift25;
            else
                m = aac::dequantise_large(a < 16383 ? a : 16383, e, k);
            pDst[i] = x < 0 ? -m : m;
        }
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsScale_32f_I(float* pSrcDst, const float* pFactors,
                                  const int32_t* pBandOffsets, int32_t numBands) {
    if (any_null(pFactors, pSrcDst, pBandOffsets))
        return zemStatusNullPointer;
    if (numBands < 1)
        return zemStatusBadSize;
    for (int32_t b = 0; b < numBands; ++b)
        for (int32_t k = pBandOffsets[b]; k < pBandOffsets[b + 1]; ++k)
            pSrcDst[k] *= pFactors[b];
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSpread_16s_Sfs(int16_t zA, int16_t zB, int32_t scaleFactor, int16_t* pDst) {
    if (pDst == nullptr)
        return zemStatusNullPointer;
    const double unit = std::exp2(std::fmax(std::fmin(double(scaleFactor), 64.0), -64.0));
    const double dz = (double(zB) - double(zA)) * unit;
    const double d = dz >= 0.0 ? 3.0 * dz : 1.5 * dz;
    if (d > 12.0 || d < -6.0) {
        *pDst = 0;
        return zemStatusOk;
    }
    const double t = d + 0.474, u = d - 0.5;
    const double level =
        15.811389 + 7.5 * t - 17.5 * std::sqrt(1.0 + t * t) + 8.0 * std::fmin(u * u - 2.0 * u, 0.0);
    const double v = std::pow(10.0, level / 10.0) * 32768.0;
    *pDst = level >= 0.0 || v >= 32767.0 ? int16_t(32767) : int16_t(std::nearbyint(v));
    return zemStatusOk;
}
