// HF-generation prediction and the tonality estimator against a double-precision evaluation of
// the covariance method: the float exports over band counts around the four-band blocks, the
// fixed ones within 8 Q29 units at every headroom shift, the degenerate answers (silence, exact
// predictability, the |alpha| >= 4 reset, equal samples), the rows read, SSE2 against scalar.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
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
using Band = std::vector<cplx>; // one band's samples, slot by slot

struct Phi {
    cplx p01, p02, p12;
    double p00 = 0, p11 = 0, p22 = 0;
};

Phi model_phi(const Band& x, int len) {
    Phi p;
    for (int m = 2; m < len + 2; ++m) {
        p.p00 += std::norm(x[m]), p.p11 += std::norm(x[m - 1]), p.p22 += std::norm(x[m - 2]);
        p.p01 += x[m] * std::conj(x[m - 1]), p.p02 += x[m] * std::conj(x[m - 2]);
        p.p12 += x[m - 1] * std::conj(x[m - 2]);
    }
    return p;
}

struct Alphas {
    cplx a0, a1;
    double r = 0; // reflection coefficient
};

Alphas model_predict(const Band& x, int len, double rho, bool reset = true) {
    const Phi p = model_phi(x, len);
    Alphas a;
    if (const double d = p.p22 * p.p11 - rho * std::norm(p.p12); d > 0)
        a.a1 = (p.p01 * p.p12 - p.p02 * p.p11) / d;
    if (p.p11 != 0) {
        a.a0 = -(p.p01 + a.a1 * std::conj(p.p12)) / p.p11;
        a.r = std::clamp(-p.p01.real() / p.p11, -1.0, 1.0);
    }
    if (reset && (std::norm(a.a0) >= 16 || std::norm(a.a1) >= 16))
        a.a0 = a.a1 = 0;
    return a;
}

// White noise, or noise through a resonance with poles at radius 0.6 (angle drawn at random).
Band signal(bool resonant, bool complexValued, int n, std::mt19937& rng) {
    std::normal_distribution<double> g;
    const double c = 1.2 * std::cos(std::uniform_real_distribution<double>(0.2, 2.9)(rng));
    Band x(n);
    for (int i = 0; i < n; ++i) {
        x[i] = cplx(g(rng), complexValued ? g(rng) : 0.0);
        if (resonant && i >= 2)
            x[i] += c * x[i - 1] - 0.36 * x[i - 2];
    }
    return x;
}

constexpr double kRhoFloat = double(zem::sbr::kRelaxation);
constexpr double kRhoLowPower = 1.0 - 1.0 / 1048576.0; // 0x7FFFF800 in Q31
constexpr double kQ29 = 536870912.0;

// Calls float export `which` (0 real, 1 interleaved, 2 split) on bands[k][slot], all slots.
std::vector<Alphas> run_float(int which, const std::vector<Band>& bands, int numBands, int len) {
    const size_t nb = bands.size(), slots = bands[0].size();
    std::vector<std::vector<float>> re(slots, std::vector<float>(nb)), im = re;
    std::vector<std::vector<Zem32fc>> c(slots, std::vector<Zem32fc>(nb));
    std::vector<const float*> pr, pi;
    std::vector<const Zem32fc*> pc;
    for (size_t l = 0; l < slots; ++l) {
        for (size_t k = 0; k < nb; ++k) {
            re[l][k] = float(bands[k][l].real()), im[l][k] = float(bands[k][l].imag());
            c[l][k] = {re[l][k], im[l][k]};
        }
        pr.push_back(re[l].data()), pi.push_back(im[l].data()), pc.push_back(c[l].data());
    }
    std::vector<Zem32fc> a0(nb, {99, 99}), a1 = a0;
    std::vector<float> o[4];
    for (auto& v : o)
        v.assign(nb, 99);
    const ZemStatus st =
        which == 0
            ? zemsPredictCoef_SBR_R_32f_D2L(pr.data(), o[0].data(), o[2].data(), numBands, len)
        : which == 1
            ? zemsPredictCoef_SBR_C_32fc_D2L(pc.data(), a0.data(), a1.data(), numBands, len)
            : zemsPredictCoef_SBR_C_32f_D2L(pr.data(), pi.data(), o[0].data(), o[1].data(),
                                            o[2].data(), o[3].data(), numBands, len);
    EXPECT_EQ(st, zemStatusOk);
    std::vector<Alphas> out(nb);
    for (size_t k = 0; k < nb; ++k)
        out[k] = which == 1
                     ? Alphas{{a0[k].re, a0[k].im}, {a1[k].re, a1[k].im}}
                     : Alphas{{o[0][k], which ? o[1][k] : 0}, {o[2][k], which ? o[3][k] : 0}};
    return out;
}

