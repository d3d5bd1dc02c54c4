// The encoder's quantiser of one MPEG-1 Layer III granule and channel: the distortion (outer)
// loop around the rate (inner) loop of ISO/IEC 11172-3 Annex C. The inner loop finds the
// smallest global gain whose Huffman bits fit the budget left after the scale factors; the outer
// loop amplifies the bands whose quantisation noise exceeds the allowed distortion (allowed
// ratio times the band's energy) by one scale-factor step, switches to the coarser scale-factor
// steps when the widths run out, and keeps the result with the fewest and smallest excesses.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "core/checks.hpp"
#include "core/simd.hpp"
#include "core/state.hpp"
#include "mp3/frame.hpp"
#include "mp3/pow43.hpp"
#include "tables/mp3_huffman.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "zemac.h"

namespace zem::mp3 {
namespace {

constexpr int kLines = 576;
constexpr int kMaxMagnitude = kMaxQuantised;
constexpr int kMaxUnits = 39; // short: band * 3 + window
constexpr int kMaxIterations = 40;

// Scale-factor units: long bands 0-20 and band 21 (no scale factor), or short band b of window
// w at 3 b + w (bands 0-11 and band 12, which has none), each a run of lines.
struct Layout {
    bool isShort;
    const int16_t* edges;     // the scale-factor bands: short or long
    const int16_t* longEdges; // the long bands, which place the Huffman regions
    int units() const { return isShort ? 39 : 22; }
    bool has_sf(int u) const { return isShort ? u < 36 : u < 21; }
    int from(int u) const {
        if (!isShort)
            return edges[u];
        const int b = u / 3, width = edges[b + 1] - edges[b];
        return 3 * edges[b] + (u % 3) * width;
    }
    int to(int u) const {
        return isShort ? from(u) + edges[u / 3 + 1] - edges[u / 3] : edges[u + 1];
    }
    // Scale factors in the first group take slen1 bits, the others slen2.
    bool first_group(int u) const { return isShort ? u < 18 : u < 11; }
};

struct Work {
    double xr[kLines];                // |x| on the standard's scale (Q26 / 2^26)
    alignas(16) float xr34[kLines];   // |x|^(3/4)
    alignas(16) float scaled[kLines]; // times each unit's scale-factor amplification, ^(3/4)
    alignas(16) int32_t ix[kLines];
    int32_t best[kLines];
};
static_assert(sizeof(Work) + 32 <= ZEM_MP3_QUANTIZE_WORK_BYTES);

// ---- bit counts ----

// The code lengths of a pair (x, y), both clamped to 15, in every table at once: lanes 0..12 for
// tables 1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15 (0 where the table is too narrow), lanes 13
// and 14 for the code tables of the escape families 16..23 and 24..31. Sign bits and linbits
// are counted apart.
constexpr int kLaneTables[15] = {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 24};
struct PairCosts {
    alignas(16) uint16_t bits[16][16][16]; // [x][y][lane]
};
constexpr PairCosts make_pair_costs() {
    PairCosts c{};
    for (int x = 0; x < 16; ++x)
        for (int y = 0; y < 16; ++y)
            for (int lane = 0; lane < 15; ++lane) {
                const PairTable& t = kPairTables[kLaneTables[lane]];
                if (x < t.width && y < t.width)
                    c.bits[x][y][lane] = t.codes[x * t.width + y].length;
            }
    return c;
}
constexpr PairCosts kPairCosts = make_pair_costs();

// The pairs of lines [from, to): their code lengths summed per lane, the largest value, the
// sign bits and the values that need linbits.
struct PairSums {
    alignas(16) uint16_t lane[16];
    int top, signs, escapes;
};

PairSums pair_sums(const int32_t* ix, int from, int to) {
    using namespace simd;
    I32x4 lo = splat(0), hi = splat(0);
    PairSums p{};
    for (int i = from; i < to; i += 2) {
        const int x = ix[i], y = ix[i + 1];
        const uint16_t* row = kPairCosts.bits[x < 15 ? x : 15][y < 15 ? y : 15];
        lo = add16(lo, load_words(reinterpret_cast<const int16_t*>(row)));
        hi = add16(hi, load_words(reinterpret_cast<const int16_t*>(row + 8)));
        p.top = x > p.top ? x : p.top;
        p.top = y > p.top ? y : p.top;
        p.signs += (x != 0) + (y != 0);
        p.escapes += (x >= 15) + (y >= 15);
    }
    store_words(reinterpret_cast<int16_t*>(p.lane), lo);
    store_words(reinterpret_cast<int16_t*>(p.lane + 8), hi);
    return p;
}

constexpr int kNoTable = 1 << 24; // the cost of a table that cannot code a band

// Bits of table t (0..31) for the pairs summed in p.
int table_bits(const PairSums& p, int t) {
    if (t == 0 || t == 4 || t == 14)
        return t == 0 && p.top == 0 ? 0 : kNoTable;
    const PairTable& table = kPairTables[t];
    if (t < 16) {
        const int lane = t < 4 ? t - 1 : t < 14 ? t - 2 : 12;
        return table.width - 1 >= p.top ? p.lane[lane] + p.signs : kNoTable;
    }
    const int fits = p.top <= 15 + (1 << table.linbits) - 1;
    return fits ? p.lane[t < 24 ? 13 : 14] + p.signs + table.linbits * p.escapes : kNoTable;
}

struct Coding {
    int bigValues, count1Len, count1Table, bits;
    int table[3], region0, region1;
};

// Region counts by the number of long bands the big values reach (the split the rate loop's
// estimate uses; the final coding searches all splits).
constexpr uint8_t kSplit[23][2] = {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 1}, {1, 1}, {1, 1},
                                   {1, 2}, {2, 2}, {2, 3}, {2, 3}, {3, 4}, {3, 4}, {3, 4}, {4, 5},
                                   {4, 5}, {4, 6}, {5, 6}, {5, 6}, {5, 7}, {6, 7}, {6, 7}};

// Bits of every table for the big values of each long band (cut at the big-values end), as
// prefix sums over the bands, so that any run of bands costs two lookups per table.
struct BandCosts {
    int bands;
    int prefix[23][32];

