// The fixed-point AAC filter bank against double-precision MDCT/IMDCT, its window and
// overlap behaviour, and its argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "aac/filterbank_tables.hpp"
#include "aac/mdct_core.hpp"
#include "aac/overlap_kernels.hpp"
#include "support/mdct_model.hpp"
#include "support/seed.hpp"
#include "support/simd_kernels.hpp"
#include "zemac.h"

namespace {

using zem::aac::imdct_sample;

std::vector<int32_t> random_ints(std::mt19937& rng, std::size_t n, int32_t amplitude) {
    std::uniform_int_distribution<int32_t> d(-amplitude, amplitude);
    std::vector<int32_t> v(n);
    for (auto& x : v)
        x = d(rng);
    return v;
}

TEST(AacFilterbankTables, WindowsAndTwiddlesMatchTheirFormulas) {
    using namespace zem::aac;
    // KBD values at the window ends (alpha 4 long, 6 short) anchor the compile-time Bessel code.
    EXPECT_EQ(kKbdLong.w[0], 628271);
    EXPECT_EQ(kKbdLong.w[1], 923387);
    EXPECT_EQ(kKbdLong.w[2], 1174117);
    EXPECT_EQ(kKbdLong.w[1023], 2147483556);
    EXPECT_EQ(kKbdShort.w[0], 94051);
    EXPECT_EQ(kKbdShort.w[1], 254850);
    EXPECT_EQ(kKbdShort.w[2], 495460);
    // Every sine window and twiddle value equals the rounded libm value.
    for (int n = 0; n < 1024; ++n)
        ASSERT_EQ(kSineLong.w[n], std::llround(std::ldexp(std::sin(M_PI * (n + 0.5) / 2048), 31)))
            << n;
    for (int n = 0; n < 128; ++n)
        ASSERT_EQ(kSineShort.w[n], std::llround(std::ldexp(std::sin(M_PI * (n + 0.5) / 256), 31)))
            << n;
    for (int m = 0; m < 512; ++m) {
        const double a = 2 * M_PI * (m + 0.125) / 2048;
        ASSERT_EQ(kTwiddlesLong.cs[2 * m], std::llround(std::ldexp(std::cos(a), 30))) << m;
        ASSERT_EQ(kTwiddlesLong.cs[2 * m + 1], std::llround(std::ldexp(std::sin(a), 30))) << m;
    }
    // Princen-Bradley: w[n]^2 + w[N-1-n]^2 = 1 for the KBD windows.
    for (int n = 0; n < 1024; ++n) {
        const double a = std::ldexp(kKbdLong.w[n], -31), b = std::ldexp(kKbdLong.w[1023 - n], -31);
        ASSERT_NEAR(a * a + b * b, 1.0, 4e-9) << n;
    }
}

// Largest deviation from the reference, in output units.
double max_abs_error(const std::vector<double>& ref, const std::vector<double>& got) {
    double worst = 0;
    for (std::size_t i = 0; i < ref.size(); ++i)
        worst = std::max(worst, std::fabs(ref[i] - got[i]));
    return worst;
}

double peak(const std::vector<double>& v) {
    double p = 0;
    for (double x : v)
        p = std::max(p, std::fabs(x));
    return p;
}

// The cores against the definitions, on random spectra of several magnitudes. The normalised
// cores stay within two units of their output plus a relative error from the Q30 twiddles; the
// plain ones carry the truncations of every FFT stage at full scale, which grow like sqrt(N).
TEST(AacFilterbankCore, InverseAndForwardMatchDoublePrecision) {
    std::mt19937 rng(zemtest::seed());
    for (int N : {128, 1024}) {
        for (int32_t amplitude : {1000, 1 << 20, 1 << 28}) {
            const std::vector<int32_t> spec = random_ints(rng, std::size_t(N), amplitude);
            const std::vector<double> y =
                zemtest::imdct(std::vector<double>(spec.begin(), spec.end()));

            std::vector<int32_t> X = spec;
            zem::aac::aac_imdct_norm_32s(X.data(), N);
            std::vector<double> got(std::size_t(2 * N));
            for (int n = 0; n < 2 * N; ++n)
                got[std::size_t(n)] = imdct_sample(X.data(), N, n);
            EXPECT_LT(max_abs_error(y, got), 2.0 + 1e-5 * peak(y))
                << "normalised inverse N " << N << " amplitude " << amplitude;

            if (amplitude <= (1 << 20)) { // the plain core has no headroom control
                X = spec;
                zem::aac::aac_imdct_32s(X.data(), N);
                for (int n = 0; n < 2 * N; ++n)
                    got[std::size_t(n)] = imdct_sample(X.data(), N, n);
                std::vector<double> yPlain = y;
                for (double& v : yPlain)
                    v *= N / 16.0;
                EXPECT_LT(max_abs_error(yPlain, got), 3.0 * std::sqrt(N) + 1e-5 * peak(yPlain))
                    << "plain inverse N " << N;
            }
        }
        const std::vector<int32_t> time = random_ints(rng, std::size_t(2 * N), 1 << 16);
        const std::vector<double> ref =
            zemtest::mdct(std::vector<double>(time.begin(), time.end()));
        std::vector<int32_t> x = time;
        zem::aac::aac_mdct_32s(x.data(), N);
        EXPECT_LT(max_abs_error(ref, std::vector<double>(x.begin(), x.begin() + N)),
                  6.0 * std::sqrt(N) + 1e-5 * peak(ref))
            << "forward N " << N;
        x = time;
        zem::aac::aac_mdct_norm_32s(x.data(), N);
        std::vector<double> refNorm = ref;
        for (double& v : refNorm)
            v /= 2.0 * N;
        EXPECT_LT(max_abs_error(refNorm, std::vector<double>(x.begin(), x.begin() + N)),
                  2.0 + 1e-5 * peak(refNorm))
            << "normalised forward N " << N;
    }
}

struct Frame {
    int sequence, shape;
};

// A stream of frames through the encoder's forward MDCT and the 16-bit inverse. Frame f spans
// input samples [1024 f, 1024 f + 2048) and completes output samples [1024 f, 1024 f + 1024),
// which reproduce the input at one eighth of its scale.
std::vector<int16_t> round_trip(const std::vector<int32_t>& input,
                                const std::vector<Frame>& frames) {
    std::vector<int16_t> out(input.size(), 0);
    std::vector<int32_t> overlap(1024, 0), spec(1024), work(2048), reserved(1);
    int prevShape = 0;
    for (std::size_t f = 0; f + 1 < frames.size() + 1 && (f + 2) * 1024 <= input.size(); ++f) {
        const Frame fr = frames[f];
        const int32_t* src = input.data() + f * 1024;
        if (fr.sequence == 2) {
            for (int w = 0; w < 8; ++w)
                EXPECT_EQ(zemsMDCTFwd_AAC_32s(src + 448 + 128 * w, spec.data() + 128 * w,
                                              reserved.data(), 2, fr.shape,
                                              w == 0 ? prevShape : fr.shape, work.data()),
                          zemStatusOk);
        } else {
            EXPECT_EQ(zemsMDCTFwd_AAC_32s(src, spec.data(), reserved.data(), fr.sequence, fr.shape,
                                          prevShape, work.data()),
                      zemStatusOk);
        }
        EXPECT_EQ(zemsMDCTInv_AAC_32s16s(spec.data(), out.data() + f * 1024, overlap.data(),
                                         fr.sequence, fr.shape, prevShape, 1),
                  zemStatusOk);
        prevShape = fr.shape;
    }
    return out;
}

TEST(AacFilterbank, ForwardThenInverseReconstructsEveryTransition) {
    std::mt19937 rng(zemtest::seed());
    const std::vector<std::vector<Frame>> sequences = {
        {{0, 0}, {0, 0}, {0, 1}, {0, 1}, {0, 0}, {0, 0}},
        {{0, 0}, {1, 1}, {2, 1}, {2, 0}, {3, 0}, {0, 1}},
        {{0, 1}, {1, 0}, {3, 1}, {1, 1}, {2, 1}, {3, 0}},
    };
    for (const auto& frames : sequences) {
        std::vector<int32_t> input((frames.size() + 1) * 1024);
        for (std::size_t i = 0; i < input.size(); ++i)
            input[i] = int32_t(120000 * std::sin(0.013 * double(i)) +
                               std::uniform_int_distribution<int>(-40000, 40000)(rng));
        const std::vector<int16_t> out = round_trip(input, frames);
        double err2 = 0;
        int worst = 0;
        for (std::size_t n = 1024; n + 1024 < out.size(); ++n) {
            const double expect = input[n] / 8.0;
            err2 += (out[n] - expect) * (out[n] - expect);
            worst = std::max(worst, int(std::lround(std::fabs(out[n] - expect))));
        }
        EXPECT_LE(worst, 2);
        EXPECT_LT(std::sqrt(err2 / double(out.size() - 2048)), 0.6);
    }
}

TEST(AacFilterbank, OutputRulesOfTheSixteenBitPath) {
    std::vector<int32_t> spec(1024, 0), overlap(1024, 0);
    std::vector<int16_t> out(2048, 77);
    ASSERT_EQ(zemsMDCTInv_AAC_32s16s(spec.data(), out.data(), overlap.data(), 0, 0, 0, 2),
              zemStatusOk);
    for (int n = 0; n < 2048; ++n)
        ASSERT_EQ(out[std::size_t(n)], n % 2 ? 77 : 0)
            << "dstStep 2 writes the even positions only";

    // A loud spectrum saturates, and start and eight-short frames leave overlap[576..] at zero.
    for (int seq : {1, 2}) {
        std::fill(spec.begin(), spec.end(), 0);
        spec[10] = 1 << 30;
        spec[11] = -(1 << 30);
        std::fill(overlap.begin(), overlap.end(), 1 << 20);
        ASSERT_EQ(zemsMDCTInv_AAC_32s16s(spec.data(), out.data(), overlap.data(), seq, 1, 0, 1),
                  zemStatusOk);
        EXPECT_TRUE(std::count(out.begin(), out.begin() + 1024, int16_t(32767)) > 0 ||
                    std::count(out.begin(), out.begin() + 1024, int16_t(-32768)) > 0);
        for (int n = 576; n < 1024; ++n)
            ASSERT_EQ(overlap[std::size_t(n)], 0) << "sequence " << seq << " n " << n;
    }
}

// The 32-bit in-place inverse computes what the 16-bit one does, at its own scale: the same
// windowed overlap-add with hi() products and the plain cores (N/16 of the normalised ones).
TEST(AacFilterbank, InPlaceInverseMatchesTheSixteenBitPathScale) {
    std::mt19937 rng(zemtest::seed());
    for (int seq = 0; seq < 4; ++seq) {
        const std::vector<int32_t> spec = random_ints(rng, 1024, 1 << 14);
        std::vector<int32_t> a = spec, ovA(1024, 0), b = spec, ovB(1024, 0);
        std::vector<int16_t> pcm(1024);
        ASSERT_EQ(zemsMDCTInv_AAC_32s_I(a.data(), ovA.data(), seq, 1, 0, 1024), zemStatusOk);
        ASSERT_EQ(zemsMDCTInv_AAC_32s16s(b.data(), pcm.data(), ovB.data(), seq, 1, 0, 1),
                  zemStatusOk);
        const double scale =
            seq == 2 ? 128.0 / 16 / 2 : 1024.0 / 16 / 2; // plain core, hi() products
        for (int n = 0; n < 1024; ++n) {
            ASSERT_NEAR(a[std::size_t(n)] / scale, pcm[std::size_t(n)] * 8.0,
                        8.0 + 1e-3 * std::fabs(pcm[std::size_t(n)] * 8.0))
                << "sequence " << seq << " n " << n;
            ASSERT_NEAR(ovA[std::size_t(n)] / scale, ovB[std::size_t(n)],
                        8.0 + 1e-3 * std::fabs(ovB[std::size_t(n)]))
                << "overlap, sequence " << seq << " n " << n;
        }
    }
}

TEST(AacDeinterleave, GroupsBandsIntoWindowOrder) {
    // 44.1 kHz short bands: 0 4 8 12 16 20 28 36 44 56 68 80 96 112 128.
    const int32_t groups[3] = {3, 1, 4};
    std::vector<int32_t> src(1024), dst(1024, -1);
    for (int i = 0; i < 1024; ++i)
        src[std::size_t(i)] = i;
    ASSERT_EQ(zemsDeinterleaveSpectrum_AAC_32s(src.data(), dst.data(), 3, groups, 2, 4, 128),
              zemStatusOk);
    // Group 0 (windows 0..2): band 0 holds src 0..3 (w0), 4..7 (w1), 8..11 (w2); band 1 follows.
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(dst[128 + 3], 7);
    EXPECT_EQ(dst[256 + 0], 8);
    EXPECT_EQ(dst[4], 12);
    EXPECT_EQ(dst[256 + 7], 23);
    EXPECT_EQ(dst[8], 0) << "above offset[maxSfb] every window is zero-filled";
    // Group 1 starts at source window 3 whatever group 0 consumed.
    EXPECT_EQ(dst[384], 384);
    EXPECT_EQ(dst[384 + 7], 391);
    EXPECT_EQ(dst[512 + 4 * 0], 512);
    EXPECT_EQ(dst[1023], 0);

    std::fill(dst.begin(), dst.end(), -1);
    const int32_t eight[1] = {8};
    ASSERT_EQ(zemsDeinterleaveSpectrum_AAC_32s(src.data(), dst.data(), 1, eight, 0, 0, 128),
              zemStatusOk);
    EXPECT_TRUE(std::all_of(dst.begin(), dst.end(), [](int32_t v) { return v == 0; }));
}

} // namespace

