// Inverse quantisation, joint stereo, noise substitution and TNS: exact values, comparisons with
// the formulas in double precision, and round trips.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "aac/quant_kernels.hpp"
#include "support/seed.hpp"
#include "support/simd_kernels.hpp"
#include "zemac.h"

namespace {

const int32_t kOneGroup[1] = {1};

// One value dequantised as the first line of band 0 (four lines at 44.1 kHz).
int32_t dequant(int32_t x, int sf) {
    int32_t band[4] = {x, 0, 0, 0};
    const int16_t sfv = int16_t(sf);
    const uint8_t cb = 11;
    EXPECT_EQ(zemsQuantInv_AAC_32s_I(band, &sfv, 1, kOneGroup, 1, &cb, 4, 1024), zemStatusOk);
    return band[0];
}

TEST(AacQuantInv, ExactValuesOfSmallAndLargestMagnitudes) {
    const int32_t cases[][3] = {
        {1, 100, 8},          {2, 100, 20},          {16, 100, 322},
        {8191, 100, 1320907}, {8191, 120, 42269053}, {-8191, 120, -42269053},
        {0, 200, 0}};
    for (const auto& c : cases)
        EXPECT_EQ(dequant(c[0], c[1]), c[2]) << c[0] << " at " << c[1];
}

// Every magnitude 1..8191 at several scale factors against |x|^(4/3) 2^((sf-100)/4) 8.
TEST(AacQuantInv, MatchesTheFormula) {
    for (int sf : {0, 40, 97, 100, 101, 102, 103, 150, 180}) {
        for (int32_t x = 1; x <= 8191; ++x) {
            const double exact =
                std::pow(double(x), 4.0 / 3.0) * std::pow(2.0, (sf - 100) / 4.0) * 8.0;
            if (exact > 2e9)
                break;
            const int32_t got = dequant(x, sf);
            ASSERT_NEAR(got, exact, 1.0 + 2e-7 * exact) << "x " << x << " sf " << sf;
        }
    }
}

// The table-lookup loop, scalar against SSE2 and AVX2: runs of every length up to 40 at every int32
// offset, with and without a value of 16 or more (or the most negative value) somewhere in
// them, which both must stop at and leave alone with everything behind it.
TEST(AacQuantInv, SmallMagnitudeKernelsAgree) {
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::aac::kQuantSse2, zem::aac::kQuantAvx2);
    std::mt19937 rng(zemtest::seed());
    int32_t small[16];
    for (int32_t& v : small)
        v = int32_t(rng() >> 1);
    small[0] = 0;
    constexpr int32_t kCanary = 0x5EA1ED;
    for (int len = 0; len <= 40; ++len)
        for (int offset = 0; offset < 4; ++offset)
            for (int stop : {-1, 0, 1, 2, 3, 4}) {
                std::vector<int32_t> src(len);
                for (int32_t& v : src)
                    v = int32_t(rng() % 31) - 15;
                int at = len;
                if (stop >= 0 && len > 0) {
                    at = int(rng() % len);
                    const int32_t big[] = {16, -16, 8191, INT32_MIN, INT32_MAX};
                    src[at] = big[stop];
                }
                std::vector<int32_t> a(len + 8, kCanary);
                std::copy(src.begin(), src.end(), a.begin() + offset);
                const int ra =
                    zem::aac::kQuantScalar.dequantise_small(a.data() + offset, len, small);
                ASSERT_EQ(ra, at) << "length " << len;
                for (const zem::aac::QuantKernels& kernels : simd) {
                    std::vector<int32_t> b(len + 8, kCanary);
                    std::copy(src.begin(), src.end(), b.begin() + offset);
                    const int rb = kernels.dequantise_small(b.data() + offset, len, small);
                    ASSERT_EQ(rb, at) << "length " << len << " offset " << offset;
                    ASSERT_EQ(a, b) << "length " << len << " offset " << offset;
                }
                for (int i = 0; i < len; ++i) {
                    const int32_t x = src[i];
                    const int32_t want = i >= at ? x : x < 0 ? -small[-x] : small[x];
                    ASSERT_EQ(a[offset + i], want) << "length " << len << " at " << i;
                }
            }
}

