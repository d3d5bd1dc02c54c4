// The fixed-point SBR QMF banks against the double-precision sums scaled as the banks document
// (within 16 units: the worst error of each bank over noise and sines at the input limits),
// their records' lifecycle, band limits, a 64-band state driven by the 32-band function, and
// the round trip through analysis and synthesis against the floating-point banks'.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <vector>

#include "sbr/qmf_fixed.hpp"
#include "support/sbr_qmf_model.hpp"
#include "support/seed.hpp"
#include "support/simd_kernels.hpp"
#include "zemac.h"
#include "zemcore_testing.h"

namespace {

using cplx = std::complex<double>;

template <class Spec> struct Block {
    std::vector<uint8_t> mem;
    Spec* spec;
    Block(ZemStatus (*getSize)(int32_t*), ZemStatus (*init)(uint8_t*), int32_t wantSize) {
        int32_t size = 0;
        EXPECT_EQ(getSize(&size), zemStatusOk);
        EXPECT_EQ(size, wantSize);
        mem.resize(std::size_t(size) + 5);
        EXPECT_EQ(init(mem.data() + 5), zemStatusOk); // an odd start
        spec = reinterpret_cast<Spec*>(mem.data() + 5);
    }
};

using Analysis = Block<ZemSbrAnalysisSpec_32s>;
using Synthesis = Block<ZemSbrSynthesisSpec_32s>;
using Down = Block<ZemSbrSynthesisDownSpec_32s>;

Analysis analysis(bool hq) {
    return Analysis(zemsAnalysisFilterGetSize_SBRHQ_32s32sc,
                    hq ? zemsAnalysisFilterInit_SBRHQ_32s32sc : zemsAnalysisFilterInit_SBRLP_32s,
                    1327);
}

std::vector<int32_t> signal(int n, double amplitude, bool sine, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(-1.0, 1.0);
    std::vector<int32_t> x(n);
    for (int i = 0; i < n; ++i)
        x[i] = int32_t(amplitude * (sine ? std::sin(2 * 3.14159265358979 * 5.5 / 64 * i) : d(rng)));
    return x;
}

TEST(SbrFixedBanks, AnalysisWithin16Units) {
    for (bool hq : {true, false})
        for (bool sine : {false, true}) {
            Analysis a = analysis(hq);
            zemtest::QmfAnalysisModel model(zemtest::qmf_window_even());
            const std::vector<int32_t> x = signal(32 * 40, 1073741823.0, sine, zemtest::seed());
            int worst = 0;
            for (int l = 0; l < 40; ++l) {
                Zem32sc c[32];
                int32_t r[32];
                ASSERT_EQ(hq ? zemsAnalysisFilter_SBRHQ_32s32sc(&x[32 * l], c, 32, a.spec)
                             : zemsAnalysisFilter_SBRLP_32s(&x[32 * l], r, 32, a.spec),
                          zemStatusOk);
                double src[32], real[32];
                cplx X[32];
                for (int j = 0; j < 32; ++j)
                    src[j] = x[32 * l + j];
                model.slot(src, X, real);
                for (int k = 0; k < 32; ++k) {
                    const double e = hq ? std::max(std::abs(c[k].re - X[k].real() / 128),
                                                   std::abs(c[k].im - X[k].imag() / 128))
                                        : std::abs(r[k] - real[k] / 128);
                    worst = std::max(worst, int(std::ceil(e)));
                }
            }
            EXPECT_LE(worst, 16) << (hq ? "HQ" : "LP") << (sine ? " sine" : " noise");
        }
}

// HQ/LP x 64/32 bands: rows below 2^26, against V = 4 v of the model (scale 1/64).
TEST(SbrFixedBanks, SynthesisWithin16Units) {
    for (int bands : {64, 32})
        for (bool hq : {true, false}) {
            Synthesis full(zemsSynthesisFilterGetSize_SBRHQ_32sc32s,
                           hq ? zemsSynthesisFilterInit_SBRHQ_32sc32s
                              : zemsSynthesisFilterInit_SBRLP_32s,
                           5167);
            Down down(zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s,
                      hq ? zemsSynthesisDownFilterInit_SBRHQ_32sc32s
                         : zemsSynthesisDownFilterInit_SBRLP_32s,
                      2607);
            zemtest::QmfSynthesisModel model(bands, bands == 64 ? zemtest::qmf_window()
                                                                : zemtest::qmf_window_even());
            const std::vector<int32_t> x =
                signal(2 * bands * 30, 67108863.0, false, zemtest::seed() + unsigned(bands));
            int worst = 0;
            for (int l = 0; l < 30; ++l) {
                const int32_t* row = &x[2 * bands * l];
                int32_t y[64];
                double want[64];
                if (hq) {
                    std::vector<Zem32sc> in(bands);
                    std::vector<cplx> X(bands);
                    for (int k = 0; k < bands; ++k) {
                        in[k] = {row[2 * k], row[2 * k + 1]};
                        X[k] = cplx(row[2 * k], row[2 * k + 1]);
                    }
                    ASSERT_EQ(bands == 64
                                  ? zemsSynthesisFilter_SBRHQ_32sc32s(in.data(), y, full.spec)
                                  : zemsSynthesisDownFilter_SBRHQ_32sc32s(in.data(), y, down.spec),
                              zemStatusOk);
                    model.slot_complex(X.data(), want, 1.0 / 64);
                } else {
                    ASSERT_EQ(bands == 64 ? zemsSynthesisFilter_SBRLP_32s(row, y, full.spec)
                                          : zemsSynthesisDownFilter_SBRLP_32s(row, y, down.spec),
                              zemStatusOk);
                    const std::vector<double> X(row, row + bands);
                    model.slot_real(X.data(), want, 1.0 / 64);
                }
                for (int n = 0; n < bands; ++n)
                    worst = std::max(worst, int(std::ceil(std::abs(y[n] - want[n]))));
            }
            EXPECT_LE(worst, 16) << bands << (hq ? " HQ" : " LP");
        }
}

TEST(SbrFixedBanks, BandLimitSilenceAndForeignRecords) {
    Analysis a = analysis(true), b = analysis(true);
    const std::vector<int32_t> x = signal(32, 1e8, false, 3);
    Zem32sc full[32], cut[32];
    ASSERT_EQ(zemsAnalysisFilter_SBRHQ_32s32sc(x.data(), full, 32, a.spec), zemStatusOk);
    ASSERT_EQ(zemsAnalysisFilter_SBRHQ_32s32sc(x.data(), cut, 10, b.spec), zemStatusOk);
    for (int k = 0; k < 32; ++k) {
        EXPECT_EQ(cut[k].re, k < 10 ? full[k].re : 0);
        EXPECT_EQ(cut[k].im, k < 10 ? full[k].im : 0);
    }
    EXPECT_EQ(zemsAnalysisFilter_SBRHQ_32s32sc(x.data(), cut, 33, b.spec), zemStatusBadSize);
    EXPECT_EQ(zemsAnalysisFilter_SBRLP_32s(x.data(), &cut[0].re, 32,
                                           reinterpret_cast<ZemSbrAnalysisSpec_32s*>(b.spec)),
              zemStatusContextMismatch);
    // Silence in, silence out, for every bank.
    Synthesis s(zemsSynthesisFilterGetSize_SBRLP_32s, zemsSynthesisFilterInit_SBRLP_32s, 5167);
    const std::vector<int32_t> zero(64, 0);
    int32_t y[64];
    ASSERT_EQ(zemsSynthesisFilter_SBRLP_32s(zero.data(), y, s.spec), zemStatusOk);
    EXPECT_EQ(std::vector<int32_t>(y, y + 64), zero);
    // A 32-band state is foreign to the 64-band function; the reverse is allowed.
    Down d(zemsSynthesisDownFilterGetSize_SBRLP_32s, zemsSynthesisDownFilterInit_SBRLP_32s, 2607);
    EXPECT_EQ(zemsSynthesisFilter_SBRLP_32s(zero.data(), y,
                                            reinterpret_cast<ZemSbrSynthesisSpec_32s*>(d.spec)),
              zemStatusContextMismatch);
    EXPECT_EQ(zemsSynthesisDownFilterFree_SBRLP_32s(
                  reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(s.spec)),
              zemStatusContextMismatch);
    EXPECT_EQ(zemsSynthesisFilterFree_SBRLP_32s(s.spec), zemStatusOk); // caller's memory
}

// Driven only by the 32-band function, a 64-band state gives what a 32-band state gives; mixed
// calls stay inside its line (the sanitizers watch).
TEST(SbrFixedBanks, SixtyFourBandStateDrivenByTheThirtyTwoBandFunction) {
    Synthesis s(zemsSynthesisFilterGetSize_SBRHQ_32sc32s, zemsSynthesisFilterInit_SBRHQ_32sc32s,
                5167);
    Down d(zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s, zemsSynthesisDownFilterInit_SBRHQ_32sc32s,
           2607);
    const std::vector<int32_t> x = signal(64 * 24, 1e7, false, 9);
    auto* asDown = reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(s.spec);
    for (int l = 0; l < 12; ++l) {
        int32_t a[32], b[32];
        const auto* row = reinterpret_cast<const Zem32sc*>(&x[64 * l]);
        ASSERT_EQ(zemsSynthesisDownFilter_SBRHQ_32sc32s(row, a, asDown), zemStatusOk);
        ASSERT_EQ(zemsSynthesisDownFilter_SBRHQ_32sc32s(row, b, d.spec), zemStatusOk);
        EXPECT_EQ(0, std::memcmp(a, b, sizeof a)) << l;
    }
    for (int l = 0; l < 24; ++l) {
        int32_t y[64];
        const auto* row = reinterpret_cast<const Zem32sc*>(&x[64 * (l % 12)]);
        if (l % 3 == 0)
            ASSERT_EQ(zemsSynthesisDownFilter_SBRHQ_32sc32s(row, y, asDown), zemStatusOk);
        else
            ASSERT_EQ(zemsSynthesisFilter_SBRHQ_32sc32s(row, y, s.spec), zemStatusOk);
    }
}

TEST(SbrFixedBanks, InitAllocFailsCleanly) {
    const long before = zemcoreOutstandingBlocks();
    ZemSbrAnalysisSpec_32s* a = nullptr;
    zemcoreFailAllocation(1);
    EXPECT_EQ(zemsAnalysisFilterInitAlloc_SBRLP_32s(&a), zemStatusNoMemory);
    zemcoreFailAllocation(0);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);
    ASSERT_EQ(zemsAnalysisFilterInitAlloc_SBRLP_32s(&a), zemStatusOk);
    EXPECT_EQ(zemsAnalysisFilterFree_SBRHQ_32s32sc(a), zemStatusContextMismatch);
    EXPECT_EQ(zemsAnalysisFilterFree_SBRLP_32s(a), zemStatusOk);
    ZemSbrSynthesisSpec_32s* s = nullptr;
    ZemSbrSynthesisDownSpec_32s* d = nullptr;
    ASSERT_EQ(zemsSynthesisFilterInitAlloc_SBRHQ_32sc32s(&s), zemStatusOk);
    ASSERT_EQ(zemsSynthesisDownFilterInitAlloc_SBRLP_32s(&d), zemStatusOk);
    EXPECT_EQ(zemsSynthesisFilterFree_SBRHQ_32sc32s(s), zemStatusOk);
    EXPECT_EQ(zemsSynthesisDownFilterFree_SBRLP_32s(d), zemStatusOk);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);
}

