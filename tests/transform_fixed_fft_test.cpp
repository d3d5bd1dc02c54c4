#include "core/cpu.hpp"
#include "support/fixed_fft_model.hpp"
#include "support/seed.hpp"
#include "transform/fixed_fft.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <vector>

namespace {

using zem::TwiddleRounding;

constexpr auto kOrder2 = zem::make_fixed_fft_table<2, TwiddleRounding::AddHalf>();
constexpr auto kOrder3 = zem::make_fixed_fft_table<3, TwiddleRounding::AddHalf>();
constexpr auto kOrder4 = zem::make_fixed_fft_table<4, TwiddleRounding::AddHalf>();
constexpr auto kOrder5 = zem::make_fixed_fft_table<5, TwiddleRounding::Truncate>();
constexpr auto kOrder6 = zem::make_fixed_fft_table<6, TwiddleRounding::AddHalf>();
constexpr auto kOrder7 = zem::make_fixed_fft_table<7, TwiddleRounding::Truncate>();
constexpr auto kOrder8 = zem::make_fixed_fft_table<8, TwiddleRounding::AddHalf>();
constexpr auto kOrder9 = zem::make_fixed_fft_table<9, TwiddleRounding::AddHalf>();

struct AnyTable {
    int order;
    const int32_t* twiddle;
    const uint8_t* swap;
};

template <int Order> AnyTable any(const zem::FixedFftTable<Order>& t) {
    return {Order, t.twiddle, t.swap};
}

std::vector<AnyTable> all_tables() {
    return {any(kOrder2), any(kOrder3), any(kOrder4), any(kOrder5),
            any(kOrder6), any(kOrder7), any(kOrder8), any(kOrder9)};
}

// Twiddles of both roundings (the swap lists are checked as permutations below).
TEST(FixedFftTables, TwiddleAnchors) {
    EXPECT_EQ(kOrder5.twiddle[0], 1053110175);
    EXPECT_EQ(kOrder5.twiddle[1], 992008094);
    EXPECT_EQ(kOrder5.twiddle[2], 892783698);
    const int run6 = 64 / 8 - 1;
    EXPECT_EQ(kOrder6.twiddle[run6 + 5], -209476637);
    EXPECT_EQ(kOrder6.twiddle[run6 + 6], -506158391);
    EXPECT_EQ(kOrder9.twiddle[0], 1073660973);
    EXPECT_EQ(kOrder9.twiddle[1], 1073418433);
}

TEST(FixedFftTables, SwapListIsTheBitReversal) {
    for (const AnyTable& t : all_tables()) {
        const int n = 1 << t.order;
        std::vector<int> perm(n);
        for (int i = 0; i < n; ++i)
            perm[i] = i;
        const uint8_t* s = t.swap;
        for (; *s; s += 2) {
            std::swap(perm[s[0]], perm[s[1]]);
            std::swap(perm[s[0] + 1], perm[s[1] + n / 2]);
            std::swap(perm[s[0] + n / 2], perm[s[1] + 1]);
            std::swap(perm[s[0] + n / 2 + 1], perm[s[1] + n / 2 + 1]);
        }
        do {
            std::swap(perm[*s + 1], perm[*s + n / 2]);
            ++s;
        } while (*s);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(perm[i], zem::detail::bit_reverse(i, t.order))
                << "order " << t.order << " at " << i;
    }
}

// With headroom the transform is the forward DFT up to the Q30 twiddles' rounding.
TEST(FixedFft, MatchesDoublePrecisionDft) {
    std::mt19937 rng(zemtest::seed());
    for (const AnyTable& t : all_tables()) {
        const int n = 1 << t.order;
        std::uniform_int_distribution<int32_t> value(-(1 << 20), 1 << 20);
        std::vector<int32_t> x(2 * n);
        for (int32_t& v : x)
            v = value(rng);
        std::vector<std::complex<double>> want(n);
        for (int k = 0; k < n; ++k)
            for (int m = 0; m < n; ++m)
                want[k] += std::complex<double>(x[2 * m], x[2 * m + 1]) *
                           std::polar(1.0, -2.0 * M_PI * k * m / n);
        zem::fixed_fft_sse2(x.data(), t.order, t.twiddle, t.swap);
        double err = 0, ref = 0;
        for (int k = 0; k < n; ++k) {
            err += std::norm(std::complex<double>(x[2 * k], x[2 * k + 1]) - want[k]);
            ref += std::norm(want[k]);
        }
        EXPECT_LT(std::sqrt(err / ref), 2e-6) << "order " << t.order;
    }
}

// Both kernels against the step-by-step model, bit for bit: moderate inputs, full 32-bit inputs
// whose sums wrap, and extreme values only (the sanitizer build would flag an overflow that is
// not a defined wrap). The data sits at every int32 offset of a 16-byte line, between canaries.
TEST(FixedFft, KernelsMatchStepByStepModel) {
    using Kernel = void (*)(int32_t*, int, const int32_t*, const uint8_t*);
    struct Named {
        const char* name;
        Kernel run;
    };
    std::vector<Named> kernels = {{"sse2", zem::kFixedFftSse2.forward},
                                  {"scalar", zem::kFixedFftScalar.forward}};
#if defined(__x86_64__)
    if (zem::cpu_has_avx2())
        kernels.push_back({"avx2", zem::kFixedFftAvx2.forward});
#endif
    constexpr int32_t kCanary = 0x5EA1ED;
    std::mt19937 rng(zemtest::seed());
    for (const AnyTable& t : all_tables())
        for (int kind = 0; kind < 3; ++kind) {
            const int n = 1 << t.order;
            std::vector<int32_t> x(2 * n);
            for (int32_t& v : x)
                v = kind == 0     ? int32_t(rng()) >> 8
                    : kind == 1   ? int32_t(rng())
                    : (rng() & 1) ? INT32_MAX
                                  : INT32_MIN;
            std::vector<int32_t> want = x;
            zemtest::fixed_fft_model(want.data(), t.order, t.twiddle, t.swap);
            for (const auto& kernel : kernels)
                for (int offset = 0; offset < 4; ++offset) {
                    std::vector<int32_t> buf(2 * n + 8, kCanary);
                    std::copy(x.begin(), x.end(), buf.begin() + offset);
                    kernel.run(buf.data() + offset, t.order, t.twiddle, t.swap);
                    ASSERT_TRUE(std::equal(want.begin(), want.end(), buf.begin() + offset))
                        << kernel.name << " order " << t.order << " input kind " << kind
                        << " offset " << offset;
                    for (int i = 0; i < offset; ++i)
                        ASSERT_EQ(buf[i], kCanary);
                    for (int i = offset + 2 * n; i < 2 * n + 8; ++i)
                        ASSERT_EQ(buf[i], kCanary);
                }
        }
}

} // namespace