// The AVX2 build of the small-magnitude table against the scalar one, for every exponent a scale
// factor can give and a few beyond, where the shifts clamp.
TEST(AacQuantInv, SmallMagnitudeTablesAgree) {
#if defined(__x86_64__)
    if (!zem::cpu_has_avx2())
        GTEST_SKIP() << "no AVX2 on this processor";
    for (int e = -40; e <= 60; ++e)
        for (int r = 0; r < 4; ++r) {
            int32_t want[16], got[16];
            zem::aac::kQuantScalar.small_magnitudes(want, e, r);
            zem::aac::kQuantAvx2.small_magnitudes(got, e, r);
            ASSERT_TRUE(std::equal(want, want + 16, got)) << "e " << e << " r " << r;
            ASSERT_EQ(want[0], 0);
        }
#else
    GTEST_SKIP() << "AVX2 kernels exist on x86-64 only";
#endif
}

TEST(AacQuantInv, StopsAtAnOversizedValueAndSkipsSpecialBands) {
    // 44.1 kHz long bands: 0 4 8 ...; four bands, the second a noise band.
    std::vector<int32_t> spec(1024, 3);
    spec[9] = 8192;
    const int16_t sf[4] = {100, 100, 100, 100};
    const uint8_t cb[4] = {1, 13, 1, 1};
    EXPECT_EQ(zemsQuantInv_AAC_32s_I(spec.data(), sf, 1, kOneGroup, 4, cb, 4, 1024),
              zemStatusAacBadSpectralValue);
    EXPECT_EQ(spec[0], dequant(3, 100));
    EXPECT_EQ(spec[4], 3) << "codebook 13 is left alone";
    EXPECT_EQ(spec[8], dequant(3, 100));
    EXPECT_EQ(spec[10], 3) << "nothing after the bad value";
}

TEST(AacStereo, MidSideAndIntensity) {
    // Short windows, groups of 3 and 5 windows, two bands of 4 lines (44.1 kHz).
    const int32_t groups[2] = {3, 5};
    std::vector<int32_t> L(1024), R(1024);
    for (int i = 0; i < 1024; ++i) {
        L[std::size_t(i)] = 1000 + i;
        R[std::size_t(i)] = 3 * i - 7;
    }
    uint8_t ms[2 * 60] = {};
    ms[0] = 1;      // group 0 band 0: a normal band with the flag
    ms[60 + 1] = 1; // group 1 band 1: an intensity band with the flag
    uint8_t cb[4] = {1, 15, 1, 15};
    std::vector<int32_t> l2 = L, r2 = R;
    ASSERT_EQ(zemsDecodeMsStereo_AAC_32s_I(l2.data(), r2.data(), 1, ms, cb, 2, groups, 2, 4, 128),
              zemStatusOk);
    EXPECT_EQ(l2[0], L[0] + R[0]); // group 0 band 0 spans 3 * 4 values from 0
    EXPECT_EQ(r2[11], L[11] - R[11]);
    EXPECT_EQ(cb[1], 15) << "no flag: the intensity direction stays";
    EXPECT_EQ(cb[3], 14) << "a flag on an intensity band inverts its direction";
    EXPECT_EQ(l2[384 + 20], L[384 + 20]) << "and leaves its values alone";
    EXPECT_EQ(r2[384], R[384]) << "group 1 band 0 has no flag";
    uint8_t all[4] = {1, 13, 1, 1};
    l2 = L;
    r2 = R;
    ASSERT_EQ(zemsDecodeMsStereo_AAC_32s_I(l2.data(), r2.data(), 2, ms, all, 2, groups, 2, 4, 128),
              zemStatusOk);
    EXPECT_EQ(l2[384 + 20], L[384 + 20] + R[384 + 20]) << "mode 2: every band";
    EXPECT_EQ(l2[12], L[12]) << "but never a noise band";

    std::vector<int32_t> right(1024, 99);
    const int16_t pos[2] = {0, 4};
    const uint8_t cbR[2] = {15, 14};
    ASSERT_EQ(
        zemsDecodeIsStereo_AAC_32s(L.data(), right.data(), pos, cbR, 1, kOneGroup, 2, 4, 1024),
        zemStatusOk);
    EXPECT_EQ(right[0], L[0]) << "position 0 copies";
    EXPECT_EQ(right[4], -(L[4] / 2)) << "position 4 halves, codebook 14 negates";
    EXPECT_EQ(right[8], 99) << "other bands are not written";

    std::mt19937 rng(zemtest::seed());
    for (int p = -60; p <= 60; ++p) {
        const int32_t l = int32_t(rng() % 2000001) - 1000000;
        const int32_t band[4] = {l, l, l, l}; // band 0 holds four values
        int32_t rs[4] = {};
        const int16_t sp = int16_t(p);
        const uint8_t c15 = 15;
        ASSERT_EQ(zemsDecodeIsStereo_AAC_32s(band, rs, &sp, &c15, 1, kOneGroup, 1, 4, 1024),
                  zemStatusOk);
        const int32_t r = rs[3];
        const double exact = l * std::pow(2.0, -p / 4.0);
        // Below -3 the left value is shifted up in 32 bits first: keep it in range.
        const double shifted = std::fabs(double(l)) * std::pow(2.0, p < -3 ? (-p >> 2) + 2 : 2);
        if (shifted < 2147483647.0) {
            ASSERT_NEAR(r, exact, 1.0 + 1e-8 * std::fabs(exact)) << "position " << p;
        }
    }
}

