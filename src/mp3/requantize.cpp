// Layer III requantisation to Q26 with M/S and intensity stereo (MPEG-1 and MPEG-2 rules) and
// the reordering of short-block spectra into sub-band order.
#include "zemac.h"

#include <initializer_list>

#include "core/checks.hpp"
#include "core/constexpr_math.hpp"
#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"
#include "mp3/pow43.hpp"
#include "mp3/requantize.hpp"
#include "tables/mp3_sfb_bands.hpp"

using namespace zem;
using namespace zem::mp3;

namespace {

// round(n^(4/3) 2^14) for n = 0..8206.
struct Pow43 {
    uint32_t v[kMaxQuantised + 1];
};

constexpr Pow43 make_pow43() {
    Pow43 t{};
    for (int n = 1; n <= kMaxQuantised; ++n)
        t.v[n] = uint32_t(kPow43Table.v[n] * 16384.0 + 0.5);
    return t;
}

constexpr Pow43 kPow43 = make_pow43();
static_assert(kPow43.v[1] == 16384 && kPow43.v[2] == 41285 && kPow43.v[8206] == 2711826848u);

using cmath::QuarterPowers;
using cmath::Rounding;

// 2^(k/4), k = 0..3, in Q30, truncated.
constexpr QuarterPowers<4> kQuarter = cmath::quarter_powers<4>(0, 1, 30, Rounding::Down);
static_assert(kQuarter == QuarterPowers<4>{{1073741824, 1276901416, 1518500249, 1805811301}});
// MPEG-1 intensity ratios tan(p pi/12) / (1 + tan(p pi/12)) and MPEG-2 factors 2^(-k/4), Q31.
constexpr int32_t kIsRatio[7] = {0,          453816693,  786033569, 1073741824,
                                 1361450079, 1693666955, 2147483647};
constexpr QuarterPowers<4> kIsFactor = cmath::quarter_powers<4>(0, -1, 31, Rounding::Nearest);
static_assert(kIsFactor == QuarterPowers<4>{{2147483647, 1805811301, 1518500250, 1276901417}});

// The marker of an M/S band: markers add to the exponent e, whose steps are 2^(-1/4), so two
// steps carry the 1/sqrt(2) of M/S decoding.
constexpr uint8_t kMsMarker = 2;

constexpr int floor_div4(int v) { return v >= 0 ? v / 4 : -((-v + 3) / 4); }

// The run's multiplier 2^(k/4) (Q30) and right shift; shifts of 64 and more leave nothing.
struct RunScale {
    uint64_t m;
    int s;
};

// A value is n^(4/3) 2^(-e/4) with 2^(-e/4) = 2^floor(-e/4) 2^(k/4), k = -e mod 4. The Q14
// table times the Q30 multiplier is Q44, and the Q26 result takes 2^floor(-e/4) with it: a
// right shift by 44 - 26 - floor(-e/4).
constexpr RunScale run_scale(int e) {
    const int shift = 18 - floor_div4(-e);
    if (shift >= 64)
        return {0, 0};
    return {uint64_t(kQuarter.v[((-e) % 4 + 4) % 4]), shift};
}

// The largest magnitude that does not saturate, by exponent from the lowest a granule can
// have (global gain 255 without scale factors); from the end of the table on, every one.
constexpr int kLimitFrom = -45, kLimitCount = 128;

struct UnsaturatedLimits {
    int32_t v[kLimitCount];
};

constexpr UnsaturatedLimits make_unsaturated_limits() {
    UnsaturatedLimits t{};
    for (int k = 0; k < kLimitCount; ++k) {
        const RunScale r = run_scale(kLimitFrom + k);
        int lo = 0, hi = kMaxQuantised; // the 4/3 power grows: the largest n that fits
        while (lo < hi) {
            const int mid = (lo + hi + 1) / 2;
            if (((uint64_t(kPow43.v[mid]) * r.m) >> r.s) <= 0x7FFFFFFFu)
                lo = mid;
            else
                hi = mid - 1;
        }
        t.v[k] = lo;
    }
    return t;
}

constexpr UnsaturatedLimits kUnsaturated = make_unsaturated_limits();
static_assert(kUnsaturated.v[kLimitCount - 1] == kMaxQuantised);

// The largest magnitude a run at exponent e (kLimitFrom or more) requantises without saturating.
constexpr int32_t unsaturated_limit(int e) {
    return e < kLimitFrom + kLimitCount ? kUnsaturated.v[e - kLimitFrom] : kMaxQuantised;
}

// hi(2v c): a value scaled by a Q31 constant, the doubling wrapping in 32 bits.
int32_t scale_q31(int32_t v, int32_t c) { return hi32(int64_t(wrap_shl(v, 1)) * c); }

struct Channel {
    const ZemMp3GranuleRec* g;
    int32_t* spec;
    int32_t* bound;
    const int8_t* sf;
    uint8_t mk[40]; // band markers by scale-factor index: 0 or kMsMarker
    bool isShort, mixed;
    int first;  // first short band (3 for mixed blocks)
    int sfBase; // scale-factor index of the first short band, window 0
    int windowBandBound[3];
    int lineBound; // lines of one window
    int32_t* scratch;
};

struct Frame {
    bool mpeg1, ms, is;
    int nch;
    const int16_t* longB;
    const int16_t* shortB;
};

int short_index(const Channel& c, int band, int w) { return c.sfBase + 3 * (band - c.first) + w; }

// Bands and lines of each window of a short-block channel that hold non-zero values.
void scan_short(Channel& c, const Frame& f) {
    int top = -1;
    for (int b = c.first; b < 13; ++b)
        if (3 * f.shortB[b] < *c.bound)
            top = b;
    c.lineBound = f.shortB[c.first];
    for (int w = 0; w < 3; ++w) {
        c.windowBandBound[w] = c.first;
        int lines = f.shortB[c.first];
        for (int b = c.first; b <= top; ++b) {
            const int width = f.shortB[b + 1] - f.shortB[b];
            const int32_t* v = c.spec + 3 * f.shortB[b] + w * width;
            for (int k = 0; k < width; ++k)
                if (v[k] != 0) {
                    c.windowBandBound[w] = b + 1;
                    lines = f.shortB[b] + k + 1;
                }
        }
        if (lines > c.lineBound)
            c.lineBound = lines;
    }
}

int long_band_count(const Channel& c, const Frame& f) { return c.mixed ? (f.mpeg1 ? 8 : 6) : 22; }

bool illegal_position(const Frame& f, int p) { return f.mpeg1 ? p == 7 : p < 0; }

ZemStatus requantise(Channel& c, const Frame& f) {
    const ZemMp3GranuleRec& g = *c.g;
    if (g.global_gain < 0 || g.global_gain > 255 || g.scalefac_scale < 0 || g.scalefac_scale > 1 ||
        g.preflag < 0 || g.preflag > 1)
        return zemStatusMp3BadSideInfo;
    const int mul = 2 << g.scalefac_scale;
    const int base = 210 - g.global_gain;
    const RequantiseKernels& kernels = requantise_kernels();
    auto sf_mag = [&](int i) { return c.sf[i] < 0 ? -c.sf[i] : c.sf[i]; };
    auto long_exponent = [&](int b) {
        return (kPretab[b] * g.preflag + sf_mag(b)) * mul + c.mk[b] + base;
    };
    if (!c.isShort) {
        // Neighbouring bands with the same exponent as one run (the values of a run do not
        // depend on each other, and a run stops where its bands would have).
        for (int b = 0; b < 22 && f.longB[b] < *c.bound;) {
            const int e = long_exponent(b);
            int end = b + 1;
            while (end < 22 && f.longB[end] < *c.bound && f.longB[end] >= f.longB[end - 1] &&
                   f.longB[end + 1] >= f.longB[end] && long_exponent(end) == e)
                ++end;
            const int start = f.longB[b];
            if (!kernels.run(c.spec + start, c.spec + start, f.longB[end] - start, e))
                return zemStatusFailed;
            b = end;
        }
        return zemStatusOk;
    }
    for (int i = 0; i < 576; ++i)
        c.scratch[i] = 0;
    if (c.mixed)
        for (int b = 0; f.longB[b] < 36; ++b) {
            const int e = long_exponent(b);
            if (!kernels.run(c.spec + f.longB[b], c.scratch + f.longB[b],
                             f.longB[b + 1] - f.longB[b], e))
                return zemStatusFailed;
        }
    for (int w = 0; w < 3; ++w) {
        if (g.subblock_gain[w] < 0 || g.subblock_gain[w] > 7)
            return zemStatusFailed;
        for (int b = c.first; b < c.windowBandBound[w]; ++b) {
            const int width = f.shortB[b + 1] - f.shortB[b];
            const int at = 3 * f.shortB[b] + w * width;
            const int i = short_index(c, b, w);
            const int e = sf_mag(i) * mul + c.mk[i] + base + 8 * g.subblock_gain[w];
            if (!kernels.run(c.spec + at, c.scratch + at, width, e))
                return zemStatusFailed;
        }
    }
    return zemStatusOk;
}

// Intensity stereo of one run of values with the right channel's position p.
ZemStatus intensity(const Frame& f, const Channel& right, int32_t* L, int32_t* R, int count,
                    int p) {
    if (f.mpeg1) {
        if (p > 7)
            return zemStatusFailed;
        if (p == 7) {
            if (f.ms)
                for (int i = 0; i < count; ++i)
                    R[i] = L[i];
            return zemStatusOk;
        }
        for (int i = 0; i < count; ++i) {
            const int32_t l = scale_q31(L[i], kIsRatio[p]);
            R[i] = wrap_sub(L[i], l);
            L[i] = l;
        }
        return zemStatusOk;
    }
    if (p < 0) {
        if (!f.ms)
            return zemStatusOk;
        p = 0;
    }
    const int k = ((p + 1) / 2) << (right.g->scalefac_compress & 1);
    for (int i = 0; i < count; ++i) {
        const int32_t scaled = scale_q31(L[i], kIsFactor.v[k % 4]) >> (k / 4 > 31 ? 31 : k / 4);
        if (p & 1) {
            R[i] = L[i];
            L[i] = scaled;
        } else {
            R[i] = scaled;
        }
    }
    return zemStatusOk;
}

void mid_side(int32_t* L, int32_t* R, int count) {
    for (int i = 0; i < count; ++i) {
        const int32_t m = L[i], s = R[i];
        L[i] = wrap_add(m, s);
        R[i] = wrap_sub(m, s);
    }
}

// Intensity positions. The top band (long band 21, short band 12 of each window) carries no
// scale factor: it takes the position of the band below when that band is an intensity band
// (start at or below it). Otherwise MPEG-2 uses position 0, and MPEG-1 the illegal position 7,
// so that the band is decoded without intensity stereo as in the ISO/IEC 11172-3 reference
// decoding, whose positions default to 7.
int top_band_default(const Frame& f) { return f.mpeg1 ? 7 : 0; }

int long_position(const Frame& f, const Channel& R, int b, int start) {
    if (b < 21)
        return R.sf[b];
    return start <= 20 ? R.sf[20] : top_band_default(f);
}

int short_position(const Frame& f, const Channel& R, int b, int w, int start) {
    if (b < 12)
        return R.sf[short_index(R, b, w)];
    return start <= 11 ? R.sf[short_index(R, 11, w)] : top_band_default(f);
}

// Long blocks, or the long part of mixed blocks: the first band of intensity stereo.
int intensity_start(const Channel& L, const Channel& R, const Frame& f) {
    int bound = f.is ? *R.bound : (*L.bound > *R.bound ? *L.bound : *R.bound);
    if (L.mixed && bound > 36)
        bound = 36;
    int start = 0;
    for (int b = 0; b <= 21; ++b)
        if (f.longB[b] < bound)
            start = b + 1;
    return start;
}

// Where M/S ends and intensity stereo starts: the long band, and the short band of each window
// (up to the last band either channel holds in that window).
struct StereoSplit {
    int longStart = 0;
    int winStart[3] = {}, winEnd[3] = {};
};

// Finds the split and marks the M/S bands, and under M/S also the intensity bands with an
// illegal position, which are decoded as M/S of a zero side.
StereoSplit mark_stereo_bands(Channel& L, Channel& R, const Frame& f) {
    StereoSplit s;
    if (!L.isShort || L.mixed) {
        s.longStart = intensity_start(L, R, f);
        if (f.ms)
            for (int b = 0; b < s.longStart; ++b)
                L.mk[b] = R.mk[b] = kMsMarker;
        if (f.ms && f.is)
            for (int b = s.longStart; b < long_band_count(L, f); ++b)
                if (illegal_position(f, long_position(f, R, b, s.longStart)))
                    L.mk[b] = kMsMarker;
    }
    if (L.isShort)
        for (int w = 0; w < 3; ++w) {
            const int larger = L.windowBandBound[w] > R.windowBandBound[w] ? L.windowBandBound[w]
                                                                           : R.windowBandBound[w];
            s.winStart[w] = f.is ? R.windowBandBound[w] : larger;
            s.winEnd[w] = larger;
            for (int b = L.first; b < s.winEnd[w]; ++b) {
                const int i = short_index(L, b, w);
                if (f.ms && b < s.winStart[w])
                    L.mk[i] = R.mk[i] = kMsMarker;
                else if (f.ms && f.is && b >= s.winStart[w] &&
                         illegal_position(f, short_position(f, R, b, w, s.winStart[w])))
                    L.mk[i] = kMsMarker;
            }
        }
    return s;
}

// M/S and intensity stereo of long blocks, or of the long part of mixed blocks.
ZemStatus stereo_long(Channel& L, const Channel& R, const Frame& f, int32_t* l, int32_t* r,
                      int longStart) {
    if (f.ms)
        mid_side(l, r, f.longB[longStart]);
    if (!f.is)
        return zemStatusOk;
    int limitValue = *L.bound > *R.bound ? *L.bound : *R.bound;
    if (L.mixed) {
        limitValue = *L.bound < 36 ? *L.bound : 36;
        *L.bound = limitValue;
    }
    for (int b = longStart; b < long_band_count(L, f) && f.longB[b] < limitValue; ++b) {
        const int at = f.longB[b];
        if (const ZemStatus st = intensity(f, R, l + at, r + at, f.longB[b + 1] - at,
                                           long_position(f, R, b, longStart));
            st != zemStatusOk)
            return st;
    }
    return zemStatusOk;
}

// M/S and intensity stereo of the short bands, window by window.
ZemStatus stereo_short(const Channel& L, const Channel& R, const Frame& f, int32_t* l, int32_t* r,
                       const StereoSplit& s) {
    for (int w = 0; w < 3; ++w)
        for (int b = L.first; b < s.winEnd[w]; ++b) {
            const int width = f.shortB[b + 1] - f.shortB[b];
            const int at = 3 * f.shortB[b] + w * width;
            if (b < s.winStart[w]) {
                if (f.ms)
                    mid_side(l + at, r + at, width);
            } else if (f.is) {
                if (const ZemStatus st = intensity(f, R, l + at, r + at, width,
                                                   short_position(f, R, b, w, s.winStart[w]));
                    st != zemStatusOk)
                    return st;
            }
        }
    return zemStatusOk;
}

// Marker set-up, then requantisation of both channels, then the stereo arithmetic.
ZemStatus stereo(Channel& L, Channel& R, const Frame& f) {
    const StereoSplit split = mark_stereo_bands(L, R, f);
    for (Channel* c : {&L, &R})
        if (const ZemStatus st = requantise(*c, f); st != zemStatusOk)
            return st;
    int32_t* l = L.isShort ? L.scratch : L.spec;
    int32_t* r = R.isShort ? R.scratch : R.spec;
    if (!L.isShort || L.mixed)
        if (const ZemStatus st = stereo_long(L, R, f, l, r, split.longStart); st != zemStatusOk)
            return st;
    if (L.isShort) {
        if (const ZemStatus st = stereo_short(L, R, f, l, r, split); st != zemStatusOk)
            return st;
        const int lines = L.lineBound > R.lineBound ? L.lineBound : R.lineBound;
        *L.bound = *R.bound = 3 * lines;
    } else {
        const int larger = *L.bound > *R.bound ? *L.bound : *R.bound;
        *L.bound = *R.bound = larger;
    }
    return zemStatusOk;
}

// A channel's view of the caller's arrays, with its block layout and, for short blocks, the
// extent of each window. The scratch is handed out later.
Channel make_channel(const Frame& f, const ZemMp3GranuleRec& g, int32_t* spec, int32_t* bound,
                     const int8_t* sf) {
    Channel k{}; // no band markers
    k.g = &g;
    k.spec = spec;
    k.bound = bound;
    k.sf = sf;
    k.isShort = g.block_type == 2;
    k.mixed = k.isShort && g.mixed_block_flag == 1;
    k.first = k.mixed ? 3 : 0;
    k.sfBase = k.mixed ? (f.mpeg1 ? 8 : 6) : 0;
    if (k.isShort)
        scan_short(k, f);
    return k;
}

// Short-block lines into sub-band order: line j of window w to 18 (j / 6) + 6 w + j % 6.
void reorder(Channel& c, const Frame& f) {
    const int firstLine = c.mixed ? f.shortB[c.first] : 0;
    const int end = 18 * ceil_div18(*c.bound);
    const int lines = end / 3;
    if (c.mixed)
        for (int i = 0; i < 36; ++i)
            c.spec[i] = c.scratch[i];
    for (int i = c.mixed ? 36 : 0; i < 576; ++i)
        c.spec[i] = 0;
    for (int b = c.first; b < 13 && f.shortB[b] < lines; ++b) {
        const int width = f.shortB[b + 1] - f.shortB[b];
        for (int w = 0; w < 3; ++w)
            for (int k = 0; k < width; ++k) {
                const int j = f.shortB[b] + k;
                if (j < firstLine || j >= lines)
                    continue;
                c.spec[18 * (j / 6) + 6 * w + j % 6] = c.scratch[3 * f.shortB[b] + w * width + k];
            }
    }
    *c.bound = end;
}

void trim_bound(const Channel& c) {
    int b = *c.bound;
    while (b > 0 && c.spec[b - 1] == 0)
        --b;
    *c.bound = b;
}

} // namespace

