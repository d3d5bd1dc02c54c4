// DCT: size formulas and limits, every path against a double-precision evaluation of the
// definition, the record and work buffers filled to their last byte, argument and
// tag checks, allocation failure of the on-the-fly work buffer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "support/seed.hpp"
#include "transform/dct.hpp"
#include "transform/dct_fast.hpp"
#include "transform/fft.hpp"
#include "zemcore_testing.h"

using namespace zem;

namespace {

constexpr uint8_t kGuard = 0xC5;

// A spec built at an address 1 past a 32-byte boundary (the most slack the sizes allow for)
// in a block of exactly the reported size, followed by guard bytes; the same for the work buffer.
struct Dct {
    std::vector<uint8_t> mem, init, work;
    ZemDctSpec* spec = nullptr;
    int32_t sizeSpec = 0, sizeWork = 0;
    Dct(int32_t n, bool inverse) {
        int32_t sizeInit = 0;
        EXPECT_EQ(dct_get_buf_sizes(n, 0, &sizeSpec, &sizeInit, &sizeWork), zemStatusOk);
        mem.assign(sizeSpec + 64, kGuard);
        init.assign(sizeInit + 1, 0);
        work.assign(sizeWork + 64, kGuard);
        auto fn = inverse ? dct_inv_init : dct_fwd_init;
        EXPECT_EQ(fn(&spec, n, 0, spec_mem(), init.data()), zemStatusOk) << n;
    }
    static uint8_t* first_after_boundary(std::vector<uint8_t>& v) {
        const auto p = reinterpret_cast<std::uintptr_t>(v.data());
        return v.data() + ((33 - p % 32) % 32);
    }
    uint8_t* spec_mem() { return first_after_boundary(mem); }
    uint8_t* work_mem() { return first_after_boundary(work); }
    bool guards_intact() {
        const uint8_t* s = spec_mem() + sizeSpec;
        const uint8_t* w = work_mem() + sizeWork;
        for (int i = 0; i < 16; ++i)
            if (s[i] != kGuard || w[i] != kGuard)
                return false;
        return true;
    }
};

// y[k] = c(k) sum x[m] cos(pi (2m+1) k / 2n), or its transpose, in double precision, at the
// given outputs (all of them when none are given; the others stay 0).
std::vector<double> reference(const std::vector<float>& in, bool inverse,
                              std::vector<std::size_t> outputs = {}) {
    const std::size_t n = in.size();
    std::vector<double> cosines(4 * n), out(n, 0.0);
    for (std::size_t i = 0; i < 4 * n; ++i)
        cosines[i] = std::cos(6.283185307179586476925 * double(i) / double(4 * n));
    auto c = [n](std::size_t k) { return k == 0 ? std::sqrt(1.0 / n) : std::sqrt(2.0 / n); };
    if (outputs.empty())
        for (std::size_t o = 0; o < n; ++o)
            outputs.push_back(o);
    for (std::size_t o : outputs)
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t k = inverse ? i : o, m = inverse ? o : i;
            out[o] += in[i] * cosines[((2 * m + 1) * k) % (4 * n)] * c(k);
        }
    return out;
}

double rel_l2(const std::vector<float>& got, const std::vector<double>& want) {
    double num = 0, den = 0;
    for (std::size_t i = 0; i < got.size(); ++i) {
        num += (got[i] - want[i]) * (got[i] - want[i]);
        den += want[i] * want[i];
    }
    return std::sqrt(num / den);
}

std::vector<float> random_floats(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (auto& x : v)
        x = u(rng);
    return v;
}

} // namespace

