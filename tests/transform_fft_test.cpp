// Complex FFT engine: size formulas, accuracy against double precision, scaling, the SSE2
// kernels against the scalar reference, argument checks and allocation failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/state.hpp"
#include "support/dft_reference.hpp"
#include "support/seed.hpp"
#include "transform/fft.hpp"
#include "zemcore_testing.h"

using namespace zem;
using zemtest::cvec;

namespace {

struct Fft {
    std::vector<uint8_t> mem, init, work;
    ZemFftSpec* spec = nullptr;
    Fft(int32_t order, int32_t mode, bool split = false) {
        int32_t s = 0, i = 0, w = 0;
        EXPECT_EQ(fft_get_buf_sizes(order, mode, 0, &s, &i, &w), zemStatusOk);
        mem.resize(s);
        init.resize(i + 1);
        work.resize(w + 1);
        auto initFn = split ? fft_init_split : fft_init;
        EXPECT_EQ(initFn(&spec, order, mode, 0, mem.data(), init.data()), zemStatusOk);
    }
};

std::vector<float> to_floats(const cvec& x) {
    std::vector<float> f(2 * x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        f[2 * i] = float(x[i].real());
        f[2 * i + 1] = float(x[i].imag());
    }
    return f;
}

Zem32fc* as_c(std::vector<float>& v) { return reinterpret_cast<Zem32fc*>(v.data()); }

} // namespace

TEST(TransformFft, SizeQueryAnchorsAndFormulas) {
    struct Row {
        int32_t order, spec, init, work;
    } rows[] = {{0, 116, 0, 0},
                {3, 116, 0, 0},
                {5, 116, 0, 0},
                {6, 768, 0, 544},
                {16, 360640, 65600, 32800},
                {17, 594240, 131136, 65568},
                {19, 2167488, 524352, 65568},
                {22, 16916672, 4194368, 131104},
                {24, 67490016, 16777280, 131104},
                {28, 1078338784, 268435520, 131104}};
    for (const Row& r : rows) {
        int32_t s = -1, i = -1, w = -1;
        ASSERT_EQ(fft_get_buf_sizes(r.order, FftNoScale, 0, &s, &i, &w), zemStatusOk);
        EXPECT_EQ(s, r.spec) << r.order;
        EXPECT_EQ(i, r.init) << r.order;
        EXPECT_EQ(w, r.work) << r.order;
    }
    for (int32_t order = 6; order <= 15; ++order) {
        const int32_t n = 1 << order;
        int32_t s = -1, i = -1, w = -1;
        for (int32_t mode : {1, 2, 4, 8}) {
            ASSERT_EQ(fft_get_buf_sizes(order, mode, 7, &s, &i, &w), zemStatusOk);
            EXPECT_EQ(s, 9 * n + 192);
            EXPECT_EQ(i, order <= 10 ? 0 : n + 64);
            EXPECT_EQ(w, 8 * n + 32);
        }
    }
    int32_t s, i, w;
    EXPECT_EQ(fft_get_buf_sizes(31, 3, 0, nullptr, &i, &w), zemStatusBadOrder);
    EXPECT_EQ(fft_get_buf_sizes(29, 3, 0, nullptr, &i, &w), zemStatusNullPointer);
    EXPECT_EQ(fft_get_buf_sizes(29, 3, 0, &s, &i, &w), zemStatusBadFlag);
    EXPECT_EQ(fft_get_buf_sizes(29, 8, 0, &s, &i, &w), zemStatusBadOrder);
    EXPECT_EQ(fft_get_buf_sizes(-1, 8, 0, &s, &i, &w), zemStatusBadOrder);
}

