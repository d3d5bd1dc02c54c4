// The SBR encoder's analysis bank per slot and the PS hybrid analysis per configuration (32 slots
// of one QMF band), each against its defining sums written out in the same run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "bench_signals.hpp"
#include "zemac.h"

namespace {

using zembench::noise;

void encoder_bank(benchmark::State& state) {
    ZemSbrAnalysisEncSpec_32f* spec = nullptr;
    zemsAnalysisFilterEncInitAlloc_SBR_32f(&spec);
    const std::vector<float> x = noise(640, 1);
    Zem32fc X[64];
    for (auto _ : state) {
        zemsAnalysisFilterEnc_SBR_32f32fc(x.data(), X, spec);
        benchmark::DoNotOptimize(X);
    }
    zemsAnalysisFilterEncFree_SBR_32f(spec);
}
BENCHMARK(encoder_bank);

// The window fold and a 64 x 128 complex matrix.
void encoder_bank_plain(benchmark::State& state) {
    const std::vector<float> x = noise(640, 1), c = noise(640, 2);
    std::vector<float> kre(64 * 128), kim(64 * 128);
    for (int k = 0; k < 64; ++k)
        for (int n = 0; n < 128; ++n) {
            const double a = std::numbers::pi * (k + 0.5) * (2 * n + 1) / 128;
            kre[128 * k + n] = float(std::cos(a));
            kim[128 * k + n] = float(std::sin(a));
        }
    float X[128];
    for (auto _ : state) {
        float u[128];
        for (int n = 0; n < 128; ++n) {
            u[n] = 0;
            for (int m = 0; m < 5; ++m)
                u[n] += c[n + 128 * m] * x[639 - n - 128 * m];
        }
        for (int k = 0; k < 64; ++k) {
            float re = 0, im = 0;
            for (int n = 0; n < 128; ++n) {
                re += kre[128 * k + n] * u[n];
                im += kim[128 * k + n] * u[n];
            }
            X[2 * k] = re;
            X[2 * k + 1] = im;
        }
        benchmark::DoNotOptimize(X);
    }
}
BENCHMARK(encoder_bank_plain);

void hybrid(benchmark::State& state) {
    const std::vector<float> x = noise(88, 3);
    std::vector<Zem32fc> y(32 * 12);
    for (auto _ : state) {
        zemsAnalysisFilter_PS_32fc_D2(reinterpret_cast<const Zem32fc*>(x.data()), y.data(),
                                      int32_t(state.range(0)));
        benchmark::DoNotOptimize(y.data());
    }
}
BENCHMARK(hybrid)->DenseRange(0, 4);

// Thirteen complex taps per band and slot, the taps tabulated.
void hybrid_plain(benchmark::State& state) {
    const int bands[5] = {2, 4, 8, 8, 12};
    const int Q = bands[state.range(0)];
    const std::vector<float> x = noise(88, 3), g = noise(7, 4);
    std::vector<std::complex<float>> G(std::size_t(Q) * 13);
    for (int q = 0; q < Q; ++q)
        for (int n = 0; n < 13; ++n)
            G[std::size_t(13 * q + n)] =
                g[std::size_t(n <= 6 ? n : 12 - n)] *
                std::polar(1.0f, float(2 * std::numbers::pi / Q * (q + 0.5) * (n - 6)));
    const auto* xc = reinterpret_cast<const std::complex<float>*>(x.data());
    std::vector<std::complex<float>> y(32 * 12);
    for (auto _ : state) {
        for (int k = 0; k < 32; ++k)
            for (int q = 0; q < Q; ++q) {
                std::complex<float> s = 0;
                for (int n = 0; n < 13; ++n)
                    s += G[std::size_t(13 * q + n)] * xc[k + 12 - n];
                y[std::size_t(12 * k + q)] = s;
            }
        benchmark::DoNotOptimize(y.data());
    }
}
BENCHMARK(hybrid_plain)->DenseRange(0, 4);

} // namespace

BENCHMARK_MAIN();