TEST(TransformDct, SizeQueryAnchorsLimitsAndChecks) {
    struct Row {
        int32_t n, spec, init, work;
    } rows[] = {
        {1, 100, 0, 0},
        {8, 100, 0, 0},
        {3, 176, 0, 44},
        {45, 848, 0, 212},
        {16, 308, 0, 96},
        {32, 512, 0, 160},
        {64, 768, 0, 288},
        {128, 1920, 0, 1088},
        {2048, 25920, 2144, 16448},
        {46, 1960, 576, 1088},
        {47, 3624, 1088, 2112},
        {1000, 29728, 8256, 16448},
        {524288, 11686464, 524384, 2228288},
        {1 << 26, 1477042656, 67108960, 268566592},
        {0x01FFFFFF, 1611866696, 67108960, 537002048},
    };
    for (const Row& r : rows) {
        int32_t s = -1, i = -1, w = -1;
        ASSERT_EQ(dct_get_buf_sizes(r.n, 3, &s, &i, &w), zemStatusOk) << r.n;
        EXPECT_EQ(s, r.spec) << r.n;
        EXPECT_EQ(i, r.init) << r.n;
        EXPECT_EQ(w, r.work) << r.n;
    }
    // Beyond the documented limits, and the powers of two whose spec would pass 2^31 - 1 bytes.
    int32_t s, i, w;
    for (int32_t n : {0, -4, 1 << 27, 1 << 28, 1 << 30, 0x02000001, 0x03FFFFFF, INT32_MAX}) {
        EXPECT_EQ(dct_get_buf_sizes(n, 0, &s, &i, &w), zemStatusBadSize) << n;
        uint8_t mem[64];
        ZemDctSpec* spec = nullptr;
        EXPECT_EQ(dct_fwd_init(&spec, n, 0, mem, mem), zemStatusBadSize) << n;
        EXPECT_EQ(spec, nullptr);
    }
    EXPECT_EQ(dct_get_buf_sizes(0, 0, nullptr, &i, &w), zemStatusBadSize);
    EXPECT_EQ(dct_get_buf_sizes(5, 0, &s, nullptr, &w), zemStatusNullPointer);
}

// Every path (straight-line, direct, power of two, chirp-z for odd and even L) in both
// directions against the definition, in place and out of place, within the exact buffers.
TEST(TransformDct, MatchesDefinitionOnEveryPath) {
    const unsigned seed = zemtest::seed();
    const bool shortSweep = std::getenv("ZEM_SHORT_SWEEPS") != nullptr;
    std::vector<int32_t> lengths = {1,   2,   3,   4,   5,    6,    7,    8,    12,   16,
                                    31,  32,  45,  46,  47,   48,   64,   100,  127,  128,
                                    255, 256, 320, 512, 1000, 1024, 1025, 2048, 3000, 4096};
    if (!shortSweep)
        lengths.insert(lengths.end(), {4097, 6144, 8192});
    double worst = 0;
    for (int32_t n : lengths)
        for (bool inverse : {false, true}) {
            Dct d(n, inverse);
            const std::vector<float> x = random_floats(n, seed + 2 * n + inverse);
            const std::vector<double> want = reference(x, inverse);
            std::vector<float> y(n), z = x;
            auto fn = inverse ? dct_inv : dct_fwd;
            ASSERT_EQ(fn(x.data(), y.data(), d.spec, d.work_mem()), zemStatusOk) << n;
            ASSERT_EQ(fn(z.data(), z.data(), d.spec, nullptr), zemStatusOk) << n;
            EXPECT_EQ(y, z) << "in place differs, n " << n;
            const double err = rel_l2(y, want);
            EXPECT_LE(err, n > 4096 ? 3e-7 : 1.5e-7) << "n " << n << " inverse " << inverse;
            worst = std::max(worst, err);
            EXPECT_TRUE(d.guards_intact()) << n;
        }
    RecordProperty("worst_rel_l2_e9", std::to_string(worst * 1e9));
}

// The chirp-z lengths on both sides of the largest convolution done in double precision
// (2^15 points) and the single-precision convolution beyond it, checked at 200 outputs each.
TEST(TransformDct, LongChirpLengthsAtSampledOutputs) {
    const unsigned seed = zemtest::seed();
    for (int32_t n : {16383, 16385, 32766, 32770})
        for (bool inverse : {false, true}) {
            Dct d(n, inverse);
            const std::vector<float> x = random_floats(n, seed + n + inverse);
            std::vector<std::size_t> outputs;
            for (std::size_t o = 0; o < 200; ++o)
                outputs.push_back(o < 100 ? o : n - 200 + o);
            const std::vector<double> want = reference(x, inverse, outputs);
            std::vector<float> y(n);
            ASSERT_EQ((inverse ? dct_inv : dct_fwd)(x.data(), y.data(), d.spec, d.work_mem()),
                      zemStatusOk);
            double num = 0, den = 0;
            for (std::size_t o : outputs) {
                num += (y[o] - want[o]) * (y[o] - want[o]);
                den += want[o] * want[o];
            }
            // Two single-precision FFTs of 2^16 points beyond 2^15; one rounding of the
            // double-precision result below.
            const bool single = (n & 1 ? n : n / 2) > 16384;
            EXPECT_LE(std::sqrt(num / den), single ? 3e-7 : 1.5e-7) << n << " " << inverse;
            EXPECT_TRUE(d.guards_intact()) << n;
        }
}