TEST(SbrPredictionFloat, MatchesModelOnEveryBandCount) {
    std::mt19937 rng(zemtest::seed());
    for (int which = 0; which < 3; ++which)
        for (bool resonant : {false, true})
            for (int numBands : {1, 3, 4, 5, 11, 32}) {
                std::vector<Band> bands; // one band more than asked for: left untouched
                for (int k = 0; k <= numBands; ++k)
                    bands.push_back(signal(resonant, which > 0, 40, rng));
                const std::vector<Alphas> got = run_float(which, bands, numBands, 38);
                for (int k = 0; k < numBands; ++k) {
                    const Alphas want = model_predict(bands[k], 38, kRhoFloat);
                    EXPECT_LT(std::abs(got[k].a0 - want.a0) + std::abs(got[k].a1 - want.a1), 1e-4)
                        << which << " bands " << numBands << " band " << k;
                }
                EXPECT_EQ(got[numBands].a0.real(), 99) << which;
            }
}

// Silence gives zeros; an exactly predictable band keeps d positive through the relaxation and
// yields the zero reset or finite coefficients that remove almost all its energy; growth by f
// every second slot is predicted by alpha1 = -f, reset from 4 on; len = 1 reads rows 0 to 2
// only (the same answer when the rows after them are NaN).
TEST(SbrPredictionFloat, DegenerateBands) {
    std::mt19937 rng(zemtest::seed() + 1);
    for (int which = 0; which < 3; ++which) {
        Band tone(40), grow39(8), grow45(8);
        for (int l = 0; l < 40; ++l)
            tone[l] = which ? std::polar(300.0, 0.7 * l) : cplx(300 * std::cos(0.7 * l));
        for (int l = 0; l < 8; ++l)
            grow39[l] = std::pow(3.9, l / 2), grow45[l] = std::pow(4.5, l / 2);
        const auto a = run_float(which, {Band(40), tone}, 2, 38);
        EXPECT_EQ(a[0].a0, cplx(0));
        EXPECT_EQ(a[0].a1, cplx(0));
        ASSERT_TRUE(std::isfinite(std::abs(a[1].a0) + std::abs(a[1].a1)));
        double residual = 0, energy = 0;
        for (int m = 2; m < 40; ++m)
            residual += std::norm(tone[m] + a[1].a0 * tone[m - 1] + a[1].a1 * tone[m - 2]),
                energy += std::norm(tone[m]);
        EXPECT_TRUE(residual < 1e-4 * energy || (a[1].a0 == 0.0 && a[1].a1 == 0.0)) << which;

        const auto g = run_float(which, {grow39, grow45}, 2, 6);
        EXPECT_LT(std::abs(g[0].a1 + 3.9) + std::abs(g[0].a0), 1e-3) << which;
        EXPECT_EQ(g[1].a0, cplx(0));
        EXPECT_EQ(g[1].a1, cplx(0));

        std::vector<Band> three, poisoned;
        for (int k = 0; k < 5; ++k) {
            three.push_back(signal(false, which > 0, 3, rng));
            poisoned.push_back(three.back());
            poisoned.back().resize(40, std::numeric_limits<double>::quiet_NaN());
        }
        const auto s = run_float(which, three, 5, 1), p = run_float(which, poisoned, 5, 1);
        for (int k = 0; k < 5; ++k) {
            EXPECT_TRUE(std::isfinite(std::abs(s[k].a0) + std::abs(s[k].a1))) << which;
            EXPECT_EQ(s[k].a0, p[k].a0);
            EXPECT_EQ(s[k].a1, p[k].a1);
        }
    }
}

// The fixed exports on x[slot] (integers), the LP one on band 1 of two; exactly x.size() rows.
Alphas run_fixed(bool hq, const Band& x, int len, int calcAlpha = 1) {
    std::vector<Zem32sc> c(x.size());
    std::vector<int32_t> r(2 * x.size(), 12345);
    std::vector<const Zem32sc*> pc;
    std::vector<const int32_t*> pr;
    for (size_t l = 0; l < x.size(); ++l) {
        c[l] = {int32_t(x[l].real()), int32_t(x[l].imag())}, r[2 * l + 1] = c[l].re;
        pc.push_back(&c[l]), pr.push_back(&r[2 * l]);
    }
    Zem32sc a0{7, 7}, a1{7, 7};
    int32_t b0 = 7, b1 = 7, refl = 7;
    if (hq) {
        EXPECT_EQ(zemsPredictOneCoef_SBRHQ_32sc_D2L(pc.data(), &a0, &a1, 0, len), zemStatusOk);
        return {{double(a0.re), double(a0.im)}, {double(a1.re), double(a1.im)}};
    }
    EXPECT_EQ(zemsPredictOneCoef_SBRLP_32s_D2L(pr.data(), &b0, &b1, &refl, 1, len, calcAlpha),
              zemStatusOk);
    return {double(b0), double(b1), double(refl)};
}

