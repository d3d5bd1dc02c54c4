// General MDCT: size formulas and record layout, accuracy against the double-precision
// definitions, windowed reconstruction, SSE2 against scalar kernels, argument checks and
// allocation failures.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "support/mdct_model.hpp"
#include "support/seed.hpp"
#include "transform/fft.hpp"
#include "transform/mdct.hpp"
#include "zemac.h"

using namespace zem;

namespace {

constexpr uint8_t kGuard = 0xA5;

std::vector<float> random_floats(std::size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = d(rng);
    return v;
}

double rel_l2(const float* got, const std::vector<double>& want) {
    double e = 0, r = 0;
    for (std::size_t i = 0; i < want.size(); ++i) {
        e += (got[i] - want[i]) * (got[i] - want[i]);
        r += want[i] * want[i];
    }
    return std::sqrt(e / r);
}

// A forward and an inverse record built by Init in memory of exactly the reported size, placed
// at the given misalignment, with guard bytes behind each block.
struct Mdct {
    int32_t n;
    std::vector<uint8_t> fwdMem, invMem, init, work;
    int32_t specSize = 0, initSize = 0, workSize = 0, offset;
    ZemMdctFwdSpec_32f* fwd = nullptr;
    ZemMdctInvSpec_32f* inv = nullptr;

    Mdct(int32_t len, int32_t misalign = 0) : n(len), offset(misalign) {
        EXPECT_EQ(zemsMDCTFwdGetSize_32f(n, &specSize, &initSize, &workSize), zemStatusOk);
        fwdMem.assign(std::size_t(specSize + offset + 64), kGuard);
        invMem = fwdMem;
        init.resize(std::size_t(initSize) + 1);
        EXPECT_EQ(zemsMDCTFwdInit_32f(&fwd, n, fwdMem.data() + offset, init.data()), zemStatusOk);
        EXPECT_EQ(zemsMDCTInvInit_32f(&inv, n, invMem.data() + offset, init.data()), zemStatusOk);
        work.assign(std::size_t(workSize + 64), kGuard);
    }
    bool guards_intact() const {
        for (std::size_t i = std::size_t(specSize + offset); i < fwdMem.size(); ++i)
            if (fwdMem[i] != kGuard || invMem[i] != kGuard)
                return false;
        return true;
    }
};

} // namespace

TEST(TransformMdct, SizesAnchorsAndGrid) {
    struct Row {
        int32_t n, spec, init, work, buf;
    } anchors[] = {{12, 116, 0, 112, 80},         {36, 164, 0, 208, 176},
                   {32, 304, 0, 224, 160},        {256, 1404, 0, 1664, 1600},
                   {2048, 9020, 0, 12416, 12352}, {8192, 35132, 2112, 49280, 49216}};
    for (const Row& r : anchors) {
        Mdct m(r.n, 7);
        EXPECT_EQ(m.specSize, r.spec) << r.n;
        EXPECT_EQ(m.initSize, r.init) << r.n;
        EXPECT_EQ(m.workSize, r.work) << r.n;
        int32_t buf = 0;
        EXPECT_EQ(zemsMDCTInvGetBufSize_32f(m.inv, &buf), zemStatusOk);
        EXPECT_EQ(buf, r.buf) << r.n;
    }
    // Every power of two: the engine's sizes plus our own, both records fit the reported size at
    // every misalignment, and the work buffer is 4N + 32 (6N + 64 from 256 up).
    for (int32_t n = 32; n <= (1 << 16); n *= 2) {
        int32_t s, i, w;
        ASSERT_EQ(fft_get_buf_sizes(int32_t(std::log2(n / 4)), FftNoScale, 0, &s, &i, &w), 0);
        for (int32_t misalign : {0, 1, 31}) {
            Mdct m(n, misalign);
            EXPECT_EQ(m.specSize, s + 32 + 2 * n + 92);
            EXPECT_EQ(m.initSize, i);
            EXPECT_EQ(m.workSize, w + 32 + 4 * n + 64);
            EXPECT_TRUE(m.guards_intact()) << n << " " << misalign;
            int32_t buf = 0;
            EXPECT_EQ(zemsMDCTFwdGetBufSize_32f(m.fwd, &buf), zemStatusOk);
            EXPECT_EQ(buf, n < 256 ? 4 * n + 32 : 6 * n + 64);
        }
    }
    int32_t s, i, w;
    EXPECT_EQ(zemsMDCTInvGetSize_32f(1 << 30, &s, &i, &w), zemStatusBadSize);
    EXPECT_EQ(zemsMDCTInvGetSize_32f(1 << 26, &s, &i, &w), zemStatusOk);
}

