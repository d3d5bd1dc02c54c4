// Layer III requantisation, stereo processing and hybrid synthesis: exact values, saturation and
// contract edges, the transforms against their definitions in double precision, and the SSE2
// kernels against their scalar twins. Requantisation with every gain and scale-factor field,
// reordering, the overlap and its flush, intensity stereo and mixed blocks are checked on whole
// streams against the double-precision model and mpg123 (conformance/mp3_syntax_streams.cpp).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "mp3/imdct.hpp"
#include "mp3/matrixing.hpp"
#include "mp3/polyphase_window.hpp"
#include "mp3/requantize.hpp"
#include "support/mp3_model.hpp"
#include "support/seed.hpp"
#include "support/simd_kernels.hpp"
#include "support/stream.hpp"
#include "zemac.h"

namespace {

struct Granule {
    std::vector<int32_t> x = std::vector<int32_t>(2 * 576, 0);
    int32_t bound[2] = {0, 0};
    int8_t sf[80] = {};
    ZemMp3GranuleRec g[2] = {};
    int32_t work[576];
    Granule() { g[0].global_gain = g[1].global_gain = 210; }
    ZemStatus run(const ZemMp3HeaderRec& h) {
        return zemsReQuantize_MP3_32s_I(x.data(), bound, sf, g, &h, work);
    }
};

TEST(Mp3Requantize, ValuesSaturationEmptyBoundAndOverrange) {
    Granule a;
    a.x[0] = 1;
    a.x[1] = -8;
    a.bound[0] = 2;
    ASSERT_EQ(a.run(zemtest::mp3_header(1, 3)), zemStatusOk);
    EXPECT_EQ(a.x[0], 67108864);
    EXPECT_EQ(a.x[1], -1073741824);
    Granule b;
    b.g[0].global_gain = 255;
    b.x[5] = 8206;
    b.bound[0] = 6;
    ASSERT_EQ(b.run(zemtest::mp3_header(1, 3)), zemStatusOk);
    EXPECT_EQ(b.x[5], 2147483647);
    Granule c; // bound 0: nothing requantised
    c.x[0] = 5;
    ASSERT_EQ(c.run(zemtest::mp3_header(1, 3)), zemStatusOk);
    EXPECT_EQ(c.x[0], 5);
    EXPECT_EQ(c.bound[0], 0);
    Granule d;
    d.x[0] = 8207;
    d.bound[0] = 1;
    EXPECT_EQ(d.run(zemtest::mp3_header(1, 3)), zemStatusFailed);
}

TEST(Mp3Requantize, MidSideIntensityWrapAndBlockTypeMismatch) {
    Granule ms; // mid 8, side 0: both channels receive 8^(4/3) 2^(-1/2)
    ms.x[0] = 8;
    ms.bound[0] = ms.bound[1] = 1;
    ASSERT_EQ(ms.run(zemtest::mp3_header(1, 1, 2)), zemStatusOk);
    EXPECT_NEAR(ms.x[0], 16.0 * 67108864 / std::sqrt(2.0), 2.0);
    EXPECT_EQ(ms.x[576], ms.x[0]);
    Granule is; // intensity position 3 on a left value of 2^30: the doubling wraps
    is.x[0] = 8;
    is.bound[0] = 1;
    is.sf[40] = 3;
    ASSERT_EQ(is.run(zemtest::mp3_header(1, 1, 1)), zemStatusOk);
    EXPECT_EQ(is.x[0], -(1 << 29));
    EXPECT_EQ(is.x[576], 3 * (1 << 29));
    Granule differ; // joint stereo needs the same block type, and for short blocks the same
    differ.g[0].block_type = 2; // mixed flag; start and stop blocks may differ in the flag
    EXPECT_EQ(differ.run(zemtest::mp3_header(1, 1, 2)), zemStatusMp3BadSideInfo);
    differ.g[1].block_type = 2;
    differ.g[1].mixed_block_flag = 1;
    EXPECT_EQ(differ.run(zemtest::mp3_header(1, 1, 2)), zemStatusMp3BadSideInfo);
    differ.g[0].block_type = differ.g[1].block_type = 3;
    EXPECT_EQ(differ.run(zemtest::mp3_header(1, 1, 2)), zemStatusOk);
}

TEST(Mp3Synthesis, SubbandTransformMatchesDefinition) {
    std::mt19937 rng(zemtest::seed());
    for (int type = 0; type < 4; ++type)
        for (int it = 0; it < 20; ++it) {
            int32_t x[18], z[36];
            for (int32_t& v : x)
                v = int32_t(rng() % 200000001) - 100000000;
            ASSERT_EQ(zemsMDCTInvWindow_MP3_32s(x, z, type), zemStatusOk);
            double xd[18], want[36];
            std::copy(x, x + 18, xd);
            zemtest::mp3model::imdct(xd, type, want);
            for (int i = 0; i < 36; ++i)
                ASSERT_NEAR(z[i], 0.25 * want[i], 1.0) << "type " << type << " i " << i;
        }
}

// The polyphase bank against the standard's procedure in double precision (the model's
// matrixing into a 1024-value FIFO and windowing with D), 16-bit output rounded and saturated.
TEST(Mp3Synthesis, PolyphaseMatchesStandardProcedure) {
    std::mt19937 rng(zemtest::seed());
    std::vector<int32_t> v(512, 0);
    int32_t pos = 0;
    zemtest::mp3model::Synthesis model;
    long off = 0, total = 0;
    for (int slot = 0; slot < 200; ++slot) {
        int32_t s[32];
        for (int32_t& x : s)
            x = slot < 150 ? int32_t(rng() % 8000001) - 4000000 : 0;
        s[0] = slot == 100 ? (1 << 24) : s[0];
        int16_t pcm[64];
        ASSERT_EQ(zemsSynthPQMF_MP3_32s16s(s, pcm, v.data(), &pos, 2), zemStatusOk);
        double in[32], out[32];
        for (int k = 0; k < 32; ++k)
            in[k] = s[k] / 16777216.0;
        model.polyphase(in, out);
        for (int j = 0; j < 32; ++j) {
            const double want = std::clamp(out[j] * 32768.0, -32768.0, 32767.0);
            ASSERT_NEAR(pcm[2 * j], want, 1.0) << "slot " << slot << " sample " << j;
            off += pcm[2 * j] != zemtest::mp3model::to_pcm(out[j]);
            ++total;
        }
    }
    EXPECT_LT(off, total / 2);
}

// What `call` writes with the scalar kernel set and with each SIMD set on the same inputs, which
// must be the same.
template <class Kernels, class Call>
void expect_same(const Kernels& scalar, const std::vector<Kernels>& simd, Call call) {
    const auto want = call(scalar);
    for (std::size_t k = 0; k < simd.size(); ++k)
        ASSERT_EQ(call(simd[k]), want) << "kernel " << k;
}

// The SSE2 and AVX2 polyphase kernels against the scalar ones on random values at every shift,
// and extremes: the windowing at every position; the conversion of windowed sums to samples
// (rounding, wrapping at the top, saturation at both ends) at both strides and every alignment,
// the samples between the strided ones untouched; the matrixing up to full scale (saturating
// outputs) at every alignment of its input and output.
TEST(Mp3SynthesisKernels, PolyphaseSimdMatchesScalar) {
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::mp3::kPolyphaseSse2, zem::mp3::kPolyphaseAvx2);
    std::mt19937 rng(zemtest::seed());
    constexpr int32_t kWindowEdges[5] = {INT32_MIN, INT32_MAX, -1, 0, 1};
    constexpr int32_t kPcmEdges[8] = {
        INT32_MIN, INT32_MAX, INT32_MAX - 63, -4194368, 4194239, 4194240, -64, 63};
    for (int trial = 0; trial < 80; ++trial) {
        SCOPED_TRACE(trial);
        const int offset = trial % 8, stride = 1 + trial / 8 % 2,
                  shift = trial < 16 ? 0 : trial % 24;
        std::vector<int32_t> v(512), sum(32), s(40);
        for (int32_t& x : v)
            x = trial < 64 ? int32_t(rng()) >> shift : kWindowEdges[rng() % 5];
        for (int32_t& x : sum)
            x = trial < 64 ? int32_t(rng()) >> shift : kPcmEdges[rng() % 8];
        for (int32_t& x : s)
            x = int32_t(rng()) >> shift;
        std::vector<int16_t> pcm(64 + 8);
        for (int16_t& x : pcm)
            x = int16_t(rng());
        ASSERT_NO_FATAL_FAILURE(expect_same(zem::mp3::kPolyphaseScalar, simd, [&](const auto& k) {
            std::vector<int32_t> out(32);
            k.window(v.data(), trial % 16, out.data());
            return out;
        }));
        ASSERT_NO_FATAL_FAILURE(expect_same(zem::mp3::kPolyphaseScalar, simd, [&](const auto& k) {
            std::vector<int16_t> out = pcm;
            k.pcm(sum.data(), out.data() + offset, stride);
            return out;
        }));
        ASSERT_NO_FATAL_FAILURE(expect_same(zem::mp3::kPolyphaseScalar, simd, [&](const auto& k) {
            std::vector<int32_t> out(40, 0x5A5A5A5A);
            k.dct32(s.data() + offset, out.data() + offset);
            return out;
        }));
    }
}