// The SSE2 and AVX2 overlap-add of only-long frames against the scalar reference: identical
// samples and overlap on random inputs with full-scale values, at every alignment of the buffers
// and both output strides, nothing written outside the output samples.
TEST(AacFilterBankKernels, OnlyLongSimdMatchesScalar) {
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::aac::kOverlapSse2, zem::aac::kOverlapAvx2);
    std::mt19937 rng(zemtest::seed());
    auto any = [&] { return int32_t(rng()); };
    for (int trial = 0; trial < 16; ++trial) {
        const int offset = trial % 4, step = 1 + trial / 8;
        std::vector<int32_t> X(1024 + 8), rise(1024 + 8), fall(1024 + 8), ov(1024 + 8);
        for (int i = 0; i < 1024 + 8; ++i) {
            X[std::size_t(i)] = trial % 8 < 4 ? any() : any() >> 8;
            rise[std::size_t(i)] = int32_t(rng() >> 1);
            fall[std::size_t(i)] = int32_t(rng() >> 1);
            ov[std::size_t(i)] = any();
        }
        std::vector<int32_t> ovScalar = ov;
        std::vector<int16_t> pcmScalar(2048 + 16, 0x5A5A);
        const std::size_t o = std::size_t(offset);
        zem::aac::kOverlapScalar.only_long(X.data() + o, ovScalar.data() + o, rise.data() + o,
                                           fall.data() + o, pcmScalar.data() + 8 + o, step);
        for (std::size_t k = 0; k < simd.size(); ++k) {
            std::vector<int32_t> ovSimd = ov;
            std::vector<int16_t> pcmSimd(2048 + 16, 0x5A5A);
            simd[k].only_long(X.data() + o, ovSimd.data() + o, rise.data() + o, fall.data() + o,
                              pcmSimd.data() + 8 + o, step);
            ASSERT_EQ(pcmScalar, pcmSimd) << "trial " << trial << " kernel " << k;
            ASSERT_EQ(ovScalar, ovSimd) << "trial " << trial << " kernel " << k;
        }
        // The 32-bit flavour, with canaries around its output.
        std::vector<int32_t> ov32Scalar = ov, outScalar(1024 + 16, 0x5A5A5A5A);
        zem::aac::kOverlapScalar.only_long_32(X.data() + o, ov32Scalar.data() + o, rise.data() + o,
                                              fall.data() + o, outScalar.data() + 8 + o);
        for (std::size_t k = 0; k < simd.size(); ++k) {
            std::vector<int32_t> ov32 = ov, out(1024 + 16, 0x5A5A5A5A);
            simd[k].only_long_32(X.data() + o, ov32.data() + o, rise.data() + o, fall.data() + o,
                                 out.data() + 8 + o);
            ASSERT_EQ(outScalar, out) << "trial " << trial << " kernel " << k;
            ASSERT_EQ(ov32Scalar, ov32) << "trial " << trial << " kernel " << k;
        }
        // The LTP history update, over a full-range history so that its sums saturate.
        std::vector<int32_t> headScalar = ov, tailScalar(1024 + 16, 0x5A5A5A5A);
        zem::aac::kOverlapScalar.ltp_long(X.data() + o, rise.data() + o, fall.data() + o,
                                          headScalar.data() + o, tailScalar.data() + 8 + o);
        for (std::size_t k = 0; k < simd.size(); ++k) {
            std::vector<int32_t> head = ov, tail(1024 + 16, 0x5A5A5A5A);
            simd[k].ltp_long(X.data() + o, rise.data() + o, fall.data() + o, head.data() + o,
                             tail.data() + 8 + o);
            ASSERT_EQ(headScalar, head) << "trial " << trial << " kernel " << k;
            ASSERT_EQ(tailScalar, tail) << "trial " << trial << " kernel " << k;
        }
        // The forward windowing, plain and doubled, over 2048 samples.
        std::vector<int32_t> src(2048 + 8);
        for (auto& v : src)
            v = any();
        for (const bool doubled : {false, true}) {
            std::vector<int32_t> xScalar(2048 + 16, 0x5A5A5A5A);
            zem::aac::kOverlapScalar.window_only_long(xScalar.data() + 8, src.data() + o,
                                                      rise.data() + o, fall.data() + o, doubled);
            for (std::size_t k = 0; k < simd.size(); ++k) {
                std::vector<int32_t> x(2048 + 16, 0x5A5A5A5A);
                simd[k].window_only_long(x.data() + 8, src.data() + o, rise.data() + o,
                                         fall.data() + o, doubled);
                ASSERT_EQ(xScalar, x) << "trial " << trial << " kernel " << k;
            }
        }
    }
}