// The two double-precision FFT kernels of the chirp-z convolution: identical bits, nothing
// written past the P values, and the pair returns P times its input.
TEST(TransformDct, ChirpFftKernelsAgreeAndInvert) {
    const unsigned seed = zemtest::seed();
    for (int32_t order : {1, 2, 5, 10}) {
        const int32_t P = 1 << order;
        std::vector<double> tw(P > 1 ? P : 2);
        for (int32_t i = 0; i < P / 2; ++i) {
            tw[2 * i] = std::cos(6.283185307179586 * i / P);
            tw[2 * i + 1] = -std::sin(6.283185307179586 * i / P);
        }
        std::mt19937 rng(seed + order);
        std::uniform_real_distribution<double> u(-1.0, 1.0);
        constexpr double kCanary = -7.25;
        alignas(16) double x[2050], a[2050], b[2050];
        for (int32_t i = 0; i < 2 * P + 2; ++i)
            x[i] = a[i] = b[i] = i < 2 * P ? u(rng) : kCanary;
        for (const bool inverse : {false, true}) {
            (inverse ? kChirpFftScalar.inverse : kChirpFftScalar.forward)(a, P, tw.data());
            (inverse ? kChirpFftSse2.inverse : kChirpFftSse2.forward)(b, P, tw.data());
            ASSERT_EQ(std::memcmp(a, b, sizeof(double) * (2 * P + 2)), 0)
                << order << " " << inverse;
            ASSERT_TRUE(b[2 * P] == kCanary && b[2 * P + 1] == kCanary) << order << " " << inverse;
        }
        for (int32_t i = 0; i < 2 * P; ++i)
            ASSERT_NEAR(a[i] / P, x[i], 1e-14) << order << " " << i;
    }
}

TEST(TransformDct, ArgumentChecksTagsAndAllocationFailure) {
    Dct f(46, false), b(46, true);
    std::vector<float> x(46, 1.0f), y(46, 5.0f);
    const std::vector<float> keep = y;
    // Pointers first, then the tag: an inverse spec (and an FFT spec) fail the forward call.
    EXPECT_EQ(dct_fwd(nullptr, y.data(), b.spec, nullptr), zemStatusNullPointer);
    EXPECT_EQ(dct_fwd(x.data(), y.data(), nullptr, nullptr), zemStatusNullPointer);
    EXPECT_EQ(dct_fwd(x.data(), y.data(), b.spec, nullptr), zemStatusContextMismatch);
    EXPECT_EQ(dct_inv(x.data(), y.data(), f.spec, nullptr), zemStatusContextMismatch);
    ZemFftSpec* fft = nullptr;
    ASSERT_EQ(fft_init_alloc(&fft, 4, FftNoScale, 0), zemStatusOk);
    EXPECT_EQ(dct_inv(x.data(), y.data(), reinterpret_cast<ZemDctSpec*>(fft), nullptr),
              zemStatusContextMismatch);
    EXPECT_EQ(fft_free(fft), zemStatusOk);
    EXPECT_EQ(y, keep);

    // Init: length, then pointers, then the limits; the chirp-z lengths need the init scratch.
    ZemDctSpec* out = nullptr;
    uint8_t mem[512];
    EXPECT_EQ(dct_fwd_init(nullptr, 0, 0, mem, nullptr), zemStatusBadSize);
    EXPECT_EQ(dct_fwd_init(nullptr, 8, 0, mem, nullptr), zemStatusNullPointer);
    EXPECT_EQ(dct_inv_init(&out, 8, 0, nullptr, nullptr), zemStatusNullPointer);
    EXPECT_EQ(dct_inv_init(&out, 46, 0, f.mem.data(), nullptr), zemStatusNullPointer);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(dct_inv_init(&out, 8, 7, mem, nullptr), zemStatusOk);
    EXPECT_EQ(out->hint, 7);

    // The on-the-fly work buffer: its failure leaves the output unwritten and leaks nothing.
    const long before = zemcoreOutstandingBlocks();
    for (int32_t n : {12, 46, 64}) {
        Dct d(n, false);
        std::vector<float> in(n, 1.0f), res(n, 5.0f);
        zemcoreFailAllocation(1);
        EXPECT_EQ(dct_fwd(in.data(), res.data(), d.spec, nullptr), zemStatusNoMemory) << n;
        zemcoreFailAllocation(0);
        EXPECT_EQ(res, std::vector<float>(n, 5.0f));
        EXPECT_EQ(dct_fwd(in.data(), res.data(), d.spec, nullptr), zemStatusOk);
    }
    // The small kernels need no work buffer at all.
    zemcoreFailAllocation(1);
    EXPECT_EQ(dct_inv(x.data(), y.data(), out, nullptr), zemStatusOk);
    zemcoreFailAllocation(0);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);
}
