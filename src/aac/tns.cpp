// Temporal noise shaping: the decoder's all-pole and the encoder's all-zero filter run across
// the spectral coefficients of each filter region, with coefficients converted from the
// transmitted reflection-coefficient indices to direct form in 64-bit fixed point.
#include <algorithm>

#include "aac/spectrum_layout.hpp"
#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "zemac.h"

namespace zem::aac {

namespace {

constexpr int kMaxOrder = 12;

// TNS_MAX_BANDS of the main and low-complexity profiles, (long, short) per sampling index.
constexpr int kTnsMaxBands[12][2] = {{31, 9},  {31, 9},  {34, 10}, {40, 14}, {42, 14}, {51, 14},
                                     {46, 14}, {46, 14}, {42, 14}, {42, 14}, {42, 14}, {39, 14}};

// Reflection coefficients round(2^31 sin(c / q)), q = (2^(res-1) -+ 1/2) / (pi/2) for c >= 0
// and c < 0, indexed by resolution 3 or 4 and c + 8.
struct ReflectionTable {
    int32_t k[2][16];
};

constexpr ReflectionTable make_reflection_table() {
    ReflectionTable t{};
    for (int res = 3; res <= 4; ++res) {
        const double half = double(1 << (res - 1));
        for (int c = -8; c < 8; ++c) {
            const double q = (c >= 0 ? half - 0.5 : half + 0.5) / (cmath::kPi / 2.0);
            t.k[res - 3][c + 8] = int32_t(cmath::round_to_int(2147483648.0 * cmath::sin(c / q)));
        }
    }
    return t;
}

constexpr ReflectionTable kTnsReflection = make_reflection_table();

// Step-up recursion from reflection coefficients k (Q31) to direct-form lpc[1..order], scaled
// so that every |lpc| <= 2^26; returns the fractional bit count e of the result.
int direct_form(const int32_t* k, int order, int32_t* lpc) {
    int64_t a[kMaxOrder + 1] = {}, prev[kMaxOrder + 1] = {};
    for (int m = 1; m <= order; ++m) {
        for (int j = 1; j < m; ++j)
            prev[j] = a[j];
        a[m] = k[m - 1];
        for (int j = 1; j < m; ++j)
            a[j] = prev[j] + ((int64_t(k[m - 1]) * ((prev[m - j] + (1 << 9)) >> 10)) >> 21);
    }
    int64_t peak = 0;
    for (int j = 1; j <= order; ++j)
        peak = std::max(peak, a[j] < 0 ? -a[j] : a[j]);
    int e = 31;
    while (peak > (int64_t(1) << 26)) {
        peak >>= 1;
        --e;
    }
    for (int j = 1; j <= order; ++j)
        lpc[j] = int32_t(uint32_t(uint64_t(a[j] >> (31 - e))));
    return e;
}

// Filters `size` coefficients starting at x, stepping by `step` (+1 or -1). The decoder's
// filter feeds back its outputs, the encoder's its inputs.
void run_filter(int32_t* x, int size, int step, const int32_t* lpc, int order, int e, bool decode) {
    int32_t history[kMaxOrder] = {}; // history[j - 1] = value n - j
    for (int n = 0; n < size; ++n, x += step) {
        int64_t acc = int64_t(*x) * (int64_t(1) << e);
        int64_t sum = 0;
        for (int j = 1; j <= order; ++j)
            sum += int64_t(lpc[j]) * history[j - 1];
        acc = decode ? acc - sum : acc + sum;
        const int32_t y = int32_t(uint32_t(uint64_t(acc >> e)));
        for (int j = order - 1; j > 0; --j)
            history[j] = history[j - 1];
        history[0] = decode ? y : *x;
        *x = y;
    }
}

struct TnsArgs {
    int32_t* spec;
    const int32_t *numFilt, *regionLen, *order, *coefRes;
    const int8_t* coef;
    const int32_t* direction;
    int maxSfb, sfIndex, winLen;
};

ZemStatus apply_tns(const TnsArgs& a, bool decode) {
    const bool isShort = a.winLen == 128;
    const SwbTable& bands = swb_table(a.sfIndex, a.winLen);
    const int windows = isShort ? 8 : 1, maxOrder = isShort ? 7 : 12, maxFilters = isShort ? 1 : 3;
    const int limit = std::min(a.maxSfb, kTnsMaxBands[a.sfIndex][isShort ? 1 : 0]);
    const int32_t *len = a.regionLen, *ord = a.order, *dir = a.direction;
    const int8_t* coef = a.coef;
    for (int w = 0; w < windows; ++w) {
        const int filters = a.numFilt[w];
        if (filters < 0 || filters > maxFilters)
            return zemStatusAacBadTnsFilterCount;
        int top = bands.count;
        for (int f = 0; f < filters; ++f) {
            const int length = *len++, order = *ord++;
            if (length < 0 || length > bands.count)
                return zemStatusAacBadTnsLength;
            if (order < 0 || order > maxOrder)
                return zemStatusAacBadTnsOrder;
            const int bottom = std::max(top - length, 0);
            if (order > 0) {
                const int res = a.coefRes[w];
                if (res != 3 && res != 4)
                    return zemStatusAacBadTnsCoefRes;
                int32_t k[kMaxOrder];
                for (int m = 0; m < order; ++m) {
                    if (coef[m] < -8 || coef[m] > 7)
                        return zemStatusAacBadTnsCoef;
                    k[m] = kTnsReflection.k[res - 3][coef[m] + 8];
                }
                if (*dir != 0 && *dir != 1)
                    return zemStatusAacBadTnsDirection;
                coef += order;
                const bool downward = *dir++ == 1;
                int32_t lpc[kMaxOrder + 1];
                const int e = direct_form(k, order, lpc);
                const int start = bands.offset[std::min(bottom, limit)],
                          end = bands.offset[std::min(top, limit)];
                int32_t* base = a.spec + (isShort ? 128 * w : 0);
                if (end > start)
                    run_filter(downward ? base + end - 1 : base + start, end - start,
                               downward ? -1 : 1, lpc, order, e, decode);
            }
            top = bottom;
        }
    }
    return zemStatusOk;
}

ZemStatus check_tns(const TnsArgs& a) {
    if (any_null(a.spec, a.numFilt, a.regionLen, a.order, a.coefRes, a.coef, a.direction))
        return zemStatusNullPointer;
    if (a.winLen != 128 && a.winLen != 1024)
        return zemStatusAacBadWindowLength;
    return zemStatusOk;
}

ZemStatus check_bands(const TnsArgs& a) {
    if (a.sfIndex < 0 || a.sfIndex > 11)
        return zemStatusAacBadSampleRateIndex;
    if (a.maxSfb < 0 || a.maxSfb > 51 || a.maxSfb > swb_table(a.sfIndex, a.winLen).count)
        return zemStatusAacBadMaxSfb;
    return zemStatusOk;
}

} // namespace

} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsDecodeTNS_AAC_32s_I(int32_t* pSrcDst, const int32_t* pNumFilt,
                                          const int32_t* pRegionLen, const int32_t* pOrder,
                                          const int32_t* pCoefRes, const int8_t* pCoef,
                                          const int32_t* pDirection, int32_t maxSfb,
                                          int32_t reserved, int32_t samplingFreqIndex,
                                          int32_t winLen) {
    (void)reserved;
    const TnsArgs a{pSrcDst,    pNumFilt, pRegionLen,        pOrder, pCoefRes, pCoef,
                    pDirection, maxSfb,   samplingFreqIndex, winLen};
    if (const ZemStatus st = check_tns(a); st != 0)
        return st;
    if (const ZemStatus st = check_bands(a); st != 0)
        return st;
    return apply_tns(a, true);
}

ZEM_API ZemStatus zemsEncodeTNS_AAC_32s_I(int32_t* pSrcDst, const int32_t* pNumFilt,
                                          const int32_t* pRegionLen, const int32_t* pOrder,
                                          const int32_t* pCoefRes, const int8_t* pCoef,
                                          const int32_t* pDirection, int32_t maxSfb, int32_t mode,
                                          int32_t samplingFreqIndex, int32_t winLen) {
    const TnsArgs a{pSrcDst,    pNumFilt, pRegionLen,        pOrder, pCoefRes, pCoef,
                    pDirection, maxSfb,   samplingFreqIndex, winLen};
    if (const ZemStatus st = check_tns(a); st != 0)
        return st;
    if (mode != 1)
        return zemStatusAacTnsModeUnsupported;
    if (const ZemStatus st = check_bands(a); st != 0)
        return st;
    return apply_tns(a, false);
}