// PNS fills noise bands with noise of energy about 2^(sf/2) (in units of the value format),
// and the correlated variant repeats the left channel's noise where the M/S flag is set.
TEST(AacPns, EnergyAndCorrelation) {
    const uint8_t cb[3] = {13, 1, 13};
    for (int sf : {20, 60, 80}) {
        std::vector<int32_t> spec(1024, 5);
        const int16_t sfs[3] = {int16_t(sf), 0, int16_t(sf)};
        std::vector<int32_t> ltp(52, 1);
        uint32_t seed = 12345;
        ASSERT_EQ(zemsDecodePNS_AAC_32s(spec.data(), ltp.data(), cb, sfs, 3, 1, kOneGroup, 4, 1024,
                                        &seed),
                  zemStatusOk);
        EXPECT_EQ(std::vector<int32_t>(ltp.begin() + 1, ltp.begin() + 4),
                  (std::vector<int32_t>{0, 1, 0}));
        EXPECT_EQ(spec[4], 5) << "band 1 is not a noise band";
        double energy = 0;
        for (int i = 0; i < 4; ++i)
            energy += std::pow(spec[std::size_t(i)] / 8.0, 2);
        EXPECT_NEAR(std::log2(energy), sf / 2.0, 0.05) << "sf " << sf;
    }

    const int32_t groups[2] = {4, 4};
    std::vector<int32_t> left(1024, 0), right(1024, 0), ltp(52, 0);
    const uint8_t cbS[4] = {13, 13, 13, 13};
    std::vector<int16_t> sfS(16, 90);
    uint8_t ms[2 * 60] = {};
    ms[0] = ms[1] = 1;
    std::vector<uint32_t> seeds(8 * 60, 0);
    uint32_t seed = 777;
    ASSERT_EQ(zemsDecodeMsPNS_AAC_32s(left.data(), ltp.data(), cbS, sfS.data(), 2, 2, groups, 4,
                                      128, &seed, 0, ms, seeds.data()),
              zemStatusOk);
    ASSERT_EQ(zemsDecodeMsPNS_AAC_32s(right.data(), ltp.data(), cbS, sfS.data(), 2, 2, groups, 4,
                                      128, &seed, 1, ms, seeds.data()),
              zemStatusOk);
    // Group 0 bands 0 and 1 replay the state stored by the last window of the group.
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(right[std::size_t(i)], left[std::size_t(3 * 128 + i)]) << i;
    EXPECT_NE(right[512], left[512]) << "group 1 has no M/S flags: independent noise";
}