ZEM_API ZemStatus zemsReQuantizeSfb_MP3_32s_I(int32_t* pSrcDst, int32_t* pNonZeroBound,
                                              const int8_t* pScaleFactor,
                                              const ZemMp3GranuleRec* pSideInfo,
                                              const ZemMp3HeaderRec* pHeader, int32_t* pWorkBuf,
                                              const int16_t* pSfbTableLong,
                                              const int16_t* pSfbTableShort) {
    if (any_null(pSrcDst, pNonZeroBound, pScaleFactor, pSideInfo, pHeader, pWorkBuf, pSfbTableLong,
                 pSfbTableShort))
        return zemStatusNullPointer;
    const ZemMp3HeaderRec& h = *pHeader;
    if (h.id < 0 || h.id > 1 || h.sampling_frequency < 0 || h.sampling_frequency > 2 ||
        h.mode < 0 || h.mode > 3 || h.mode_extension < 0 || h.mode_extension > 3)
        return zemStatusMp3BadFrameHeader;
    const int row = h.id * 3 + h.sampling_frequency;
    Frame f{h.id == 1,
            h.mode == 1 && (h.mode_extension & 2),
            h.mode == 1 && (h.mode_extension & 1),
            h.mode == 3 ? 1 : 2,
            pSfbTableLong + 23 * row,
            pSfbTableShort + 14 * row};
    // The mixed flag matters to the requantiser for short blocks only (start and stop blocks
    // may carry it too).
    if ((f.ms || f.is) && (pSideInfo[0].block_type != pSideInfo[1].block_type ||
                           (pSideInfo[0].block_type == 2 &&
                            pSideInfo[0].mixed_block_flag != pSideInfo[1].mixed_block_flag)))
        return zemStatusMp3BadSideInfo;
    Channel ch[2];
    for (int c = 0; c < f.nch; ++c) {
        const ZemMp3GranuleRec& g = pSideInfo[c];
        if (g.block_type < 0 || g.block_type > 3 || g.mixed_block_flag < 0 ||
            g.mixed_block_flag > 1)
            return zemStatusMp3BadSideInfo;
        if (pNonZeroBound[c] < 0 || pNonZeroBound[c] > 576)
            return zemStatusBadArgument;
        ch[c] = make_channel(f, g, pSrcDst + 576 * c, pNonZeroBound + c, pScaleFactor + 40 * c);
    }
    // Scratch for short blocks: the work buffer, then the first channel's spectrum, whose
    // quantised values are spent by the time the second channel is requantised.
    int32_t* freeScratch = pWorkBuf;
    for (int c = 0; c < f.nch; ++c)
        if (ch[c].isShort) {
            ch[c].scratch = freeScratch;
            freeScratch = pSrcDst;
        }
    if (f.ms || f.is) {
        if (const ZemStatus st = stereo(ch[0], ch[1], f); st != zemStatusOk)
            return st;
    } else {
        for (int c = 0; c < f.nch; ++c) {
            if (const ZemStatus st = requantise(ch[c], f); st != zemStatusOk)
                return st;
            if (ch[c].isShort)
                *ch[c].bound = 3 * ch[c].lineBound;
        }
    }
    for (int c = f.nch - 1; c >= 0; --c)
        if (ch[c].isShort)
            reorder(ch[c], f);
    for (int c = 0; c < f.nch; ++c)
        trim_bound(ch[c]);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsReQuantize_MP3_32s_I(int32_t* pSrcDst, int32_t* pNonZeroBound,
                                           const int8_t* pScaleFactor,
                                           const ZemMp3GranuleRec* pSideInfo,
                                           const ZemMp3HeaderRec* pHeader, int32_t* pWorkBuf) {
    return zemsReQuantizeSfb_MP3_32s_I(pSrcDst, pNonZeroBound, pScaleFactor, pSideInfo, pHeader,
                                       pWorkBuf, &kSfbLong[0][0], &kSfbShort[0][0]);
}

namespace zem::mp3 {

bool requantise_run_scalar(const int32_t* src, int32_t* dst, int count, int e) {
    const RunScale r = run_scale(e);
    for (int i = 0; i < count; ++i) { // the sign applied without a branch
        const uint32_t sign = uint32_t(src[i] >> 31);
        const uint32_t ax = (uint32_t(src[i]) ^ sign) - sign;
        if (ax > uint32_t(kMaxQuantised))
            return false;
        uint64_t y = (uint64_t(kPow43.v[ax]) * r.m) >> r.s;
        y = y > 0x7FFFFFFFu ? 0x7FFFFFFFu : y;
        dst[i] = int32_t((uint32_t(y) ^ sign) - sign);
    }
    return true;
}

// Four values at a time (then a pair) while their magnitudes stay below the exponent's
// saturation limit; the table is read lane by lane. From a group with a larger magnitude on,
// which saturates or ends the run, the scalar code takes over.
bool requantise_run_sse2(const int32_t* src, int32_t* dst, int count, int e) {
    using namespace simd;
    if (e < kLimitFrom)
        return requantise_run_scalar(src, dst, count, e);
    const RunScale r = run_scale(e);
    const int32_t limit = unsaturated_limit(e);
    const I32x4 m = splat(int32_t(r.m)), top = splat(limit), bottom = splat(-limit);
    auto in_range = [&](I32x4 x) { return sign_mask(greater(x, top) | greater(bottom, x)) == 0; };
    auto requantise4 = [&](I32x4 x) {
        const I32x4 sign = sar(x, 31);
        const I32x4 ax = (x ^ sign) - sign;
        int32_t at[4];
        store(at, ax);
        const I32x4 p = set(int32_t(kPow43.v[at[0]]), int32_t(kPow43.v[at[1]]),
                            int32_t(kPow43.v[at[2]]), int32_t(kPow43.v[at[3]]));
        const I32x4 y =
            low_words(shr_by(mul_even_u32(p, m), r.s), shr_by(mul_even_u32(odd_lanes(p), m), r.s));
        return (y ^ sign) - sign;
    };
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const I32x4 x = load(src + i);
        if (!in_range(x))
            return requantise_run_scalar(src + i, dst + i, count - i, e);
        store(dst + i, requantise4(x));
    }
    if (i + 2 <= count) { // band widths are even: the pair in the low lanes, zeros above
        const I32x4 x = load_lo(src + i);
        if (!in_range(x))
            return requantise_run_scalar(src + i, dst + i, count - i, e);
        store_lo(dst + i, requantise4(x));
        i += 2;
    }
    return i == count || requantise_run_scalar(src + i, dst + i, count - i, e);
}

#if ZEM_HAS_AVX2_KERNELS
// Eight values at a time (then four and a pair in the low lanes) while their magnitudes stay
// below the exponent's saturation limit, the table read from two registers while they are below
// 16 and gathered otherwise. From a group with a larger magnitude on, which saturates or ends the
// run, the scalar code takes over.
ZEM_AVX2 bool requantise_run_avx2(const int32_t* src, int32_t* dst, int count, int e) {
    using namespace simd;
    if (e < kLimitFrom)
        return requantise_run_scalar(src, dst, count, e);
    const RunScale r = run_scale(e);
    const int32_t limit = unsaturated_limit(e);
    const I32x8 m = splat8(int32_t(r.m)), top = splat8(limit), bottom = splat8(-limit);
    const I32x8 seven = splat8(7), fifteen = splat8(15);
    const int32_t* table = reinterpret_cast<const int32_t*>(kPow43.v);
    const I32x8 first = load8(table), second = load8(table + 8);
    auto in_range = [&](I32x8 x)
                        ZEM_AVX2 { return sign_mask(greater(x, top) | greater(bottom, x)) == 0; };
    auto requantise8 = [&](I32x8 x) ZEM_AVX2 {
        const I32x8 ax = abs(x);
        const I32x8 p = sign_mask(greater(ax, fifteen)) == 0
                            ? select(greater(ax, seven), lookup8(second, ax), lookup8(first, ax))
                            : gather8(table, ax);
        const I32x8 y =
            low_words(shr(mul_even_u32(p, m), r.s), shr(mul_even_u32(odd_words(p), m), r.s));
        return sign_of(y, x);
    };
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const I32x8 x = load8(src + i);
        if (!in_range(x)) {
            clear_upper_halves();
            return requantise_run_scalar(src + i, dst + i, count - i, e);
        }
        store(dst + i, requantise8(x));
    }
    for (int n = 4; n >= 2; n -= 2) { // band widths are even: four, then a pair, zeros above
        if (i + n > count)
            continue;
        const I32x8 x = zero_extend(n == 4 ? load(src + i) : load_lo(src + i));
        if (!in_range(x)) {
            clear_upper_halves();
            return requantise_run_scalar(src + i, dst + i, count - i, e);
        }
        const I32x4 y = low_half(requantise8(x));
        if (n == 4)
            store(dst + i, y);
        else
            store_lo(dst + i, y);
        i += n;
    }
    if (i == count)
        return true;
    clear_upper_halves();
    return requantise_run_scalar(src + i, dst + i, count - i, e);
}
#endif

const RequantiseKernels& requantise_kernels() {
    return ZEM_CHOSEN_KERNELS(kRequantiseSse2, kRequantiseAvx2);
}

} // namespace zem::mp3