// Full-scale bands at each headroom shift (peaks just below 2^29, at 2^29, -2^30, 2^31 - 1 and
// -2^31): within 8 Q29 units of the formulas on the samples shifted as documented (0 to 3 bits,
// rounding down).
TEST(SbrPredictionFixed, MatchesModelAtEveryShift) {
    const struct {
        double peak;
        int shift;
    } scales[] = {
        {536870911, 0}, {536870912, 1}, {-1073741824, 2}, {2147483647, 2}, {-2147483648.0, 3}};
    std::mt19937 rng(zemtest::seed() + 2);
    double worst = 0;
    for (const auto& s : scales) {
        EXPECT_EQ(zem::sbr::headroom_shift(int64_t(std::abs(s.peak))), s.shift);
        for (int trial = 0; trial < 40; ++trial) {
            const bool hq = trial % 2 == 0;
            Band x = signal(trial % 4 > 1, hq, 40, rng), shifted(40);
            double m = 0;
            for (const cplx& v : x)
                m = std::max({m, std::abs(v.real()), std::abs(v.imag())});
            const double scale = std::min(std::abs(s.peak), 2147483647.0) / m;
            for (int l = 0; l < 40; ++l) {
                x[l] = {std::nearbyint(x[l].real() * scale), std::nearbyint(x[l].imag() * scale)};
                if (l == 20)
                    x[l].real(s.peak);
                shifted[l] = {std::floor(std::ldexp(x[l].real(), -s.shift)),
                              std::floor(std::ldexp(x[l].imag(), -s.shift))};
            }
            const Alphas got = run_fixed(hq, x, 38);
            const Alphas want = model_predict(shifted, 38, hq ? 1.0 : kRhoLowPower);
            const double e =
                std::max({std::abs(got.a0 - want.a0 * kQ29), std::abs(got.a1 - want.a1 * kQ29),
                          hq ? 0.0 : std::abs(got.r - want.r * kQ29)});
            EXPECT_LE(e, 8.0) << (hq ? "HQ" : "LP") << " peak " << s.peak << " trial " << trial;
            worst = std::max(worst, e);
        }
    }
    std::printf("fixed prediction: worst %.1f Q29 units from the model\n", worst);
}

// Silence; growth by 3 (alpha1 = -3, LP moved by its relaxation) and by 5 (reset); equal samples
// (r just above -1, alpha0 near -1 and alpha1 0); clipped noise; len beyond 38 reads 40 rows
// (ASan) and equals len 38.
TEST(SbrPredictionFixed, KnownAnswers) {
    for (bool hq : {true, false}) {
        const Alphas z = run_fixed(hq, Band(40), 38);
        EXPECT_EQ(z.a0, cplx(0));
        EXPECT_EQ(z.a1, cplx(0));
        EXPECT_EQ(z.r, 0);
        for (int f : {3, 5}) {
            Band x(8);
            for (int l = 0; l < 8; ++l)
                x[l] = cplx(1 << 20, hq ? -(1 << 19) : 0) * std::pow(double(f), l / 2);
            const Alphas got = run_fixed(hq, x, 6),
                         want = model_predict(x, 6, hq ? 1 : kRhoLowPower);
            EXPECT_LE(std::abs(got.a1 - want.a1 * kQ29) + std::abs(got.a0 - want.a0 * kQ29), 8);
            EXPECT_LT(std::abs(want.a1 - cplx(f < 4 ? -f : 0)), hq ? 1e-9 : 1e-3);
        }
    }
    const Band equal(40, cplx(-123456789));
    const Alphas r = run_fixed(false, equal, 38, 0), a = run_fixed(false, equal, 38, 1);
    EXPECT_TRUE(r.r >= -kQ29 && r.r <= -kQ29 + 512) << r.r;
    EXPECT_EQ(r.a0, cplx(0));
    EXPECT_EQ(r.a1, cplx(0));
    EXPECT_NEAR(a.a0.real(), -kQ29, 8);
    EXPECT_EQ(a.a1, cplx(0));
    EXPECT_EQ(a.r, r.r);
    // Clipped noise, every part +-(2^29 - 1): sums of 2^59 per slot that must not wrap.
    std::mt19937 rng(zemtest::seed() + 3);
    Band clipped(40);
    for (cplx& v : clipped)
        v = {rng() % 2 ? 536870911.0 : -536870911.0, rng() % 2 ? 536870911.0 : -536870911.0};
    const Alphas got = run_fixed(true, clipped, 38), want = model_predict(clipped, 38, 1);
    EXPECT_LE(std::abs(got.a0 - want.a0 * kQ29) + std::abs(got.a1 - want.a1 * kQ29), 8);

    Band x = signal(true, true, 40, rng);
    for (cplx& v : x)
        v = {std::nearbyint(v.real() * 1e8), std::nearbyint(v.imag() * 1e8)};
    const Alphas capped = run_fixed(true, x, 100), full = run_fixed(true, x, 38);
    EXPECT_EQ(capped.a0, full.a0);
    EXPECT_EQ(capped.a1, full.a1);
}