// The SSE2 and AVX2 requantisation of a run against the scalar one: every exponent class
// (saturating, shifted out, the usual), lengths with odd tails, magnitudes below 16 and up to and
// past the table's end (where all stop at the same value, having written the same ones before
// it), at every alignment.
TEST(Mp3SynthesisKernels, RequantiseRunSimdMatchesScalar) {
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::mp3::kRequantiseSse2, zem::mp3::kRequantiseAvx2);
    std::mt19937 rng(zemtest::seed());
    for (int trial = 0; trial < 800; ++trial) {
        const int count = 1 + int(rng() % 41), offset = trial % 8;
        const int e = int(rng() % 360) - 45; // global gain 255 at the least
        std::vector<int32_t> src(std::size_t(offset + count) + 3);
        for (int32_t& x : src)
            x = trial % 4 == 0   ? int32_t(rng() % 16401) - 8200
                : trial % 4 == 1 ? int32_t(rng() % 63) - 31
                                 : int32_t(rng() % 31) - 15;
        if (trial % 16 == 1)
            src[std::size_t(offset) + rng() % std::size_t(count)] = (rng() & 1) ? 8207 : INT32_MIN;
        std::vector<int32_t> want(src.size(), 0x5A5A5A5A);
        const bool ok =
            zem::mp3::kRequantiseScalar.run(src.data() + offset, want.data() + offset, count, e);
        for (std::size_t k = 0; k < simd.size(); ++k) {
            std::vector<int32_t> got(src.size(), 0x5A5A5A5A);
            ASSERT_EQ(simd[k].run(src.data() + offset, got.data() + offset, count, e), ok)
                << "trial " << trial << " kernel " << k;
            ASSERT_EQ(got, want) << "trial " << trial << " kernel " << k << " e " << e;
            std::vector<int32_t> inPlace = src; // the long-block calls work in place
            simd[k].run(inPlace.data() + offset, inPlace.data() + offset, count, e);
            if (ok) {
                ASSERT_TRUE(std::equal(inPlace.begin() + offset, inPlace.begin() + offset + count,
                                       want.begin() + offset));
            }
        }
    }
}