// Up to order 12 against the definition; relative L2 error of the forward and inverse FFT.
TEST(TransformFft, MatchesDirectDftUpToOrder12) {
    const unsigned seed = zemtest::seed();
    double worst = 0;
    for (int32_t order = 0; order <= 12; ++order) {
        Fft f(order, FftNoScale);
        const cvec x = zemtest::random_complex(std::size_t(1) << order, seed + order);
        for (bool inverse : {false, true}) {
            std::vector<float> in = to_floats(x), out(in.size());
            cvec xf(x.size());
            for (std::size_t k = 0; k < x.size(); ++k)
                xf[k] = {in[2 * k], in[2 * k + 1]};
            const cvec want = zemtest::direct_dft(xf, inverse);
            auto fn = inverse ? fft_inv : fft_fwd;
            ASSERT_EQ(fn(as_c(in), as_c(out), f.spec, f.work.data()), zemStatusOk);
            const double err = zemtest::rel_l2(out.data(), want);
            EXPECT_LE(err, 1.5e-7) << "order " << order << " inverse " << inverse;
            worst = std::max(worst, err);
        }
    }
    RecordProperty("worst_rel_l2", std::to_string(worst * 1e9) + "e-9");
}

// Larger orders against a double-precision FFT: within eps * log2(N) / 2, in place.
TEST(TransformFft, MatchesDoubleFftUpToOrder20) {
    const unsigned seed = zemtest::seed();
    const int32_t maxOrder = std::getenv("ZEM_SHORT_SWEEPS") ? 17 : 20;
    for (int32_t order = 13; order <= maxOrder; ++order) {
        Fft f(order, FftNoScale);
        const cvec x = zemtest::random_complex(std::size_t(1) << order, seed ^ order);
        std::vector<float> data = to_floats(x);
        cvec xf(x.size());
        for (std::size_t k = 0; k < x.size(); ++k)
            xf[k] = {data[2 * k], data[2 * k + 1]};
        ASSERT_EQ(fft_fwd(as_c(data), as_c(data), f.spec, nullptr), zemStatusOk);
        const double err = zemtest::rel_l2(data.data(), zemtest::fast_dft(xf, false));
        EXPECT_LE(err, 5.96e-8 * order / 2) << "order " << order;
        RecordProperty("rel_l2_order_" + std::to_string(order), std::to_string(err * 1e9) + "e-9");
    }
}

// Forward then inverse returns the input for the two normalising modes; FwdByN scales the
// forward result by exactly 1/N.
TEST(TransformFft, ScalingModesRoundTrip) {
    const unsigned seed = zemtest::seed();
    for (int32_t order : {0, 1, 2, 3, 5, 6, 9, 11, 15, 16, 17}) {
        const std::size_t n = std::size_t(1) << order;
        const cvec x = zemtest::random_complex(n, seed + 3 * order);
        const std::vector<float> in = to_floats(x);
        for (int32_t mode : {FftScaleInvByN, FftScaleBySqrtN}) {
            Fft f(order, mode);
            std::vector<float> y(in.size()), z(in.size());
            ASSERT_EQ(fft_fwd(as_c(const_cast<std::vector<float>&>(in)), as_c(y), f.spec, nullptr),
                      zemStatusOk);
            ASSERT_EQ(fft_inv(as_c(y), as_c(z), f.spec, f.work.data()), zemStatusOk);
            double num = 0, den = 0;
            for (std::size_t k = 0; k < in.size(); ++k) {
                num += (z[k] - in[k]) * double(z[k] - in[k]);
                den += in[k] * double(in[k]);
            }
            // Each transform within eps log2(N) / 2 (as above), and the roundings of its scaling.
            EXPECT_LE(std::sqrt(num / den), 5.96e-8 * (order + 4))
                << "order " << order << " mode " << mode;
        }
        Fft plain(order, FftNoScale), byN(order, FftScaleFwdByN);
        std::vector<float> a = in, b = in;
        fft_fwd(as_c(a), as_c(a), plain.spec, nullptr);
        fft_fwd(as_c(b), as_c(b), byN.spec, nullptr);
        for (std::size_t k = 0; k < a.size(); ++k)
            ASSERT_EQ(b[k], a[k] * (1.0f / float(n))) << order;
        EXPECT_NEAR(Fft(order, FftScaleBySqrtN).spec->scale, 1.0 / std::sqrt(double(n)),
                    1e-6 / std::sqrt(double(n)));
    }
}