TEST(SbrPredictionKernels, Sse2CovarianceEqualsScalar) {
    using namespace zem::sbr;
    std::mt19937 rng(zemtest::seed() + 4);
    std::normal_distribution<float> g(0.0f, 100.0f);
    for (RowLayout layout : {RowLayout::Real, RowLayout::Interleaved, RowLayout::Split})
        for (int len : {1, 2, 5, 14, 38}) {
            std::vector<std::vector<float>> re(len + 2), im(len + 2);
            std::vector<std::vector<Zem32fc>> c(len + 2);
            std::vector<const float*> pr, pi;
            std::vector<const Zem32fc*> pc;
            for (int l = 0; l < len + 2; ++l) {
                for (int k = 0; k < 9; ++k)
                    re[l].push_back(g(rng)), im[l].push_back(g(rng)),
                        c[l].push_back({re[l][k], im[l][k]});
                pr.push_back(re[l].data()), pi.push_back(im[l].data()), pc.push_back(c[l].data());
            }
            const RowSet s{layout, pr.data(), pi.data(), pc.data()};
            for (int k : {0, 1, 3, 5}) { // the four bands start anywhere in the row
                Covariance want[4], got[4];
                kCovarianceScalar.four(s, k, len, want);
                kCovarianceSse2.four(s, k, len, got);
                EXPECT_EQ(std::memcmp(want, got, sizeof want), 0)
                    << "layout " << int(layout) << " len " << len << " band " << k;
            }
        }
}

double model_tnr(const Band& half) {
    const Phi p = model_phi(half, 14);
    if (p.p00 == 0)
        return 0;
    // No predictor at all where d is 0, and no reset.
    const bool singular = p.p22 * p.p11 - kRhoFloat * std::norm(p.p12) == 0;
    const Alphas a = singular ? Alphas{} : model_predict(half, 14, kRhoFloat, false);
    const double r = -(a.a0 * std::conj(p.p01) + a.a1 * std::conj(p.p02)).real() / p.p00;
    return std::abs(1 - r) <= 1e-6 ? 1e6 : r / (1.000001 - r);
}

// Silence and an exponential (0 and 1e6 or very large), noise (near 0) and a resonance, each
// half near the model; a half with only its last two samples (d = 0: no predictor, TNR 0 where
// alpha0 alone would remove energy); the mean energy of the halves over samples 2 .. 15.
TEST(SbrTonality, AgainstModel) {
    std::mt19937 rng(zemtest::seed() + 5);
    for (int trial = 0; trial < 22; ++trial) {
        Band x = signal(trial % 2 == 1, true, 32, rng);
        if (trial == 20)
            for (int i = 0; i < 16; ++i)
                x[i] = 0, x[16 + i] = std::polar(50.0, 0.3 + 1.1 * i);
        if (trial == 21)
            std::fill(x.begin(), x.begin() + 14, 0.0);
        std::vector<Zem32fc> s;
        for (const cplx& v : x)
            s.push_back({float(v.real()), float(v.imag())});
        float t[2], mean;
        ASSERT_EQ(zemsEstimateTNR_SBR_32f(s.data(), &t[0], &t[1], &mean), zemStatusOk);
        double energy = 0;
        for (int h = 0; h < 2; ++h) {
            const Band half(x.begin() + 16 * h, x.begin() + 16 * h + 16);
            const double want = model_tnr(half);
            energy += model_phi(half, 14).p00 / 2;
            const bool noise = trial % 2 == 0 && trial < 20;
            EXPECT_TRUE(trial == 20 ? (h ? t[h] > 1e4f : t[h] == 0.0f)
                                    : std::abs(t[h] - want) <= 1e-4 * (1 + want))
                << trial << " half " << h << ": " << t[h] << " for " << want;
            EXPECT_TRUE(!noise || t[h] < 2.0f) << t[h];
        }
        EXPECT_NEAR(mean, energy, 1e-5 * energy);
    }
}

} // namespace