// The SSE2 and AVX2 hybrid kernels against the scalar ones, for every block type, on random
// values at every shift (wrapping sums, saturating transforms) and on a lone full-scale line with
// a silent partner: the alias reduction at every sub-band boundary, lines around it untouched;
// the two-sub-band transform; the overlap-add of a pair, the sub-band samples between its columns
// untouched; the four-sub-band transform with overlap-add at every alignment of lines, overlap
// and output, the output columns of other sub-bands untouched.
TEST(Mp3SynthesisKernels, HybridSimdMatchesScalar) {
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::mp3::kHybridSse2, zem::mp3::kHybridAvx2);
    std::mt19937 rng(zemtest::seed());
    for (int trial = 0; trial < 96; ++trial) {
        SCOPED_TRACE(trial);
        const int type = trial % 4, offset = trial / 4 % 8, shift = trial < 16 ? 0 : trial % 24;
        const bool spike = trial >= 80; // in sub-band trial / 4 % 4 of the four
        std::vector<int32_t> lines(576), x(72 + 8), ov(72 + 8), out(576 + 8);
        for (int32_t& v : lines)
            v = int32_t(rng()) >> shift;
        for (int32_t& v : x)
            v = spike ? 0 : int32_t(rng()) >> shift;
        if (spike)
            x[std::size_t(offset + trial / 4 % 4 * 18) + rng() % 18] = 1 << 26;
        for (int32_t& v : ov)
            v = int32_t(rng()) >> (trial % 3 == 0 ? 0 : 8);
        for (int32_t& v : out)
            v = int32_t(rng());
        const auto& scalar = zem::mp3::kHybridScalar;
        ASSERT_NO_FATAL_FAILURE(expect_same(scalar, simd, [&](const auto& k) {
            std::vector<int32_t> got = lines;
            k.alias_reduce(got.data(), 18 * (1 + trial % 31));
            return got;
        }));
        ASSERT_NO_FATAL_FAILURE(expect_same(scalar, simd, [&](const auto& k) {
            std::vector<int32_t> z(72);
            k.imdct_pair(x.data() + offset, x.data() + offset + 18, z.data(), type);
            return z;
        }));
        ASSERT_NO_FATAL_FAILURE(expect_same(scalar, simd, [&](const auto& k) {
            std::vector<int32_t> ovGot(ov.begin(), ov.begin() + 36), outGot = out;
            k.overlap_pair(x.data(), ovGot.data(), outGot.data() + 5);
            outGot.insert(outGot.end(), ovGot.begin(), ovGot.end());
            return outGot;
        }));
        ASSERT_NO_FATAL_FAILURE(expect_same(scalar, simd, [&](const auto& k) {
            std::vector<int32_t> ovGot = ov, outGot = out;
            k.quad(x.data() + offset, ovGot.data() + offset, outGot.data() + offset, type);
            outGot.insert(outGot.end(), ovGot.begin(), ovGot.end());
            return outGot;
        }));
    }
}

} // namespace