// The SSE2 kernels and the scalar reference do the same operations: identical bits, out of
// place and in place (which moves the input aside when the stage count is odd), on data that
// is 16-byte aligned or only 8-byte aligned (one complex value further on), with the values
// behind the output untouched. The split transform runs radix 2 and agrees to rounding.
TEST(TransformFft, Sse2KernelsMatchScalarBitForBit) {
    const unsigned seed = zemtest::seed();
    constexpr float kCanary = -1234.5f;
    for (int32_t order = 0; order <= 16; ++order) {
        const std::size_t n = std::size_t(1) << order;
        Fft f(order, FftNoScale), fs(order, FftNoScale, true);
        const std::vector<float> in = to_floats(zemtest::random_complex(n, seed + 77 * order));
        std::vector<float> work(2 * n + 8);
        for (bool inverse : {false, true}) {
            const FftKernels& ref = kFftScalar;
            const FftKernels& simd = kFftSse2;
            std::vector<float> a(in.size());
            (inverse ? ref.inverse : ref.forward)(in.data(), a.data(), work.data(), *f.spec);
            for (const std::size_t off : {0, 2}) {
                std::vector<float> b(in.size() + off + 2, kCanary);
                std::copy(in.begin(), in.end(), b.begin() + std::ptrdiff_t(off));
                float* x = b.data() + off;
                (inverse ? simd.inverse : simd.forward)(x, x, work.data(), *f.spec);
                ASSERT_EQ(std::memcmp(a.data(), x, a.size() * 4), 0)
                    << "order " << order << " inverse " << inverse << " offset " << off;
                ASSERT_EQ(b[off + in.size()], kCanary) << "order " << order << " offset " << off;
                ASSERT_EQ(b[off + in.size() + 1], kCanary) << "order " << order;
                ASSERT_TRUE(off == 0 || (b[0] == kCanary && b[1] == kCanary)) << order;
            }
            if (inverse)
                continue;
            std::vector<float> re(n), im(n);
            for (std::size_t k = 0; k < n; ++k) {
                re[k] = in[2 * k];
                im[k] = in[2 * k + 1];
            }
            ASSERT_EQ(fft_fwd_split(re.data(), im.data(), re.data(), im.data(), fs.spec, nullptr),
                      zemStatusOk);
            double num = 0, den = 0;
            for (std::size_t k = 0; k < n; ++k) {
                num += (re[k] - a[2 * k]) * double(re[k] - a[2 * k]) +
                       (im[k] - a[2 * k + 1]) * double(im[k] - a[2 * k + 1]);
                den += a[2 * k] * double(a[2 * k]) + a[2 * k + 1] * double(a[2 * k + 1]);
            }
            EXPECT_LE(std::sqrt(num / den), 3e-7) << "split, order " << order;
        }
    }
}

// The twiddle blocks hold libm's values rounded to float in the layout the kernels read
// ((wr, wr, wr', wr'), (-wi, wi, -wi', wi') for w and w^2); the compile-time blocks of orders
// 3..5 have cos(pi/2) exactly 0 where libm returns cos of the rounded angle.
TEST(TransformFft, TwiddleTablesEqualLibm) {
    for (int32_t order = 3; order <= 8; ++order) {
        Fft f(order, FftNoScale);
        const float* t = fft_twiddle_table(*f.spec);
        const std::size_t n = std::size_t(1) << order;
        for (std::size_t p = 0; p < n / 4; ++p)
            for (int k = 1; k <= 2; ++k) {
                const double a = 6.283185307179586 * double(k * p) / double(n);
                const float* v = t + 16 * (p / 2) + 8 * (k - 1) + 2 * (p % 2);
                const float c = order <= 5 && 4 * k * p == n ? 0.0f : float(std::cos(a));
                EXPECT_TRUE(v[0] == c && v[1] == c) << order << " " << p << " " << k;
                EXPECT_TRUE(v[4] == float(std::sin(a)) && v[5] == float(-std::sin(a)))
                    << order << " " << p << " " << k;
            }
    }
}