// Forward and inverse against the definitions; a work buffer of exactly GetBufSize bytes at the
// worst misalignment, guarded; in place and with an allocated work buffer give the same bits.
TEST(TransformMdct, AccuracyAgainstDefinition) {
    const uint32_t seed = zemtest::seed();
    double worstFwd = 0, worstInv = 0;
    for (int32_t n : {12, 36, 32, 64, 128, 256, 512, 2048, 4096}) {
        Mdct m(n, 3);
        const std::vector<float> x = random_floats(std::size_t(n), seed + uint32_t(n));
        std::vector<float> X(std::size_t(n / 2) + 4, 7.0f), y(std::size_t(n) + 4, 7.0f);
        int32_t buf = 0;
        ASSERT_EQ(zemsMDCTFwdGetBufSize_32f(m.fwd, &buf), zemStatusOk);
        std::vector<uint8_t> work(std::size_t(buf) + 8, kGuard);
        uint8_t* w = work.data() + 1; // 31 bytes of slack used up
        ASSERT_EQ(zemsMDCTFwd_32f(x.data(), X.data(), m.fwd, w), zemStatusOk);
        ASSERT_EQ(zemsMDCTInv_32f(X.data(), y.data(), m.inv, w), zemStatusOk);
        for (std::size_t g = std::size_t(buf) + 1; g < work.size(); ++g)
            ASSERT_EQ(work[g], kGuard) << n;
        EXPECT_EQ(X[std::size_t(n / 2)], 7.0f);
        EXPECT_EQ(y[std::size_t(n)], 7.0f);

        const std::vector<double> xd(x.begin(), x.end());
        const std::vector<double> Xd(X.begin(), X.begin() + n / 2);
        const double ef = rel_l2(X.data(), zemtest::mdct(xd));
        const double ei = rel_l2(y.data(), zemtest::imdct(Xd));
        EXPECT_LT(ef, 3e-7) << n;
        EXPECT_LT(ei, 3e-7) << n;
        worstFwd = std::max(worstFwd, ef);
        worstInv = std::max(worstInv, ei);

        std::vector<float> inPlace(x);
        inPlace.resize(std::size_t(n));
        ASSERT_EQ(zemsMDCTFwd_32f_I(inPlace.data(), m.fwd, nullptr), zemStatusOk);
        EXPECT_EQ(std::memcmp(inPlace.data(), X.data(), std::size_t(n / 2) * 4), 0) << n;
        ASSERT_EQ(zemsMDCTInv_32f_I(inPlace.data(), m.inv, nullptr), zemStatusOk);
        EXPECT_EQ(std::memcmp(inPlace.data(), y.data(), std::size_t(n) * 4), 0) << n;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.3g / %.3g", worstFwd, worstInv);
    RecordProperty("worst_rel_l2_forward_inverse", text);
}

// Sine window before the forward and after the inverse transform, overlap-add of half-blocks.
TEST(TransformMdct, WindowedOverlapAddReconstructs) {
    for (int32_t n : {12, 36, 32, 1024}) {
        Mdct m(n);
        const int32_t half = n / 2, blocks = 6;
        const std::vector<float> x =
            random_floats(std::size_t(half * (blocks + 1)), zemtest::seed());
        std::vector<float> win(static_cast<std::size_t>(n)), out(x.size(), 0.0f);
        for (int32_t i = 0; i < n; ++i)
            win[std::size_t(i)] = float(std::sin(M_PI * (i + 0.5) / n));
        std::vector<float> block(static_cast<std::size_t>(n)), X(static_cast<std::size_t>(half));
        for (int32_t b = 0; b < blocks; ++b) {
            for (int32_t i = 0; i < n; ++i)
                block[std::size_t(i)] = x[std::size_t(b * half + i)] * win[std::size_t(i)];
            ASSERT_EQ(zemsMDCTFwd_32f(block.data(), X.data(), m.fwd, m.work.data()), zemStatusOk);
            ASSERT_EQ(zemsMDCTInv_32f(X.data(), block.data(), m.inv, m.work.data()), zemStatusOk);
            for (int32_t i = 0; i < n; ++i)
                out[std::size_t(b * half + i)] += block[std::size_t(i)] * win[std::size_t(i)];
        }
        double worst = 0;
        for (std::size_t i = std::size_t(half); i < std::size_t(half * blocks); ++i)
            worst = std::max(worst, double(std::fabs(out[i] - x[i])));
        EXPECT_LT(worst, 2e-6) << n;
    }
}

// The SSE2 twiddle passes give the scalar reference's bits, on any input alignment.
TEST(TransformMdct, Sse2KernelsMatchScalar) {
    const uint32_t seed = zemtest::seed();
    for (int32_t n = 32; n <= 4096; n *= 2) {
        std::vector<float> tw(std::size_t(n / 2));
        mdct_build_twiddles(tw.data(), n, 0.7, false);
        const std::vector<float> src = random_floats(std::size_t(n) + 4, seed ^ uint32_t(n));
        for (std::size_t off = 0; off < 4; ++off) {
            const float* x = src.data() + off;
            using Kernel = void (*)(const float*, float*, const float*, int32_t);
            struct Pass {
                Kernel MdctKernels::*fn;
                int32_t outLen;
            } passes[] = {{&MdctKernels::fold, n / 2},
                          {&MdctKernels::post, n / 2},
                          {&MdctKernels::pre, n / 2},
                          {&MdctKernels::unfold, n}};
            for (const Pass& p : passes) {
                std::vector<float> a(std::size_t(p.outLen) + off + 1, 3.0f), b(a);
                (kMdctScalar.*p.fn)(x, a.data() + off, tw.data(), n);
                (kMdctSse2.*p.fn)(x, b.data() + off, tw.data(), n);
                ASSERT_EQ(std::memcmp(a.data(), b.data(), a.size() * 4), 0) << n << " " << off;
                EXPECT_EQ(b.back(), 3.0f);
            }
        }
    }
}

// Init places the record at a 32-byte boundary; Free of caller memory invalidates the record
// (32-bit and 16-bit), so every later use is a mismatch (the argument checks are in the sweep).
TEST(TransformMdct, RecordAlignmentAndFree) {
    std::vector<uint8_t> mem(4096);
    ZemMdctFwdSpec_32f* fwd = nullptr;
    ASSERT_EQ(zemsMDCTFwdInit_32f(&fwd, 36, mem.data() + 3, nullptr), zemStatusOk);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(fwd) % 32, 0u);
    std::vector<float> x(36, 1.0f), X(18, 5.0f);
    int32_t s;
    EXPECT_EQ(zemsMDCTFwdFree_32f(fwd), zemStatusOk);
    EXPECT_EQ(zemsMDCTFwdFree_32f(fwd), zemStatusContextMismatch);
    EXPECT_EQ(zemsMDCTFwd_32f(x.data(), X.data(), fwd, nullptr), zemStatusContextMismatch);
    EXPECT_EQ(zemsMDCTFwdGetBufSize_32f(fwd, &s), zemStatusContextMismatch);
    EXPECT_EQ(X, std::vector<float>(18, 5.0f));

    ZemMdctFwdSpec_16s* spec = nullptr;
    ASSERT_EQ(zemsMDCTFwdInit_16s(&spec, 32, mem.data() + 1025, mem.data() + 2048), zemStatusOk);
    std::vector<int16_t> x16(32, 5), out(16, 99);
    EXPECT_EQ(zemsMDCTFwdFree_16s(spec), zemStatusOk);
    EXPECT_EQ(zemsMDCTFwdFree_16s(spec), zemStatusContextMismatch);
    EXPECT_EQ(zemsMDCTFwd_16s_Sfs(x16.data(), out.data(), spec, 0, nullptr),
              zemStatusContextMismatch);
    EXPECT_EQ(out, std::vector<int16_t>(16, 99));
}