// Analysis then 32-band synthesis returns the input, delayed by 289 samples and scaled by 1/128
// (the analysis output's scale): within 1 dB of the floating-point banks' -59.3 dB.
TEST(SbrFixedBanks, RoundTrip) {
    Analysis a = analysis(true);
    Down d(zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s, zemsSynthesisDownFilterInit_SBRHQ_32sc32s,
           2607);
    constexpr int kSlots = 200;
    const std::vector<int32_t> x = signal(32 * kSlots, 5e8, false, zemtest::seed());
    std::vector<int32_t> y(32 * kSlots);
    for (int l = 0; l < kSlots; ++l) {
        Zem32sc X[32];
        ASSERT_EQ(zemsAnalysisFilter_SBRHQ_32s32sc(&x[32 * l], X, 32, a.spec), zemStatusOk);
        ASSERT_EQ(zemsSynthesisDownFilter_SBRHQ_32sc32s(X, &y[32 * l], d.spec), zemStatusOk);
    }
    double e = 0, p = 0;
    for (int i = 16 * kSlots; i < 30 * kSlots; ++i) {
        const double got = 128.0 * y[i + 289];
        e += (got - x[i]) * (got - x[i]);
        p += double(x[i]) * x[i];
    }
    EXPECT_LE(10 * std::log10(e / p), -58.3);
}