TEST(TransformFft, ArgumentChecksAndTags) {
    Fft f(6, FftNoScale), split(6, FftNoScale, true);
    std::vector<float> buf(128, 1.0f), keep = buf;
    EXPECT_EQ(fft_fwd(as_c(buf), as_c(buf), nullptr, nullptr), zemStatusNullPointer);
    EXPECT_EQ(fft_fwd(nullptr, as_c(buf), split.spec, nullptr), zemStatusContextMismatch);
    EXPECT_EQ(fft_inv(as_c(buf), nullptr, f.spec, nullptr), zemStatusNullPointer);
    EXPECT_EQ(fft_fwd_split(buf.data(), buf.data(), buf.data(), buf.data(), f.spec, nullptr),
              zemStatusContextMismatch);
    EXPECT_EQ(fft_fwd_split(buf.data(), nullptr, buf.data(), buf.data(), split.spec, nullptr),
              zemStatusNullPointer);
    EXPECT_EQ(buf, keep);

    int32_t size = -1;
    EXPECT_EQ(fft_get_work_size(f.spec, &size), zemStatusOk);
    EXPECT_EQ(size, 8 * 64 + 32);
    EXPECT_EQ(fft_get_work_size(Fft(5, FftNoScale).spec, &size), zemStatusOk);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(fft_get_work_size(split.spec, &size), zemStatusContextMismatch);
    EXPECT_EQ(fft_free(split.spec), zemStatusContextMismatch);

    // A rejected scaling mode leaves the header cleared (tag 0) and *ppSpec unchanged.
    std::vector<uint8_t> mem(2000, 0xAB);
    ZemFftSpec* out = reinterpret_cast<ZemFftSpec*>(&size);
    EXPECT_EQ(fft_init(&out, 6, 3, 9, mem.data(), nullptr), zemStatusBadFlag);
    EXPECT_EQ(out, reinterpret_cast<ZemFftSpec*>(&size));
    auto* hdr = align_up<32>(mem.data());
    EXPECT_EQ(reinterpret_cast<ZemFftSpec*>(hdr)->tag, 0);
    EXPECT_EQ(reinterpret_cast<ZemFftSpec*>(hdr)->hint, 9);
    EXPECT_EQ(fft_init(&out, 29, 8, 0, mem.data(), nullptr), zemStatusBadOrder);
    EXPECT_EQ(fft_init(&out, 6, 8, 0, nullptr, nullptr), zemStatusNullPointer);
    EXPECT_EQ(fft_init(nullptr, 6, 8, 0, mem.data(), nullptr), zemStatusNullPointer);
    std::vector<uint8_t> big(9 * 2048 + 192);
    EXPECT_EQ(fft_init(&out, 11, 8, 0, big.data(), nullptr), zemStatusNullPointer);

    // Free invalidates a spec in caller memory.
    EXPECT_EQ(fft_free(f.spec), zemStatusOk);
    EXPECT_EQ(fft_fwd(as_c(buf), as_c(buf), f.spec, nullptr), zemStatusContextMismatch);
    EXPECT_EQ(fft_free(nullptr), zemStatusNullPointer);
}