TEST(AacTns, DecodeThenEncodeRestoresTheSpectrum) {
    std::mt19937 rng(zemtest::seed());
    for (int winLen : {1024, 128}) {
        const bool isShort = winLen == 128;
        std::vector<int32_t> spec(1024);
        for (auto& v : spec)
            v = int32_t(rng() % 200001) - 100000;
        const std::vector<int32_t> original = spec;
        std::vector<int32_t> numFilt(8, 1), len, order, res(8, 4), dir;
        std::vector<int8_t> coef;
        const int windows = isShort ? 8 : 1;
        for (int w = 0; w < windows; ++w) {
            numFilt[std::size_t(w)] = isShort ? 1 : 3;
            for (int f = 0; f < numFilt[std::size_t(w)]; ++f) {
                const int o = isShort ? 4 + w % 4 : 8 + 2 * f;
                len.push_back(isShort ? 14 : 12 + f);
                order.push_back(o);
                dir.push_back(int32_t((w + f) & 1));
                for (int m = 0; m < o; ++m)
                    coef.push_back(int8_t(int(rng() % 13) - 6));
            }
        }
        const int maxSfb = isShort ? 14 : 49;
        ASSERT_EQ(zemsDecodeTNS_AAC_32s_I(spec.data(), numFilt.data(), len.data(), order.data(),
                                          res.data(), coef.data(), dir.data(), maxSfb, 0, 4,
                                          winLen),
                  zemStatusOk);
        EXPECT_NE(spec, original);
        ASSERT_EQ(zemsEncodeTNS_AAC_32s_I(spec.data(), numFilt.data(), len.data(), order.data(),
                                          res.data(), coef.data(), dir.data(), maxSfb, 1, 4,
                                          winLen),
                  zemStatusOk);
        for (std::size_t i = 0; i < spec.size(); ++i)
            ASSERT_NEAR(spec[i], original[i], 2) << "winLen " << winLen << " index " << i;
    }
}

// The per-filter checks, made while filtering, in order (the argument checks are in the sweep).
TEST(AacTns, FilterChecksInOrder) {
    std::vector<int32_t> spec(1024, 7);
    const int32_t one[8] = {1, 1, 1, 1, 1, 1, 1, 1}, res3[8] = {3, 3, 3, 3, 3, 3, 3, 3};
    const int32_t len[1] = {10}, ord[1] = {1}, dirOk[1] = {0}, dirBad[1] = {2}, four[1] = {4},
                  big[1] = {13};
    const int8_t c8[1] = {-8}, c9[1] = {8};
    auto dec = [&](const int32_t* nf, const int32_t* l, const int32_t* o, const int32_t* r,
                   const int8_t* c, const int32_t* d, int maxSfb, int sfi, int winLen) {
        return zemsDecodeTNS_AAC_32s_I(spec.data(), nf, l, o, r, c, d, maxSfb, 0, sfi, winLen);
    };
    EXPECT_EQ(dec(one, len, ord, res3, c8, dirOk, 40, 4, 1024), zemStatusOk)
        << "index -8 at resolution 3";
    EXPECT_EQ(dec(four, len, ord, res3, c8, dirOk, 40, 4, 1024), zemStatusAacBadTnsFilterCount);
    EXPECT_EQ(dec(one, big + 0, ord, res3, c8, dirOk, 40, 4, 1024), zemStatusOk)
        << "length 13 of 49 bands";
    EXPECT_EQ(dec(one, len, big, res3, c8, dirOk, 40, 4, 1024), zemStatusAacBadTnsOrder);
    EXPECT_EQ(dec(one, len, ord, one, c8, dirOk, 40, 4, 1024), zemStatusAacBadTnsCoefRes);
    EXPECT_EQ(dec(one, len, ord, res3, c9, dirOk, 40, 4, 1024), zemStatusAacBadTnsCoef);
    EXPECT_EQ(dec(one, len, ord, res3, c8, dirBad, 40, 4, 1024), zemStatusAacBadTnsDirection);
}

} // namespace