TEST(SbrFixedBanks, WindowKernelsAgree) {
    const std::vector<int32_t> w = signal(67, 2e9, false, 11), x = signal(67, 2e9, false, 12);
    for (const auto& k :
         ZEMTEST_SIMD_KERNELS(zem::sbr::kFixedWindowSse2, zem::sbr::kFixedWindowAvx2)) {
        std::vector<int32_t> a = signal(67, 2e9, false, 13), b = a;
        for (int32_t n : {0, 3, 32, 67}) {
            zem::sbr::kFixedWindowScalar.accumulate(a.data(), w.data(), x.data(), n);
            k.accumulate(b.data(), w.data(), x.data(), n);
            EXPECT_EQ(a, b) << n;
        }
        // Ten blocks of 67 at their own places, summed over 0, 1, 5 and 10 of them.
        const std::vector<int32_t> wl = signal(670, 2e9, false, 14),
                                   xl = signal(670, 2e9, false, 15);
        const int32_t* wb[10];
        const int32_t* xb[10];
        for (int b = 0; b < 10; ++b) {
            wb[b] = wl.data() + 67 * b;
            xb[b] = xl.data() + 67 * ((3 * b + 1) % 10) + b % 3;
        }
        for (int32_t blocks : {0, 1, 5, 10})
            for (int32_t n : {0, 3, 7, 13, 32, 64}) {
                std::vector<int32_t> a = signal(67, 2e9, false, 16), b = a;
                zem::sbr::kFixedWindowScalar.sum_blocks(a.data(), wb, xb, blocks, n);
                k.sum_blocks(b.data(), wb, xb, blocks, n);
                EXPECT_EQ(a, b) << blocks << ' ' << n;
            }
    }
}