// The SSE2 and AVX2 inverse and forward cores against the scalar ones, bit for bit: inputs of
// every scale from silence to full-scale values (whose sums wrap), so that the normalising shift
// takes each of its values.
TEST(AacFilterBankKernels, CoresMatchScalar) {
    std::vector<zem::aac::InverseCores> inverse{zem::aac::kInverseCoresSse2};
    std::vector<zem::aac::ForwardCores> forward{zem::aac::kForwardCoresSse2};
#if defined(__x86_64__)
    if (zem::cpu_has_avx2()) {
        inverse.push_back(zem::aac::kInverseCoresAvx2);
        forward.push_back(zem::aac::kForwardCoresAvx2);
    }
#endif
    std::mt19937 rng(zemtest::seed());
    for (const int N : {1024, 128})
        for (int bits = 0; bits <= 32; bits += 2) {
            std::vector<int32_t> X(static_cast<std::size_t>(N));
            for (int32_t& v : X)
                v = bits == 0 ? 0 : int32_t(rng()) >> (32 - bits);
            for (const bool norm : {true, false}) {
                std::vector<int32_t> scalar = X;
                (norm ? zem::aac::kInverseCoresScalar.norm
                      : zem::aac::kInverseCoresScalar.plain)(scalar.data(), N);
                for (std::size_t k = 0; k < inverse.size(); ++k) {
                    std::vector<int32_t> simd = X;
                    (norm ? inverse[k].norm : inverse[k].plain)(simd.data(), N);
                    ASSERT_EQ(scalar, simd)
                        << "N " << N << " bits " << bits << " norm " << norm << " kernel " << k;
                }
            }
            // The plain forward core on 2N samples of the same scale.
            std::vector<int32_t> x(2 * static_cast<std::size_t>(N));
            for (int32_t& v : x)
                v = bits == 0 ? 0 : int32_t(rng()) >> (32 - bits);
            std::vector<int32_t> scalar = x;
            zem::aac::kForwardCoresScalar.plain(scalar.data(), N);
            scalar.resize(std::size_t(N));
            for (std::size_t k = 0; k < forward.size(); ++k) {
                std::vector<int32_t> simd = x;
                forward[k].plain(simd.data(), N);
                simd.resize(std::size_t(N));
                ASSERT_EQ(scalar, simd)
                    << "forward, N " << N << " bits " << bits << " kernel " << k;
            }
        }
}