    BandCosts(const int32_t* ix, const int16_t* edges, int end) : bands(0), prefix{} {
        while (bands < 22 && edges[bands] < end)
            ++bands;
        for (int b = 0; b < bands; ++b) {
            const int from = edges[b], to = edges[b + 1] < end ? edges[b + 1] : end;
            const PairSums p = pair_sums(ix, from, to);
            for (int t = 0; t < 32; ++t)
                prefix[b + 1][t] = prefix[b][t] + table_bits(p, t);
        }
    }

    // The cheapest table for bands [from, to) and its bits.
    void choose(int from, int to, int& table, int& bits) const {
        from = from < bands ? from : bands;
        to = to < bands ? to : bands;
        table = 0;
        bits = prefix[to][0] - prefix[from][0];
        for (int t = 1; t < 32; ++t) {
            const int b = prefix[to][t] - prefix[from][t];
            if (b < bits) {
                bits = b;
                table = t;
            }
        }
    }
};

// The count1 region (quadruples of values up to 1 after the big values) and its cheaper table.
Coding count1_part(const int32_t* ix) {
    using namespace simd;
    Coding c{};
    // The coded lines end with the last quadruple holding a value; the big values end before
    // the run of quadruples whose values are all 0 or 1 ahead of that.
    int end = kLines;
    while (end >= 4 && all_zero(load(ix + end - 4)))
        end -= 4;
    int start1 = end;
    while (start1 >= 4 && sign_mask(greater(load(ix + start1 - 4), splat(1))) == 0)
        start1 -= 4;
    c.bigValues = start1 / 2;
    c.count1Len = end - start1;
    int bitsA = 0, bitsB = 0;
    for (int i = start1; i < end; i += 4) {
        const int index = (ix[i] << 3) | (ix[i + 1] << 2) | (ix[i + 2] << 1) | ix[i + 3];
        const int signs = ix[i] + ix[i + 1] + ix[i + 2] + ix[i + 3];
        bitsA += kQuadCodesA[index].length + signs;
        bitsB += 4 + signs;
    }
    c.count1Table = bitsB < bitsA ? 1 : 0;
    c.bits = bitsB < bitsA ? bitsB : bitsA;
    return c;
}

// Bits of the pairs in lines [from, to) with the cheapest of the tables whose width just holds
// their largest value (and the escape tables with the fewest linbits that do): the rate loop's
// estimate, which the final coding, choosing among all tables and splits, can only better.
int region_bits(const int32_t* ix, int from, int to) {
    const PairSums p = pair_sums(ix, from, to);
    if (p.top == 0)
        return 0;
    if (p.top > 15) {
        int best = kNoTable;
        for (int first : {16, 24}) {
            int t = first;
            while (t < first + 7 && 15 + (1 << kPairTables[t].linbits) - 1 < p.top)
                ++t;
            best = std::min(best, table_bits(p, t));
        }
        return best;
    }
    static constexpr uint8_t kCandidates[16][3] = {
        {0, 0, 0},    {1, 0, 0},    {2, 3, 0},   {5, 6, 0},   {7, 8, 9},   {7, 8, 9},
        {10, 11, 12}, {10, 11, 12}, {13, 15, 0}, {13, 15, 0}, {13, 15, 0}, {13, 15, 0},
        {13, 15, 0},  {13, 15, 0},  {13, 15, 0}, {13, 15, 0}};
    int best = kNoTable;
    for (int t : kCandidates[p.top]) {
        if (t == 0)
            break;
        best = std::min(best, table_bits(p, t));
    }
    return best;
}

// The rate loop's bit count: the region split that the big values' reach implies.
int estimate_bits(const int32_t* ix, bool windowSwitching, const int16_t* longEdges) {
    const Coding c = count1_part(ix);
    const int start1 = 2 * c.bigValues;
    int split1, split2;
    if (windowSwitching) {
        split1 = split2 = longEdges[8];
    } else {
        int reach = 0;
        while (reach < 22 && longEdges[reach] < start1)
            ++reach;
        split1 = longEdges[kSplit[reach][0] + 1];
        split2 = longEdges[kSplit[reach][0] + kSplit[reach][1] + 2];
    }
    split1 = split1 < start1 ? split1 : start1;
    split2 = split2 < start1 ? split2 : start1;
    return c.bits + region_bits(ix, 0, split1) + region_bits(ix, split1, split2) +
           region_bits(ix, split2, start1);
}

// The final coding: the cheapest table of every region, for long blocks under every split.
Coding count_bits(const int32_t* ix, bool windowSwitching, const int16_t* longEdges) {
    Coding c = count1_part(ix);
    const int start1 = 2 * c.bigValues;
    const BandCosts costs(ix, longEdges, start1);
    if (windowSwitching) { // region 0 ends at line 36, long band 8; region 1 takes the rest
        int b0, b1;
        costs.choose(0, 8, c.table[0], b0);
        costs.choose(8, 22, c.table[1], b1);
        c.region0 = 7; // implied by window switching (set as the unpacker sets them)
        c.region1 = 13;
        c.bits += b0 + b1;
        return c;
    }
    // Region 0 depends only on where it ends and region 2 only on where it starts.
    int first[16][2], last[23][2];
    for (int r0 = 0; r0 < 16; ++r0)
        costs.choose(0, r0 + 1, first[r0][0], first[r0][1]);
    for (int from = 2; from <= 22; ++from)
        costs.choose(from, 22, last[from][0], last[from][1]);
    int best = 1 << 30;
    for (int r0 = 0; r0 < 16; ++r0)
        for (int r1 = 0; r1 < 8 && r0 + r1 + 2 <= 22; ++r1) {
            int middle, middleBits;
            costs.choose(r0 + 1, r0 + r1 + 2, middle, middleBits);
            const int* end = last[r0 + r1 + 2];
            const int bits = first[r0][1] + middleBits + end[1];
            if (bits < best) {
                best = bits;
                c.region0 = r0;
                c.region1 = r1;
                c.table[0] = first[r0][0];
                c.table[1] = middle;
                c.table[2] = end[0];
            }
        }
    c.bits += best;
    return c;
}

// ---- quantisation ----

struct Gains {
    int globalGain;
    double sfStep; // 0.5 or 1: the amplification of one scale-factor step, in powers of two
    int sf[kMaxUnits];
    bool preflag = false; // long blocks: the pre-emphasis adds to the upper bands' factors

