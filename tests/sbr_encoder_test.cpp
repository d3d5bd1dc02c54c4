// The SBR encoder tools: the 64-band analysis bank against a double evaluation of its sums, its
// record's sizes and lifecycle (the failing allocator at each allocation), and the transient
// detector's threshold and accumulators on energies with a known answer.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

#include "support/sbr_qmf_model.hpp"
#include "support/seed.hpp"
#include "zemac.h"
#include "zemcore_testing.h"

namespace {

struct EncBank {
    std::vector<uint8_t> mem, init;
    ZemSbrAnalysisEncSpec_32f* spec;
    EncBank() {
        int32_t s = 0, i = 0;
        EXPECT_EQ(zemsAnalysisFilterEncGetSize_SBR_32f(&s, &i), zemStatusOk);
        EXPECT_EQ(s, 1407);
        EXPECT_EQ(i, 4);
        mem.resize(std::size_t(s) + 1);
        init.resize(std::size_t(i));
        // An odd start: the record sits at the first 16-byte boundary of whatever it is given.
        EXPECT_EQ(zemsAnalysisFilterEncInit_SBR_32f(mem.data() + 1, init.data()), zemStatusOk);
        spec = reinterpret_cast<ZemSbrAnalysisEncSpec_32f*>(mem.data() + 1);
    }
};

std::vector<std::complex<double>> defining_sums(const float* src) {
    const std::vector<double> c = zemtest::qmf_window();
    std::vector<double> u(128, 0.0);
    for (int n = 0; n < 128; ++n)
        for (int m = 0; m < 5; ++m)
            u[n] += c[n + 128 * m] * src[639 - n - 128 * m];
    std::vector<std::complex<double>> X(64);
    for (int k = 0; k < 64; ++k)
        for (int n = 0; n < 128; ++n)
            X[k] += u[n] * std::polar(1.0, std::numbers::pi * (k + 0.5) * (2 * n + 1) / 128);
    return X;
}

TEST(SbrEncoderBank, MatchesTheDefiningSums) {
    EncBank bank;
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    std::vector<float> signal(640 + 64 * 16);
    for (std::size_t i = 0; i < signal.size(); ++i)
        signal[i] = i % 3 ? d(rng) : float(std::sin(0.37 * double(i)));
    double worst = 0;
    for (int slot = 0; slot < 16; ++slot) {
        const float* src = signal.data() + 64 * slot;
        Zem32fc X[64];
        ASSERT_EQ(zemsAnalysisFilterEnc_SBR_32f32fc(src, X, bank.spec), zemStatusOk);
        const auto want = defining_sums(src);
        double e = 0, p = 0;
        for (int k = 0; k < 64; ++k) {
            e += std::norm(std::complex<double>(X[k].re, X[k].im) - want[k]);
            p += std::norm(want[k]);
        }
        worst = std::max(worst, std::sqrt(e / p));
    }
    EXPECT_LE(worst, 1e-6);
}

TEST(SbrEncoderBank, LifecycleAndFailingAllocations) {
    EncBank byInit;
    EXPECT_EQ(zemsAnalysisFilterEncFree_SBR_32f(byInit.spec), zemStatusOk); // the caller's memory
    const long before = zemcoreOutstandingBlocks();
    for (long failAt = 1; failAt <= 3; ++failAt) {
        ZemSbrAnalysisEncSpec_32f* spec = reinterpret_cast<ZemSbrAnalysisEncSpec_32f*>(&failAt);
        zemcoreFailAllocation(failAt);
        const ZemStatus st = zemsAnalysisFilterEncInitAlloc_SBR_32f(&spec);
        zemcoreFailAllocation(0);
        if (failAt <= 2) {
            EXPECT_EQ(st, zemStatusNoMemory) << failAt;
            EXPECT_EQ(spec, nullptr);
        } else {
            ASSERT_EQ(st, zemStatusOk);
            std::vector<float> src(640, 0.5f);
            Zem32fc X[64], Y[64];
            ASSERT_EQ(zemsAnalysisFilterEnc_SBR_32f32fc(src.data(), X, spec), zemStatusOk);
            ASSERT_EQ(zemsAnalysisFilterEnc_SBR_32f32fc(src.data(), Y, byInit.spec), zemStatusOk);
            EXPECT_EQ(0, std::memcmp(X, Y, sizeof X));
            EXPECT_EQ(zemsAnalysisFilterEncFree_SBR_32f(spec), zemStatusOk);
        }
        EXPECT_EQ(zemcoreOutstandingBlocks(), before) << failAt;
    }
}

TEST(SbrTransientDetector, ThresholdAndRises) {
    // Equal energies: no spread, no rise; the threshold decays by 0.66 towards its floor.
    std::vector<float> E(64, 5.0e6f), acc(61, 0.25f);
    float thr = 1.0e6f;
    ASSERT_EQ(zemsDetectTransient_SBR_32f(E.data(), &thr, acc.data()), zemStatusOk);
    EXPECT_FLOAT_EQ(thr, 660000.0f);
    EXPECT_EQ(acc, std::vector<float>(61, 0.25f));
    for (int i = 0; i < 8; ++i)
        zemsDetectTransient_SBR_32f(E.data(), &thr, acc.data());
    EXPECT_EQ(thr, 128000.0f);

    // A step at slot 40: the pair averages H(40) onwards are high. With T at its floor (the
    // spread of 24 low and 24 high values sets it), the rises land where the formulas put them.
    std::fill(E.begin(), E.end(), 0.0f);
    for (int i = 40; i < 64; ++i)
        E[i] = 1.0e6f;
    std::fill(acc.begin(), acc.end(), 0.0f);
    thr = 0.0f;
    ASSERT_EQ(zemsDetectTransient_SBR_32f(E.data(), &thr, acc.data()), zemStatusOk);
    const double sigma = std::sqrt((48.0 * 24 * 1e12 - 24e6 * 24e6) / (48.0 * 47.0));
    const float T = float(std::max(128000.0, 0.34 * sigma));
    EXPECT_NEAR(thr, T, T * 1e-6);
    const auto H = [&](int j) { return (double(E[j]) + E[j + 1]) / 2; };
    std::vector<double> want(61, 0.0);
    const auto add = [&](double v, int at) {
        if (v > T)
            want[at] += v / T - 1;
    };
    for (int i = 15; i <= 59; i += 2) {
        if (i != 15) {
            add(H(i + 1) - H(i - 1), i);
            add(2 * H(i + 1) - H(i - 1) - H(i - 3), i);
            add(2 * H(i + 1) + H(i + 3) - H(i - 1) - 2 * H(i - 3), i);
        }
        add(H(i + 1) - H(i - 1), i + 1);
        add(H(i + 1) + H(i + 3) - 2 * H(i - 1), i + 1);
        add(H(i + 1) + 2 * H(i + 3) - 2 * H(i - 1) - H(i - 3), i + 1);
    }
    for (int i = 0; i < 61; ++i)
        EXPECT_NEAR(acc[i], want[i], 1e-4 * (1 + want[i])) << i;
    EXPECT_GT(acc[39], 0.0f); // the rise itself is seen
    EXPECT_EQ(acc[30], 0.0f);
}

} // namespace