TEST(TransformFft, AllocationFailuresLeakNothing) {
    const long before = zemcoreOutstandingBlocks();
    // Order 11 takes two blocks (spec and init scratch), order 6 one.
    for (int32_t order : {6, 11}) {
        for (long fail = 1; fail <= (order == 11 ? 2 : 1); ++fail) {
            ZemFftSpec* spec = nullptr;
            zemcoreFailAllocation(fail);
            EXPECT_EQ(fft_init_alloc(&spec, order, FftNoScale, 0), zemStatusNoMemory);
            zemcoreFailAllocation(0);
            EXPECT_EQ(spec, nullptr);
            EXPECT_EQ(zemcoreOutstandingBlocks(), before);
        }
        ZemFftSpec* spec = nullptr;
        ASSERT_EQ(fft_init_alloc(&spec, order, FftScaleInvByN, 0), zemStatusOk);
        EXPECT_EQ(spec->allocated, 1);
        EXPECT_EQ(zemcoreOutstandingBlocks(), before + 1);
        const std::size_t n = std::size_t(1) << order;
        std::vector<float> in = to_floats(zemtest::random_complex(n, 5)), keep = in;
        // The on-the-fly work buffer: its failure leaves the output unwritten.
        std::vector<float> out(in.size(), 7.0f);
        zemcoreFailAllocation(1);
        EXPECT_EQ(fft_fwd(as_c(in), as_c(out), spec, nullptr), zemStatusNoMemory);
        zemcoreFailAllocation(0);
        EXPECT_EQ(out, std::vector<float>(in.size(), 7.0f));
        EXPECT_EQ(fft_fwd(as_c(in), as_c(out), spec, nullptr), zemStatusOk);
        EXPECT_EQ(fft_inv(as_c(out), as_c(out), spec, nullptr), zemStatusOk);
        for (std::size_t k = 0; k < in.size(); ++k)
            EXPECT_NEAR(out[k], keep[k], 1e-5);
        EXPECT_EQ(zemcoreOutstandingBlocks(), before + 1);
        EXPECT_EQ(fft_free(spec), zemStatusOk);
        EXPECT_EQ(zemcoreOutstandingBlocks(), before);
    }
    ZemFftSpec* spec = nullptr;
    EXPECT_EQ(fft_init_alloc(&spec, 6, 0, 0), zemStatusBadFlag);
    EXPECT_EQ(fft_init_alloc(nullptr, 6, 8, 0), zemStatusNullPointer);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);
}

TEST(TransformFft, ScaleVectorEveryAlignmentAndTail) {
    alignas(16) float data[80], want[80];
    for (int off = 0; off < 4; ++off)
        for (int len = 1; len <= 40; ++len)
            for (float factor : {0.0f, 1.0f, -0.37f, 3.0f}) {
                for (int k = 0; k < 80; ++k)
                    data[k] = want[k] = float(k) * 0.25f - 7.0f;
                for (int k = off; k < off + len; ++k)
                    want[k] = factor == 0.0f ? 0.0f : want[k] * factor;
                ASSERT_EQ(scale_vector_32f(factor, data + off, len), zemStatusOk);
                ASSERT_EQ(std::memcmp(data, want, sizeof data), 0) << off << " " << len;
            }
    EXPECT_EQ(scale_vector_32f(2.0f, nullptr, 4), zemStatusNullPointer);
    EXPECT_EQ(scale_vector_32f(2.0f, data, 0), zemStatusBadSize);
}

// Order 28 needs about 3.5 GiB; it runs only when ZEM_LONG_TESTS is set.
TEST(TransformFft, OptionalLongOrder28WhenZemLongTestsSet) {
    if (std::getenv("ZEM_LONG_TESTS") == nullptr || sizeof(void*) < 8)
        GTEST_SKIP() << "set ZEM_LONG_TESTS to run order 28 (x86-64 only)";
    ZemFftSpec* spec = nullptr;
    ASSERT_EQ(fft_init_alloc(&spec, 28, FftNoScale, 0), zemStatusOk);
    const std::size_t n = std::size_t(1) << 28;
    std::vector<float> x(2 * n, 0.0f);
    // Two impulses: X[k] = 1 + 0.5 e^(-j 2 pi 12345 k / N); check a few hundred bins.
    x[0] = 1.0f;
    x[2 * 12345] = 0.5f;
    std::vector<uint8_t> work(131104);
    ASSERT_EQ(fft_fwd(as_c(x), as_c(x), spec, work.data()), zemStatusOk);
    for (std::size_t k = 0; k < n; k += n / 300 + 1) {
        const double a = -6.283185307179586 * double((12345 * k) % n) / double(n);
        EXPECT_NEAR(x[2 * k], 1 + 0.5 * std::cos(a), 2e-6) << k;
        EXPECT_NEAR(x[2 * k + 1], 0.5 * std::sin(a), 2e-6) << k;
    }
    EXPECT_EQ(fft_free(spec), zemStatusOk);
}
