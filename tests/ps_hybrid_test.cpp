// The PS hybrid analysis against direct convolution with the prototypes (read from the listing in
// tests/data) in double precision for every configuration, the columns it must leave alone, the
// prototype's sums, and the SSE2 filter against the scalar one.
#include <gtest/gtest.h>

#include <complex>
#include <cstring>
#include <fstream>
#include <map>
#include <numbers>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ps/hybrid.hpp"
#include "support/seed.hpp"
#include "zemac.h"

namespace {

using cplx = std::complex<double>;

// g(0..6) per configuration from tests/data/tables/ps_tables.txt.
std::vector<double> prototype(int config) {
    static const char* names[5] = {"hyb_20_q2", "hyb_34_q4", "hyb_20_q8", "hyb_34_q8",
                                   "hyb_34_q12"};
    std::ifstream in(std::string(ZEM_TEST_DATA_DIR) + "/tables/ps_tables.txt");
    std::string line;
    std::vector<double> g;
    bool inside = false;
    while (std::getline(in, line)) {
        if (line.rfind("TABLE ", 0) == 0) {
            inside = line.find(std::string(" ") + names[config] + " ") != std::string::npos;
            continue;
        }
        if (!inside || line.empty() || line[0] == '#')
            continue;
        std::istringstream f(line);
        int n;
        double v;
        if (f >> n >> v)
            g.push_back(v);
    }
    return g;
}

constexpr int kBands[5] = {2, 4, 8, 8, 12};

cplx tap(int config, const std::vector<double>& g, int q, int n) {
    const double gn = g[n <= 6 ? n : 12 - n];
    if (config == 0)
        return gn * std::cos(std::numbers::pi * q * (n - 6));
    return gn * std::polar(1.0, 2 * std::numbers::pi / kBands[config] * (q + 0.5) * (n - 6));
}

TEST(PsHybridAnalysis, DirectConvolutionForEveryConfiguration) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    for (int config = 0; config < 5; ++config) {
        const std::vector<double> g = prototype(config);
        std::vector<Zem32fc> x(44), y(32 * 12, Zem32fc{7.0f, 7.0f});
        for (Zem32fc& v : x)
            v = {d(rng), d(rng)};
        ASSERT_EQ(zemsAnalysisFilter_PS_32fc_D2(x.data(), y.data(), config), zemStatusOk);
        double e = 0, p = 0;
        for (int k = 0; k < 32; ++k)
            for (int q = 0; q < 12; ++q) {
                const Zem32fc got = y[12 * k + q];
                if (q >= kBands[config]) {
                    EXPECT_TRUE(got.re == 7.0f && got.im == 7.0f) << config << " " << q;
                    continue;
                }
                cplx want = 0;
                for (int n = 0; n < 13; ++n)
                    want += tap(config, g, q, n) * cplx(x[k + 12 - n].re, x[k + 12 - n].im);
                e += std::norm(cplx(got.re, got.im) - want);
                p += std::norm(want);
            }
        EXPECT_LE(std::sqrt(e / p), 1e-6) << "config " << config;
    }
}

// Constant 1 into the two-band filter: the sum of the taps and the alternating sum.
TEST(PsHybridAnalysis, TwoBandFilterOnAConstant) {
    std::vector<Zem32fc> ones(44, Zem32fc{1.0f, 0.0f}), y(32 * 12);
    ASSERT_EQ(zemsAnalysisFilter_PS_32fc_D2(ones.data(), y.data(), 0), zemStatusOk);
    EXPECT_NEAR(y[12 * 5].re, 1.0040596, 1e-6);
    EXPECT_NEAR(y[12 * 5 + 1].re, -0.0040596, 1e-6);
}

TEST(PsHybridAnalysis, Sse2AgreesWithScalarToTheBit) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> d(-1e3f, 1e3f);
    std::vector<float> x(88), a(32 * 24), b(32 * 24);
    for (float& v : x)
        v = d(rng);
    for (int config = 0; config < 5; ++config) {
        const auto& c = zem::ps::hybrid_config(config);
        zem::ps::kHybridScalar.filter(x.data(), a.data(), c);
        zem::ps::kHybridSse2.filter(x.data(), b.data(), c);
        for (int k = 0; k < 32; ++k)
            EXPECT_EQ(0, std::memcmp(&a[24 * k], &b[24 * k], 2 * c.bands * sizeof(float)))
                << config << " " << k;
    }
}

} // namespace