    // A unit's amplification in scale-factor steps.
    int steps(const Layout& L, int u) const {
        return sf[u] + (preflag && !L.isShort && u < 22 ? kPretab[u] : 0);
    }
};

// 2^(k/16) for k = 0..15: the steps of the gains' 3/4 powers.
struct Sixteenths {
    float v[16];
};
constexpr Sixteenths make_sixteenths() {
    Sixteenths t{};
    for (int k = 0; k < 16; ++k)
        t.v[k] = float(cmath::sqrt(cmath::sqrt(cmath::pow2_quarter(k))));
    return t;
}
constexpr Sixteenths kSixteenths = make_sixteenths();

// 2^(k/16) for any k.
float power16(int k) { return std::ldexp(kSixteenths.v[k & 15], k >> 4); }

// The lines' 3/4 powers amplified by their units' scale factors, (2^(step sf))^(3/4): the part of
// the quantiser's scaling that the rate loop keeps.
void amplify(Work& w, const Layout& L, const Gains& g) {
    const int perStep = g.sfStep == 1.0 ? 12 : 6; // sixteenths of 3/4 of the step
    for (int u = 0; u < L.units(); ++u) {
        const float scale = power16(perStep * g.steps(L, u));
        for (int i = L.from(u); i < L.to(u); ++i)
            w.scaled[i] = w.xr34[i] * scale;
    }
}

// ix = nint((|x| 2^(-(gg - 210)/4 + step sf))^(3/4) - 0.0946) = trunc(t + 0.4054) with t the
// amplified power times 2^(-3 (gg - 210)/16); false when one exceeds 8206.
bool quantise(Work& w, const Gains& g) {
    using namespace simd;
    const F32x4 gain = splat(power16(-3 * (g.globalGain - 210)));
    const F32x4 limit = splat(kMaxMagnitude + 0.0946f), half = splat(0.4054f);
    int over = 0;
    for (int i = 0; i < kLines; i += 4) {
        const F32x4 t = load_aligned(w.scaled + i) * gain;
        over |= greater_mask(t, limit);
        store(w.ix + i, truncate_to_int(t + half));
    }
    return over == 0;
}

// Noise of one unit: the energy of the difference between x and its reconstruction.
double unit_noise(const Work& w, const Layout& L, const Gains& g, int u) {
    const double step = std::exp2((g.globalGain - 210) / 4.0 - g.sfStep * g.steps(L, u));
    double noise = 0.0;
    for (int i = L.from(u); i < L.to(u); ++i) {
        const double d = w.xr[i] - kPow43Table.v[w.ix[i]] * step;
        noise += d * d;
    }
    return noise;
}

// The smallest scalefac_compress whose widths hold the scale factors, and its bits; -1 when none.
struct Part2 {
    int compress, bits;
};

Part2 part2_bits(const Layout& L, const int* sf) {
    int top1 = 0, top2 = 0;
    for (int u = 0; u < L.units(); ++u)
        if (L.has_sf(u))
            (L.first_group(u) ? top1 : top2) = std::max(L.first_group(u) ? top1 : top2, sf[u]);
    const int n1 = L.isShort ? 18 : 11, n2 = L.isShort ? 18 : 10;
    Part2 best{-1, 1 << 30};
    for (int c = 0; c < 16; ++c)
        if ((1 << kSlen1[c]) > top1 && (1 << kSlen2[c]) > top2) {
            const int bits = n1 * kSlen1[c] + n2 * kSlen2[c];
            if (bits < best.bits)
                best = {c, bits};
        }
    return best;
}

// The smallest global gain whose values fit `avail` bits; -1 when even 255 does not. The search
// starts at `hint` (the gain of the loop's last pass, -1 for none) and widens its steps from
// there, since amplifying a few bands moves the gain by a few steps.
int inner_loop(Work& w, const Layout& L, Gains& g, bool windowSwitching, int avail, int hint) {
    auto fits = [&](int gg) {
        g.globalGain = gg;
        return quantise(w, g) && estimate_bits(w.ix, windowSwitching, L.longEdges) <= avail;
    };
    int lo = -1, hi = 255; // !fits(lo) (or lo is -1), fits(hi)
    if (hint < 0) {
        if (!fits(255))
            return -1;
    } else if (fits(hint)) {
        hi = hint;
        for (int step = 1; hi > 0; step *= 2) {
            const int next = hi - step < 0 ? 0 : hi - step;
            if (!fits(next)) {
                lo = next;
                break;
            }
            hi = next;
        }
    } else {
        lo = hint;
        for (int step = 1;; step *= 2) {
            const int next = lo + step > 255 ? 255 : lo + step;
            if (fits(next)) {
                hi = next;
                break;
            }
            if (next == 255)
                return -1;
            lo = next;
        }
    }
    while (hi - lo > 1) {
        const int mid = (lo + hi) / 2;
        if (fits(mid))
            hi = mid;
        else
            lo = mid;
    }
    g.globalGain = hi;
    quantise(w, g);
    return hi;
}

int max_sf(const Layout& L, int u) { return L.first_group(u) ? 15 : 7; }

} // namespace
} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsQuantize_MP3_32s_I(int32_t* pSrcDst, int8_t* pScaleFactor,
                                         ZemMp3GranuleRec* pGranule, int32_t* pCount1Len,
                                         int32_t* pHufSize, const float* pRatio,
                                         const uint8_t* pIsPos, const int32_t* pIsStart,
                                         const ZemMp3HeaderRec* pHeader, int32_t maxBits,
                                         uint8_t* pWorkBuf) {
    if (any_null(pSrcDst, pScaleFactor, pGranule, pCount1Len, pHufSize, pRatio, pHeader,
                 pWorkBuf) ||
        (pIsPos == nullptr) != (pIsStart == nullptr))
        return zemStatusNullPointer;
    if (pHeader->id != 1 || pHeader->sampling_frequency < 0 || pHeader->sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    const ZemMp3GranuleRec& in = *pGranule;
    if (in.block_type < 0 || in.block_type > 3 ||
        (in.window_switching_flag != 0) != (in.block_type != 0) || in.mixed_block_flag != 0)
        return zemStatusMp3BadSideInfo;
    if (maxBits < 0)
        return zemStatusBadArgument;
    const int row = 3 + pHeader->sampling_frequency;
    const Layout L{in.block_type == 2, in.block_type == 2 ? kSfbShort[row] : kSfbLong[row],
                   kSfbLong[row]};
    if (pIsStart != nullptr)
        for (int k = 0; k < (L.isShort ? 3 : 1); ++k)
            if (pIsStart[k] < 0 || pIsStart[k] > (L.isShort ? 13 : 22))
                return zemStatusBadArgument;
    const int budget = maxBits < 4095 ? maxBits : 4095;
    const bool switching = in.window_switching_flag != 0;

    Work& w = *reinterpret_cast<Work*>(align_up<32>(pWorkBuf));
    for (int i = 0; i < kLines; i += 4) {
        float x[4];
        for (int k = 0; k < 4; ++k) {
            w.xr[i + k] = std::abs(double(pSrcDst[i + k])) / 67108864.0;
            x[k] = float(w.xr[i + k]);
        }
        const simd::F32x4 v = simd::load(x);
        simd::store_aligned(w.xr34 + i, simd::sqrt(v * simd::sqrt(v)));
    }
    // Allowed noise per unit; intensity units of the right channel carry their position instead.
    double allowed[kMaxUnits] = {};
    bool intensity[kMaxUnits] = {};
    for (int u = 0; u < L.units(); ++u) {
        double energy = 0.0;
        for (int i = L.from(u); i < L.to(u); ++i)
            energy += w.xr[i] * w.xr[i];
        allowed[u] = double(pRatio[u]) * energy;
        if (pIsStart != nullptr && L.has_sf(u))
            intensity[u] = L.isShort ? u / 3 >= pIsStart[u % 3] : u >= pIsStart[0];
    }

    Gains g{0, 0.5, {}};
    for (int u = 0; u < L.units(); ++u)
        g.sf[u] = intensity[u] ? pIsPos[u] : 0;
    Gains best{};
    int bestOver = 1 << 30;
    double bestExcess = 0.0;
    bool haveBest = false;
    int hint = -1;
    for (int iter = 0; iter < kMaxIterations; ++iter) {
        const Part2 p2 = part2_bits(L, g.sf);
        if (p2.compress < 0 || p2.bits > budget)
            break;
        amplify(w, L, g);
        hint = inner_loop(w, L, g, switching, budget - p2.bits, hint);
        if (hint < 0)
            break;
        int over = 0;
        double excess = 0.0;
        bool overUnit[kMaxUnits] = {};
        for (int u = 0; u < L.units(); ++u) {
            if (!L.has_sf(u) || intensity[u] || allowed[u] <= 0.0)
                continue;
            const double noise = unit_noise(w, L, g, u);
            if (noise > allowed[u]) {
                overUnit[u] = true;
                ++over;
                excess += std::log10(noise / allowed[u]);
            }
        }
        if (!haveBest || over < bestOver || (over == bestOver && excess < bestExcess)) {
            best = g;
            bestOver = over;
            bestExcess = excess;
            haveBest = true;
            std::memcpy(w.best, w.ix, sizeof w.ix);
        }
        if (over == 0)
            break;
        bool exhausted = false, allAmplified = true;
        for (int u = 0; u < L.units(); ++u) {
            if (overUnit[u])
                ++g.sf[u];
            if (L.has_sf(u) && !intensity[u]) {
                exhausted |= g.sf[u] > max_sf(L, u);
                allAmplified &= g.sf[u] > 0;
            }
        }
        if (exhausted && g.sfStep == 0.5) { // coarser steps: the same amplification, halved
            g.sfStep = 1.0;
            for (int u = 0; u < L.units(); ++u)
                if (!intensity[u])
                    g.sf[u] = (g.sf[u] + 1) / 2;
        } else if (exhausted && !g.preflag && !L.isShort && pIsStart == nullptr) {
            // The pre-emphasis takes over part of the upper bands' amplification, which frees
            // the room their narrower factors lack.
            g.preflag = true;
            for (int u = 0; u < 21; ++u)
                g.sf[u] = std::max(0, g.sf[u] - kPretab[u]);
        } else if (exhausted || allAmplified) {
            break;
        }
    }
    if (!haveBest) { // nothing fits: the granule is coded silent with the largest gain
        best = Gains{255, 0.5, {}};
        for (int u = 0; u < L.units(); ++u)
            best.sf[u] = intensity[u] ? pIsPos[u] : 0;
        std::memset(w.best, 0, sizeof w.best);
    }
    // Right channel: bands below the intensity start that quantise to nothing get the illegal
    // position 7, so that the decoder, which starts intensity after the last non-zero line,
    // leaves them alone.
    if (pIsStart != nullptr)
        for (int u = 0; u < L.units(); ++u) {
            if (!L.has_sf(u) || intensity[u])
                continue;
            bool zero = true;
            for (int i = L.from(u); i < L.to(u) && zero; ++i)
                zero = w.best[i] == 0;
            if (zero)
                best.sf[u] = 7;
        }
    Part2 p2 = part2_bits(L, best.sf);
    Coding c = count_bits(w.best, switching, L.longEdges);
    // The marks can cost bits: coarsen the gain until the whole fits.
    if (p2.compress >= 0 && p2.bits + c.bits > budget)
        amplify(w, L, best);
    while (p2.compress >= 0 && p2.bits + c.bits > budget && best.globalGain < 255) {
        ++best.globalGain;
        if (quantise(w, best)) {
            std::memcpy(w.best, w.ix, sizeof w.ix);
            c = count_bits(w.best, switching, L.longEdges);
        }
    }
    if (p2.compress < 0 || p2.bits + c.bits > budget) { // the marks do not fit: drop them
        for (int u = 0; u < L.units(); ++u)
            if (!intensity[u] && best.sf[u] == 7)
                best.sf[u] = 0;
        p2 = part2_bits(L, best.sf);
    }

    for (int i = 0; i < kLines; ++i)
        pSrcDst[i] = pSrcDst[i] < 0 ? -w.best[i] : w.best[i];
    std::memset(pScaleFactor, 0, 39);
    for (int u = 0; u < L.units(); ++u)
        if (L.has_sf(u))
            pScaleFactor[u] = int8_t(best.sf[u]);
    ZemMp3GranuleRec& out = *pGranule;
    out.global_gain = best.globalGain;
    out.scalefac_compress = p2.compress;
    out.scalefac_scale = best.sfStep == 1.0;
    out.preflag = best.preflag ? 1 : 0;
    out.subblock_gain[0] = out.subblock_gain[1] = out.subblock_gain[2] = 0;
    out.big_values = c.bigValues;
    out.table_select[0] = c.table[0];
    out.table_select[1] = c.table[1];
    out.table_select[2] = switching ? 0 : c.table[2];
    out.region0_count = switching && L.isShort ? 8 : c.region0;
    out.region1_count = switching && L.isShort ? 12 : c.region1;
    out.count1table_select = c.count1Table;
    out.part2_3_length = p2.bits + c.bits;
    *pCount1Len = c.count1Len;
    *pHufSize = c.bits;
    return zemStatusOk;
}