// Inputs over the whole int32 range (the extremes included), factors up to +-2^30, every
// count of pairs up to a vector and a half past the blocks, each start alignment, and both the
// banks' shifts and the limits.
TEST(SbrFixedBanks, RotationKernelsAgree) {
    std::vector<int32_t> in = signal(2 * 80, 2147483647.0, false, 21);
    std::vector<int32_t> pq = signal(2 * 80, 1073741824.0, false, 22);
    std::vector<int32_t> rt = signal(2 * 80, 1073741824.0, false, 23);
    in[0] = INT32_MIN;
    in[3] = INT32_MAX;
    pq[0] = -1073741824;
    pq[1] = 1073741824;
    rt[2] = -1073741824;
    for (const auto& k :
         ZEMTEST_SIMD_KERNELS(zem::sbr::kFixedRotationSse2, zem::sbr::kFixedRotationAvx2))
        for (int shift : {1, 30, 34, 62})
            for (int start : {0, 1, 2, 3})
                for (int32_t n : {0, 1, 3, 5, 32, 67}) {
                    std::vector<int32_t> a(2 * 80, 7), b = a;
                    zem::sbr::kFixedRotationScalar.rotate(a.data() + start, in.data() + start,
                                                          pq.data() + start, rt.data() + start, n,
                                                          shift);
                    k.rotate(b.data() + start, in.data() + start, pq.data() + start,
                             rt.data() + start, n, shift);
                    EXPECT_EQ(a, b) << shift << ' ' << start << ' ' << n;
                }
    for (const auto& k :
         ZEMTEST_SIMD_KERNELS(zem::sbr::kFixedRotationSse2, zem::sbr::kFixedRotationAvx2))
        for (int start : {0, 1, 2, 3}) {
            std::vector<int32_t> a(128, 7), b = a;
            zem::sbr::kFixedRotationScalar.fold(a.data(), in.data() + start);
            k.fold(b.data(), in.data() + start);
            EXPECT_EQ(a, b) << start;
        }
}

} // namespace
