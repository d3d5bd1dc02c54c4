// HF-generation prediction per call (32 bands over 38 slots for the float exports, one band for
// the fixed ones) and the tonality estimator, each against a straightforward version in the same
// run: the covariance sums and the predictor written out band by band with std::complex.
#include <benchmark/benchmark.h>

#include <complex>
#include <random>
#include <vector>

#include "zemac.h"

namespace {

constexpr int kBands = 32;
constexpr int kLen = 38;
constexpr int kRows = kLen + 2;

struct Data {
    std::vector<std::vector<float>> re, im;
    std::vector<std::vector<Zem32fc>> c;
    std::vector<std::vector<Zem32sc>> sc;
    std::vector<std::vector<int32_t>> s;
    std::vector<const float*> pr, pi;
    std::vector<const Zem32fc*> pc;
    std::vector<const Zem32sc*> psc;
    std::vector<const int32_t*> ps;
    Data() : re(kRows), im(kRows), c(kRows), sc(kRows), s(kRows) {
        std::mt19937 rng(7);
        std::normal_distribution<float> g(0.0f, 1.0f);
        for (int l = 0; l < kRows; ++l) {
            for (int k = 0; k < kBands; ++k) {
                const float a = g(rng), b = g(rng);
                re[l].push_back(a);
                im[l].push_back(b);
                c[l].push_back({a, b});
                sc[l].push_back({int32_t(a * 1e8f), int32_t(b * 1e8f)});
                s[l].push_back(int32_t(a * 1e8f));
            }
            pr.push_back(re[l].data());
            pi.push_back(im[l].data());
            pc.push_back(c[l].data());
            psc.push_back(sc[l].data());
            ps.push_back(s[l].data());
        }
    }
};

const Data& data() {
    static const Data d;
    return d;
}

// The covariance method written out for one band of complex samples.
template <class T>
void straightforward_band(const std::complex<T>* x, int len, std::complex<T>& a0,
                          std::complex<T>& a1) {
    std::complex<T> p01, p02, p12;
    T p11 = 0, p22 = 0;
    for (int m = 2; m < len + 2; ++m) {
        p01 += x[m] * std::conj(x[m - 1]);
        p02 += x[m] * std::conj(x[m - 2]);
        p12 += x[m - 1] * std::conj(x[m - 2]);
        p11 += std::norm(x[m - 1]);
        p22 += std::norm(x[m - 2]);
    }
    const T d = p22 * p11 - T(0.99999905) * std::norm(p12);
    a1 = d != 0 ? (p01 * p12 - p02 * p11) / d : std::complex<T>();
    a0 = p11 != 0 ? -(p01 + a1 * std::conj(p12)) / p11 : std::complex<T>();
    if (std::norm(a0) >= 16 || std::norm(a1) >= 16)
        a0 = a1 = 0;
}

void float_straightforward(benchmark::State& state) {
    const Data& d = data();
    std::vector<std::complex<float>> x(kRows);
    std::vector<std::complex<float>> a0(kBands), a1(kBands);
    for (auto _ : state) {
        for (int k = 0; k < kBands; ++k) {
            for (int l = 0; l < kRows; ++l)
                x[l] = {d.c[l][k].re, d.c[l][k].im};
            straightforward_band(x.data(), kLen, a0[k], a1[k]);
        }
        benchmark::DoNotOptimize(a0.data());
        benchmark::DoNotOptimize(a1.data());
    }
}

void float_complex(benchmark::State& state) {
    const Data& d = data();
    std::vector<Zem32fc> a0(kBands), a1(kBands);
    for (auto _ : state) {
        zemsPredictCoef_SBR_C_32fc_D2L(d.pc.data(), a0.data(), a1.data(), kBands, kLen);
        benchmark::DoNotOptimize(a0.data());
    }
}

void float_split(benchmark::State& state) {
    const Data& d = data();
    std::vector<float> o[4];
    for (auto& v : o)
        v.resize(kBands);
    for (auto _ : state) {
        zemsPredictCoef_SBR_C_32f_D2L(d.pr.data(), d.pi.data(), o[0].data(), o[1].data(),
                                      o[2].data(), o[3].data(), kBands, kLen);
        benchmark::DoNotOptimize(o[0].data());
    }
}

void float_real(benchmark::State& state) {
    const Data& d = data();
    std::vector<float> a0(kBands), a1(kBands);
    for (auto _ : state) {
        zemsPredictCoef_SBR_R_32f_D2L(d.pr.data(), a0.data(), a1.data(), kBands, kLen);
        benchmark::DoNotOptimize(a0.data());
    }
}

void fixed_straightforward(benchmark::State& state) {
    const Data& d = data();
    std::vector<std::complex<double>> x(kRows);
    std::complex<double> a0, a1;
    for (auto _ : state) {
        for (int l = 0; l < kRows; ++l)
            x[l] = {double(d.sc[l][5].re), double(d.sc[l][5].im)};
        straightforward_band(x.data(), kLen, a0, a1);
        benchmark::DoNotOptimize(a0);
        benchmark::DoNotOptimize(a1);
    }
}

void fixed_hq(benchmark::State& state) {
    const Data& d = data();
    Zem32sc a0, a1;
    for (auto _ : state) {
        zemsPredictOneCoef_SBRHQ_32sc_D2L(d.psc.data(), &a0, &a1, 5, kLen);
        benchmark::DoNotOptimize(a0);
        benchmark::DoNotOptimize(a1);
    }
}

void fixed_lp(benchmark::State& state) {
    const Data& d = data();
    int32_t a0, a1, r;
    for (auto _ : state) {
        zemsPredictOneCoef_SBRLP_32s_D2L(d.ps.data(), &a0, &a1, &r, 5, kLen, 1);
        benchmark::DoNotOptimize(a0);
        benchmark::DoNotOptimize(r);
    }
}

void tonality_straightforward(benchmark::State& state) {
    const Data& d = data();
    std::vector<std::complex<float>> x(32);
    for (int i = 0; i < 32; ++i)
        x[i] = {d.c[i][3].re, d.c[i][3].im};
    for (auto _ : state) {
        float out[3] = {};
        for (int h = 0; h < 2; ++h) {
            const std::complex<float>* y = x.data() + 16 * h;
            std::complex<float> a0, a1, p01, p02;
            float p00 = 0;
            for (int n = 2; n < 16; ++n) {
                p00 += std::norm(y[n]);
                p01 += y[n] * std::conj(y[n - 1]);
                p02 += y[n] * std::conj(y[n - 2]);
            }
            straightforward_band(y, 14, a0, a1);
            const float r = -(a0 * std::conj(p01) + a1 * std::conj(p02)).real() / p00;
            out[h] = r / (1.000001f - r);
            out[2] += p00 / 2;
        }
        benchmark::DoNotOptimize(out);
    }
}

void tonality(benchmark::State& state) {
    const Data& d = data();
    std::vector<Zem32fc> x(32);
    for (int i = 0; i < 32; ++i)
        x[i] = d.c[i][3];
    float t0, t1, e;
    for (auto _ : state) {
        zemsEstimateTNR_SBR_32f(x.data(), &t0, &t1, &e);
        benchmark::DoNotOptimize(t0);
        benchmark::DoNotOptimize(t1);
    }
}

} // namespace

BENCHMARK(float_straightforward);
BENCHMARK(float_complex);
BENCHMARK(float_split);
BENCHMARK(float_real);
BENCHMARK(fixed_straightforward);
BENCHMARK(fixed_hq);
BENCHMARK(fixed_lp);
BENCHMARK(tonality_straightforward);
BENCHMARK(tonality);
BENCHMARK_MAIN();
