// HF-generation prediction and the tonality estimator against a double-precision evaluation of
// the covariance method: the three float exports on noise and resonant processes (every band
// count around the four-band blocks), the fixed exports within 8 Q29 units on full-scale input at
// every headroom shift, the documented degenerate answers (silence, exactly predictable bands,
// the |alpha| >= 4 reset, equal samples), the 40-row limit, and the SSE2 covariance sums equal to
// the scalar ones to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "sbr/covariance.hpp"
#include "sbr/prediction_fixed.hpp"
#include "support/seed.hpp"
#include "zemac.h"

namespace {

using cplx = std::complex<double>;

// ---- double-precision model -------------------------------------------------------------------

struct ModelAlphas {
    cplx a0, a1;
    double r; // -phi(0,1)/phi(1,1), real part
};

struct ModelPhi {
    cplx p01, p02, p12;
    double p00, p11, p22;
};

ModelPhi model_phi(const std::vector<cplx>& x, int len) {
    ModelPhi p{};
    for (int m = 2; m < len + 2; ++m) {
        p.p00 += std::norm(x[m]);
        p.p01 += x[m] * std::conj(x[m - 1]);
        p.p02 += x[m] * std::conj(x[m - 2]);
        p.p11 += std::norm(x[m - 1]);
        p.p12 += x[m - 1] * std::conj(x[m - 2]);
        p.p22 += std::norm(x[m - 2]);
    }
    return p;
}

ModelAlphas model_predict(const std::vector<cplx>& x, int len, double rho) {
    const ModelPhi p = model_phi(x, len);
    ModelAlphas a{};
    const double d = p.p22 * p.p11 - rho * std::norm(p.p12);
    if (d > 0)
        a.a1 = (p.p01 * p.p12 - p.p02 * p.p11) / d;
    if (p.p11 != 0) {
        a.a0 = -(p.p01 + a.a1 * std::conj(p.p12)) / p.p11;
        a.r = std::clamp(-p.p01.real() / p.p11, -1.0, 1.0);
    }
    if (std::norm(a.a0) >= 16 || std::norm(a.a1) >= 16)
        a.a0 = a.a1 = 0;
    return a;
}

// ---- test signals -----------------------------------------------------------------------------

// One band's samples x[0 .. n - 1]: white noise, or noise through a resonant second-order
// filter x[n] = e[n] + 1.2 cos(w) x[n-1] - 0.36 x[n-2] (a pole pair at radius 0.6).
enum class Kind { Noise, Resonant };

std::vector<cplx> band_signal(Kind kind, bool complexValued, int n, std::mt19937& rng) {
    std::normal_distribution<double> g(0.0, 1.0);
    std::uniform_real_distribution<double> angle(0.2, 2.9);
    const double w = angle(rng);
    std::vector<cplx> x(n);
    for (int i = 0; i < n; ++i) {
        const cplx e(g(rng), complexValued ? g(rng) : 0.0);
        x[i] = e;
        if (kind == Kind::Resonant && i >= 2)
            x[i] += 1.2 * std::cos(w) * x[i - 1] - 0.36 * x[i - 2];
    }
    return x;
}

// Samples scaled so that the largest real or imaginary magnitude is `peak`, rounded to integers.
std::vector<cplx> to_full_scale(std::vector<cplx> x, double peak) {
    double m = 0;
    for (const cplx& v : x)
        m = std::max({m, std::abs(v.real()), std::abs(v.imag())});
    for (cplx& v : x)
        v = {std::nearbyint(v.real() * peak / m), std::nearbyint(v.imag() * peak / m)};
    return x;
}

// The fixed paths' first step: samples shifted right (rounding down) until the largest magnitude
// is below 2^29, by 3 bits at most.
std::vector<cplx> with_headroom(std::vector<cplx> x) {
    double m = 0;
    for (const cplx& v : x)
        m = std::max({m, std::abs(v.real()), std::abs(v.imag())});
    const double scale = m >= 2147483648.0 ? 8 : m >= 1073741824.0 ? 4 : m >= 536870912.0 ? 2 : 1;
    for (cplx& v : x)
        v = {std::floor(v.real() / scale), std::floor(v.imag() / scale)};
    return x;
}

// ---- the float exports on one grid of slots x bands ---------------------------------------------

struct Grid {
    int slots, bands;
    std::vector<std::vector<Zem32fc>> c;
    std::vector<std::vector<float>> re, im;
    Grid(int s, int b) : slots(s), bands(b), c(s, std::vector<Zem32fc>(b)), re(s), im(s) {
        for (int l = 0; l < s; ++l)
            re[l].resize(b), im[l].resize(b);
    }
    void set(int l, int k, cplx v) {
        c[l][k] = {float(v.real()), float(v.imag())};
        re[l][k] = float(v.real());
        im[l][k] = float(v.imag());
    }
    std::vector<cplx> band(int k) const {
        std::vector<cplx> x(slots);
        for (int l = 0; l < slots; ++l)
            x[l] = {c[l][k].re, c[l][k].im};
        return x;
    }
};

struct FloatAlphas {
    std::vector<cplx> a0, a1;
};

struct FloatExport {
    const char* name;
    bool complexValued;
    FloatAlphas (*run)(const Grid&, int numBands, int len);
};

template <class T> std::vector<const T*> rows_of(const std::vector<std::vector<T>>& v) {
    std::vector<const T*> r;
    for (const auto& row : v)
        r.push_back(row.data());
    return r;
}

const FloatExport kFloatExports[] = {
    {"R_32f", false,
     [](const Grid& g, int n, int len) {
         std::vector<float> a0(g.bands, 99.0f), a1(g.bands, 99.0f);
         EXPECT_EQ(
             zemsPredictCoef_SBR_R_32f_D2L(rows_of(g.re).data(), a0.data(), a1.data(), n, len),
             zemStatusOk);
         return FloatAlphas{{a0.begin(), a0.end()}, {a1.begin(), a1.end()}};
     }},
    {"C_32fc", true,
     [](const Grid& g, int n, int len) {
         std::vector<Zem32fc> a0(g.bands, {99.0f, 99.0f}), a1(g.bands, {99.0f, 99.0f});
         EXPECT_EQ(
             zemsPredictCoef_SBR_C_32fc_D2L(rows_of(g.c).data(), a0.data(), a1.data(), n, len),
             zemStatusOk);
         FloatAlphas a;
         for (int k = 0; k < g.bands; ++k) {
             a.a0.emplace_back(a0[k].re, a0[k].im);
             a.a1.emplace_back(a1[k].re, a1[k].im);
         }
         return a;
     }},
    {"C_32f", true,
     [](const Grid& g, int n, int len) {
         std::vector<float> v[4];
         for (auto& a : v)
             a.assign(g.bands, 99.0f);
         EXPECT_EQ(zemsPredictCoef_SBR_C_32f_D2L(rows_of(g.re).data(), rows_of(g.im).data(),
                                                 v[0].data(), v[1].data(), v[2].data(), v[3].data(),
                                                 n, len),
                   zemStatusOk);
         FloatAlphas a;
         for (int k = 0; k < g.bands; ++k) {
             a.a0.emplace_back(v[0][k], v[1][k]);
             a.a1.emplace_back(v[2][k], v[3][k]);
         }
         return a;
     }},
};

constexpr double kRhoFloat = double(zem::sbr::kRelaxation);

TEST(SbrPredictionFloat, MatchesModelOnEveryBandCount) {
    std::mt19937 rng(zemtest::seed());
    for (const FloatExport& e : kFloatExports) {
        for (Kind kind : {Kind::Noise, Kind::Resonant}) {
            for (int numBands : {1, 3, 4, 5, 8, 11, 32, 64}) {
                const int len = 38;
                Grid g(len + 2, numBands + 1); // one band more than asked for: left untouched
                for (int k = 0; k < numBands + 1; ++k) {
                    const auto x = band_signal(kind, e.complexValued, len + 2, rng);
                    for (int l = 0; l < len + 2; ++l)
                        g.set(l, k, x[l] * 1000.0);
                }
                const FloatAlphas got = e.run(g, numBands, len);
                double worst = 0;
                for (int k = 0; k < numBands; ++k) {
                    const ModelAlphas want = model_predict(g.band(k), len, kRhoFloat);
                    worst = std::max(
                        {worst, std::abs(got.a0[k] - want.a0), std::abs(got.a1[k] - want.a1)});
                }
                EXPECT_LT(worst, kind == Kind::Noise ? 2e-5 : 2e-4)
                    << e.name << " bands " << numBands;
                EXPECT_EQ(got.a0[numBands].real(), 99.0f) << e.name;
                EXPECT_EQ(got.a1[numBands].real(), 99.0f) << e.name;
            }
        }
    }
}

// Degenerate bands: silence gives zeros; an exactly predictable band (a complex exponential, or
// for real data a cosine) keeps d positive through the relaxation and yields either the zero
// reset or finite coefficients that remove nearly all of its energy; len = 1 reads rows 0 to 2
// only (the rows after them hold NaN).
TEST(SbrPredictionFloat, DegenerateBands) {
    for (const FloatExport& e : kFloatExports) {
        const int len = 38;
        Grid g(len + 2, 3);
        for (int l = 0; l < len + 2; ++l) {
            const double ph = 0.7 * l;
            g.set(l, 0, 0.0);
            g.set(l, 1, e.complexValued ? std::polar(300.0, ph) : cplx(300.0 * std::cos(ph)));
            g.set(l, 2, 0.0);
        }
        const FloatAlphas a = e.run(g, 3, len);
        EXPECT_EQ(a.a0[0], cplx(0)) << e.name;
        EXPECT_EQ(a.a1[0], cplx(0)) << e.name;
        ASSERT_TRUE(std::isfinite(std::abs(a.a0[1])) && std::isfinite(std::abs(a.a1[1])));
        const auto x = g.band(1);
        double residual = 0, energy = 0;
        for (int m = 2; m < len + 2; ++m) {
            residual += std::norm(x[m] + a.a0[1] * x[m - 1] + a.a1[1] * x[m - 2]);
            energy += std::norm(x[m]);
        }
        if (a.a0[1] != cplx(0) || a.a1[1] != cplx(0)) {
            EXPECT_LT(residual, 1e-4 * energy) << e.name;
        }

        // len = 1: the same answer from exactly three rows and from forty whose last 37 are NaN.
        Grid three(3, 4), poisoned(40, 4);
        std::mt19937 rng(zemtest::seed() + 1);
        std::normal_distribution<double> n01;
        for (int l = 0; l < 40; ++l)
            for (int k = 0; k < 4; ++k) {
                const cplx v(n01(rng), e.complexValued ? n01(rng) : 0.0);
                poisoned.set(l, k, l < 3 ? v : cplx(std::numeric_limits<double>::quiet_NaN()));
                if (l < 3)
                    three.set(l, k, v);
            }
        const FloatAlphas short3 = e.run(three, 4, 1), long40 = e.run(poisoned, 4, 1);
        for (int k = 0; k < 4; ++k) {
            EXPECT_TRUE(std::isfinite(std::abs(short3.a0[k]) + std::abs(short3.a1[k]))) << e.name;
            EXPECT_EQ(short3.a0[k], long40.a0[k]) << e.name;
            EXPECT_EQ(short3.a1[k], long40.a1[k]) << e.name;
        }
    }
}

// A band that grows by a factor f every second slot is predicted exactly by alpha1 = -f; at
// f = 3.9 the predictor stands, at 4.5 both coefficients are reset.
TEST(SbrPredictionFloat, UnstablePredictorIsReset) {
    for (const FloatExport& e : kFloatExports) {
        for (double f : {3.9, 4.5}) {
            const int len = 6;
            Grid g(len + 2, 1);
            for (int l = 0; l < len + 2; ++l)
                g.set(l, 0, std::pow(f, l / 2) * (e.complexValued ? cplx(1, -2) : cplx(1)));
            const FloatAlphas a = e.run(g, 1, len);
            const cplx want1 = f < 4 ? -f : 0.0;
            EXPECT_NEAR(std::abs(a.a1[0] - want1), 0.0, 1e-3) << e.name << " f " << f;
            EXPECT_NEAR(std::abs(a.a0[0]), 0.0, 1e-3) << e.name << " f " << f;
        }
    }
}

// ---- fixed point -------------------------------------------------------------------------------

struct FixedRun {
    cplx a0, a1;
    int32_t r;
};

FixedRun run_hq(const std::vector<cplx>& x, int len) {
    std::vector<Zem32sc> samples(x.size());
    std::vector<const Zem32sc*> rows(x.size());
    for (size_t l = 0; l < x.size(); ++l) {
        samples[l] = {int32_t(x[l].real()), int32_t(x[l].imag())};
        rows[l] = &samples[l];
    }
    Zem32sc a0{7, 7}, a1{7, 7};
    EXPECT_EQ(zemsPredictOneCoef_SBRHQ_32sc_D2L(rows.data(), &a0, &a1, 0, len), zemStatusOk);
    return {{double(a0.re), double(a0.im)}, {double(a1.re), double(a1.im)}, 0};
}

FixedRun run_lp(const std::vector<cplx>& x, int len, int calcAlpha) {
    // Band 1 of two, so that the band index is honoured.
    std::vector<int32_t> samples(2 * x.size(), 12345);
    std::vector<const int32_t*> rows(x.size());
    for (size_t l = 0; l < x.size(); ++l) {
        samples[2 * l + 1] = int32_t(x[l].real());
        rows[l] = &samples[2 * l];
    }
    int32_t a0 = 7, a1 = 7, r = 7;
    EXPECT_EQ(zemsPredictOneCoef_SBRLP_32s_D2L(rows.data(), &a0, &a1, &r, 1, len, calcAlpha),
              zemStatusOk);
    return {double(a0), double(a1), r};
}

constexpr double kQ29 = 536870912.0;
constexpr double kRhoLowPower = 1.0 - 1.0 / 1048576.0; // 0x7FFFF800 in Q31

// Full-scale bands at every headroom shift (the peak placed exactly, including -2^31), noise and
// resonant: both paths within 8 Q29 units of the exact formulas.
TEST(SbrPredictionFixed, MatchesModelWithinEightUnits) {
    struct Scale {
        double peak;
        bool negativePeak;
    };
    const Scale scales[] = {{536870911.0, false},
                            {536870912.0, false},
                            {1073741824.0, true},
                            {2147483647.0, false},
                            {2147483648.0, true}};
    std::mt19937 rng(zemtest::seed() + 2);
    double worst = 0;
    for (const Scale& s : scales) {
        for (Kind kind : {Kind::Noise, Kind::Resonant}) {
            for (int trial = 0; trial < 20; ++trial) {
                const int len = 38;
                for (bool complexValued : {true, false}) {
                    auto x = to_full_scale(band_signal(kind, complexValued, len + 2, rng),
                                           std::min(s.peak, 2147483647.0));
                    x[20] = {s.negativePeak ? -s.peak : s.peak, x[20].imag()};
                    if (complexValued) {
                        const FixedRun got = run_hq(x, len);
                        const ModelAlphas want = model_predict(with_headroom(x), len, 1.0);
                        const double e = std::max(std::abs(got.a0 - want.a0 * kQ29),
                                                  std::abs(got.a1 - want.a1 * kQ29));
                        EXPECT_LE(e, 8.0) << "HQ peak " << s.peak << " trial " << trial;
                        worst = std::max(worst, e);
                    } else {
                        const FixedRun got = run_lp(x, len, 1);
                        const ModelAlphas want = model_predict(with_headroom(x), len, kRhoLowPower);
                        const double e = std::max({std::abs(got.a0 - want.a0 * kQ29),
                                                   std::abs(got.a1 - want.a1 * kQ29),
                                                   std::abs(got.r - want.r * kQ29)});
                        EXPECT_LE(e, 8.0) << "LP peak " << s.peak << " trial " << trial;
                        worst = std::max(worst, e);
                    }
                }
            }
        }
    }
    std::printf("fixed prediction: worst %.1f Q29 units from the model\n", worst);
}

TEST(SbrPredictionFixed, HeadroomShift) {
    const struct {
        int64_t m;
        int32_t shift;
    } cases[] = {{1, 0},       {(1 << 29) - 1, 0}, {1 << 29, 1},         {(1 << 30) - 1, 1},
                 {1 << 30, 2}, {INT32_MAX, 2},     {int64_t(1) << 31, 3}};
    for (const auto& c : cases)
        EXPECT_EQ(zem::sbr::headroom_shift(c.m), c.shift) << c.m;
}

TEST(SbrPredictionFixed, RatioAcrossMagnitudes) {
    std::mt19937 rng(zemtest::seed() + 3);
    std::uniform_int_distribution<int64_t> v(1, (int64_t(1) << 62) - 1);
    for (int i = 0; i < 2000; ++i) {
        const int64_t num = v(rng) >> (i % 60), den = v(rng) >> (i % 61);
        const double want = double(num) / double(den) * 536870912.0;
        const int64_t got = zem::sbr::fixed_ratio(i % 2 ? -num : num, den, 29);
        const double huge = double(zem::sbr::kRatioHuge);
        EXPECT_NEAR(double(i % 2 ? -got : got), std::min(want, huge), 1.0 + want * 4e-9)
            << num << " / " << den;
    }
}

// The documented answers: silence; the |alpha| >= 4 reset on exact integer growth; equal
// samples (the reflection coefficient just above -1, alpha0 near -1 and alpha1 0 since d is no
// longer meaningful); rows beyond 40 never read whatever len.
TEST(SbrPredictionFixed, KnownAnswers) {
    const std::vector<cplx> silence(40);
    const FixedRun hq0 = run_hq(silence, 38);
    EXPECT_EQ(hq0.a0, cplx(0));
    EXPECT_EQ(hq0.a1, cplx(0));
    const FixedRun lp0 = run_lp(silence, 38, 1);
    EXPECT_EQ(lp0.a0, cplx(0));
    EXPECT_EQ(lp0.a1, cplx(0));
    EXPECT_EQ(lp0.r, 0);

    for (int f : {3, 5}) {
        std::vector<cplx> x(8);
        for (int l = 0; l < 8; ++l)
            x[l] = cplx(1 << 20, -(1 << 19)) * std::pow(double(f), l / 2);
        const FixedRun hq = run_hq(x, 6);
        const FixedRun lp = run_lp(x, 6, 1);
        const double want1 = f < 4 ? -f * kQ29 : 0;
        EXPECT_NEAR(std::abs(hq.a1 - want1), 0, 8) << f;
        EXPECT_NEAR(std::abs(hq.a0), 0, 8) << f;
        // The relaxation moves the low-power answer away from the exact -f.
        for (cplx& v : x)
            v = v.real();
        const ModelAlphas relaxed = model_predict(x, 6, kRhoLowPower);
        EXPECT_NEAR(lp.a1.real(), relaxed.a1.real() * kQ29, 8) << f;
        EXPECT_NEAR(lp.a0.real(), relaxed.a0.real() * kQ29, 8) << f;
        EXPECT_EQ(relaxed.a1 == cplx(0), f > 4) << f;
    }

    const std::vector<cplx> equal(40, cplx(-123456789));
    const FixedRun r = run_lp(equal, 38, 0);
    EXPECT_GE(r.r, -(1 << 29));
    EXPECT_LE(r.r, -(1 << 29) + 512);
    EXPECT_EQ(r.a0, cplx(0));
    EXPECT_EQ(r.a1, cplx(0));
    const FixedRun a = run_lp(equal, 38, 1);
    EXPECT_NEAR(a.a0.real(), -kQ29, 8);
    EXPECT_EQ(a.a1, cplx(0));
    EXPECT_EQ(a.r, r.r);

    // Exactly 40 rows on the heap: len 100 reads no further and equals len 38.
    std::mt19937 rng(zemtest::seed() + 4);
    const auto x = to_full_scale(band_signal(Kind::Resonant, true, 40, rng), 1e9);
    const FixedRun capped = run_hq(x, 100), full = run_hq(x, 38);
    EXPECT_EQ(capped.a0, full.a0);
    EXPECT_EQ(capped.a1, full.a1);
}

// ---- SSE2 against scalar -----------------------------------------------------------------------

TEST(SbrPredictionKernels, Sse2CovarianceEqualsScalar) {
    using namespace zem::sbr;
    std::mt19937 rng(zemtest::seed() + 5);
    std::normal_distribution<float> n01;
    for (RowLayout layout : {RowLayout::Real, RowLayout::Interleaved, RowLayout::Split}) {
        for (int len : {1, 2, 5, 14, 38}) {
            for (int k : {0, 1, 3, 5}) { // the four bands start anywhere in the row
                std::vector<std::vector<float>> re(len + 2), im(len + 2);
                std::vector<std::vector<Zem32fc>> c(len + 2);
                for (int l = 0; l < len + 2; ++l)
                    for (int b = 0; b < 12; ++b) {
                        const float a = n01(rng) * 100.0f, bi = n01(rng) * 100.0f;
                        re[l].push_back(a), im[l].push_back(bi), c[l].push_back({a, bi});
                    }
                const auto pr = rows_of(re), pi = rows_of(im);
                const auto pc = rows_of(c);
                const RowSet s{layout, pr.data(), pi.data(), pc.data()};
                Covariance want[4], got[4];
                kCovarianceScalar.four(s, k, len, want);
                kCovarianceSse2.four(s, k, len, got);
                EXPECT_EQ(std::memcmp(want, got, sizeof want), 0)
                    << "layout " << int(layout) << " len " << len << " band " << k;
            }
        }
    }
}

// ---- tonality ---------------------------------------------------------------------------------

struct Tonality {
    float tnr0, tnr1, mean;
};

Tonality estimate(const std::vector<cplx>& x) {
    std::vector<Zem32fc> s(32);
    for (int i = 0; i < 32; ++i)
        s[i] = {float(x[i].real()), float(x[i].imag())};
    Tonality t{-1, -1, -1};
    EXPECT_EQ(zemsEstimateTNR_SBR_32f(s.data(), &t.tnr0, &t.tnr1, &t.mean), zemStatusOk);
    return t;
}

double model_tnr(const std::vector<cplx>& half) {
    const ModelPhi p = model_phi(half, 14);
    if (p.p00 == 0)
        return 0;
    const ModelAlphas a = model_predict(half, 14, kRhoFloat);
    const double r = -(a.a0 * std::conj(p.p01) + a.a1 * std::conj(p.p02)).real() / p.p00;
    return std::abs(1 - r) <= 1e-6 ? 1e6 : r / (1.000001 - r);
}

TEST(SbrTonality, AgainstModel) {
    std::mt19937 rng(zemtest::seed() + 6);
    std::vector<cplx> x(32);
    // Silence beside an exponential: 0 and 1e6 (or a very large value), energies averaged.
    for (int i = 0; i < 16; ++i)
        x[16 + i] = std::polar(50.0, 0.3 + 1.1 * i);
    Tonality t = estimate(x);
    EXPECT_EQ(t.tnr0, 0.0f);
    EXPECT_GT(t.tnr1, 1e4f);
    EXPECT_NEAR(t.mean, 14 * 2500.0 / 2, 1e-2);

    // White noise is barely predictable; a resonant band is; each near the model.
    for (Kind kind : {Kind::Noise, Kind::Resonant}) {
        for (int trial = 0; trial < 10; ++trial) {
            x = band_signal(kind, true, 32, rng);
            t = estimate(x);
            const std::vector<cplx> h0(x.begin(), x.begin() + 16), h1(x.begin() + 16, x.end());
            const double w0 = model_tnr(h0), w1 = model_tnr(h1);
            EXPECT_NEAR(t.tnr0, w0, 1e-4 * (1 + w0));
            EXPECT_NEAR(t.tnr1, w1, 1e-4 * (1 + w1));
            if (kind == Kind::Noise) {
                EXPECT_LT(std::max(t.tnr0, t.tnr1), 2.0f);
            }
            const double e = (model_phi(h0, 14).p00 + model_phi(h1, 14).p00) / 2;
            EXPECT_NEAR(t.mean, e, 1e-5 * e);
        }
    }
}

} // namespace
