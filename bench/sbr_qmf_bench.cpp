// The floating-point SBR QMF banks per slot against straightforward versions in the same run:
// the defining sums written out with their kernels tabulated once (window, then a 64 x 32
// complex or real matrix for analysis, a 2M x M matrix for synthesis).
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

constexpr int kSlots = 32; // one call covers a frame's slots, as a decoder calls it

struct Mem {
    std::vector<uint8_t> spec, init, work;
    Mem(int32_t s, int32_t i, int32_t w) : spec(s), init(i), work(w) {}
};

template <class Init, class Filter>
void analysis(benchmark::State& state, Init init, Filter filter, bool real) {
    int32_t s, i, w;
    if (real)
        zemsAnalysisFilterGetSize_SBR_RToR_32f(&s, &i, &w);
    else
        zemsAnalysisFilterGetSize_SBR_RToC_32f(&s, &i, &w);
    Mem m(s, i, w);
    ZemSbrAnalysisSpec_32f* spec = nullptr;
    init(&spec, m.spec.data(), m.init.data());
    const std::vector<float> x = noise(32 * kSlots, 1), win = noise(320, 2);
    std::vector<float> rows(64 * kSlots), rowsIm(32 * kSlots);
    std::vector<float*> ptr, ptrIm;
    for (int l = 0; l < kSlots; ++l) {
        ptr.push_back(rows.data() + 64 * l);
        ptrIm.push_back(rowsIm.data() + 32 * l);
    }
    for (auto _ : state) {
        filter(x.data(), ptr.data(), ptrIm.data(), win.data(), spec, m.work.data());
        benchmark::DoNotOptimize(rows.data());
    }
    state.SetItemsProcessed(state.iterations() * kSlots);
}

void analysis_complex(benchmark::State& state) {
    analysis(
        state, zemsAnalysisFilterInit_SBR_RToC_32f32fc,
        [](const float* x, float** rows, float**, const float* w, auto* spec, uint8_t* work) {
            zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(x, reinterpret_cast<Zem32fc**>(rows), w, kSlots,
                                                    0, 32, spec, work);
        },
        false);
}
BENCHMARK(analysis_complex);

void analysis_split(benchmark::State& state) {
    analysis(
        state, zemsAnalysisFilterInit_SBR_RToC_32f,
        [](const float* x, float** rows, float** im, const float* w, auto* spec, uint8_t* work) {
            zemsAnalysisFilter_SBR_RToC_32f_D2L(x, rows, im, w, kSlots, 0, 32, spec, work);
        },
        false);
}
BENCHMARK(analysis_split);

void analysis_real(benchmark::State& state) {
    analysis(
        state, zemsAnalysisFilterInit_SBR_RToR_32f,
        [](const float* x, float** rows, float**, const float* w, auto* spec, uint8_t* work) {
            zemsAnalysisFilter_SBR_RToR_32f_D2L(x, rows, w, kSlots, 0, 32, spec, work);
        },
        true);
}
BENCHMARK(analysis_real);

// The defining sums: the delay line shifted, the window folded, a 32 x 64 complex matrix.
void analysis_plain(benchmark::State& state) {
    std::vector<float> kre(32 * 64), kim(32 * 64), line(320, 0.0f);
    for (int k = 0; k < 32; ++k)
        for (int n = 0; n < 64; ++n) {
            const double a = std::numbers::pi * (k + 0.5) * (2 * n - 0.5) / 64;
            kre[64 * k + n] = float(2 * std::cos(a));
            kim[64 * k + n] = float(2 * std::sin(a));
        }
    const std::vector<float> x = noise(32 * kSlots, 1), win = noise(320, 2);
    std::vector<float> out(64 * kSlots);
    for (auto _ : state) {
        for (int l = 0; l < kSlots; ++l) {
            for (int p = 319; p >= 32; --p)
                line[p] = line[p - 32];
            for (int j = 0; j < 32; ++j)
                line[j] = x[32 * l + 31 - j];
            float u[64];
            for (int n = 0; n < 64; ++n) {
                u[n] = 0;
                for (int m = 0; m < 5; ++m)
                    u[n] += win[n + 64 * m] * line[n + 64 * m];
            }
            for (int k = 0; k < 32; ++k) {
                float re = 0, im = 0;
                for (int n = 0; n < 64; ++n) {
                    re += kre[64 * k + n] * u[n];
                    im += kim[64 * k + n] * u[n];
                }
                out[64 * l + 2 * k] = re;
                out[64 * l + 2 * k + 1] = im;
            }
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kSlots);
}
BENCHMARK(analysis_plain);

template <int Bands, int Input> void synthesis(benchmark::State& state) {
    using GetSize = ZemStatus (*)(int32_t*, int32_t*, int32_t*);
    const GetSize sizes[2][3] = {{zemsSynthesisDownFilterGetSize_SBR_CToR_32f,
                                  zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f,
                                  zemsSynthesisDownFilterGetSize_SBR_RToR_32f},
                                 {zemsSynthesisFilterGetSize_SBR_CToR_32f,
                                  zemsSynthesisFilterGetSize_SBR_CToR_32fc32f,
                                  zemsSynthesisFilterGetSize_SBR_RToR_32f}};
    int32_t s, i, w;
    sizes[Bands == 64][Input](&s, &i, &w);
    Mem m(s, i, w);
    const std::vector<float> x = noise(128 * kSlots, 3), win = noise(10 * Bands, 4);
    std::vector<const float*> re, im;
    std::vector<const Zem32fc*> c;
    for (int l = 0; l < kSlots; ++l) {
        re.push_back(x.data() + 128 * l);
        im.push_back(x.data() + 128 * l + 64);
        c.push_back(reinterpret_cast<const Zem32fc*>(x.data() + 128 * l));
    }
    std::vector<float> y(Bands * kSlots);
    if constexpr (Bands == 64) {
        ZemSbrSynthesisSpec_32f* spec = nullptr;
        const auto init = Input == 0   ? zemsSynthesisFilterInit_SBR_CToR_32f
                          : Input == 1 ? zemsSynthesisFilterInit_SBR_CToR_32fc32f
                                       : zemsSynthesisFilterInit_SBR_RToR_32f;
        init(&spec, m.spec.data(), m.init.data());
        for (auto _ : state) {
            if (Input == 0)
                zemsSynthesisFilter_SBR_CToR_32f_D2L(re.data(), im.data(), y.data(), win.data(),
                                                     kSlots, spec, m.work.data());
            else if (Input == 1)
                zemsSynthesisFilter_SBR_CToR_32fc32f_D2L(c.data(), y.data(), win.data(), kSlots,
                                                         spec, m.work.data());
            else
                zemsSynthesisFilter_SBR_RToR_32f_D2L(re.data(), y.data(), win.data(), kSlots, spec,
                                                     m.work.data());
            benchmark::DoNotOptimize(y.data());
        }
    } else {
        ZemSbrSynthesisDownSpec_32f* spec = nullptr;
        const auto init = Input == 0   ? zemsSynthesisDownFilterInit_SBR_CToR_32f
                          : Input == 1 ? zemsSynthesisDownFilterInit_SBR_CToR_32fc32f
                                       : zemsSynthesisDownFilterInit_SBR_RToR_32f;
        init(&spec, m.spec.data(), m.init.data());
        for (auto _ : state) {
            if (Input == 0)
                zemsSynthesisDownFilter_SBR_CToR_32f_D2L(re.data(), im.data(), y.data(), win.data(),
                                                         kSlots, spec, m.work.data());
            else if (Input == 1)
                zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(c.data(), y.data(), win.data(), kSlots,
                                                             spec, m.work.data());
            else
                zemsSynthesisDownFilter_SBR_RToR_32f_D2L(re.data(), y.data(), win.data(), kSlots,
                                                         spec, m.work.data());
            benchmark::DoNotOptimize(y.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * kSlots);
}
BENCHMARK(synthesis<64, 0>)->Name("synthesis64_split");
BENCHMARK(synthesis<64, 1>)->Name("synthesis64_complex");
BENCHMARK(synthesis<64, 2>)->Name("synthesis64_real");
BENCHMARK(synthesis<32, 0>)->Name("synthesis32_split");
BENCHMARK(synthesis<32, 1>)->Name("synthesis32_complex");
BENCHMARK(synthesis<32, 2>)->Name("synthesis32_real");

// The 64-band complex synthesis written out: a 128 x 64 complex matrix, the line shifted, the
// ten-block window.
void synthesis64_plain(benchmark::State& state) {
    std::vector<float> kre(128 * 64), kim(128 * 64), line(1280, 0.0f);
    for (int n = 0; n < 128; ++n)
        for (int k = 0; k < 64; ++k) {
            const double a = std::numbers::pi * (k + 0.5) * (2 * n - 255) / 128;
            kre[64 * n + k] = float(std::cos(a) / 64);
            kim[64 * n + k] = float(-std::sin(a) / 64);
        }
    const std::vector<float> x = noise(128 * kSlots, 3), win = noise(640, 4);
    std::vector<float> y(64 * kSlots);
    for (auto _ : state) {
        for (int l = 0; l < kSlots; ++l) {
            for (int p = 1279; p >= 128; --p)
                line[p] = line[p - 128];
            const float* re = x.data() + 128 * l;
            const float* im = re + 64;
            for (int n = 0; n < 128; ++n) {
                float v = 0;
                for (int k = 0; k < 64; ++k)
                    v += kre[64 * n + k] * re[k] + kim[64 * n + k] * im[k];
                line[n] = v;
            }
            for (int n = 0; n < 64; ++n) {
                float s = 0;
                for (int i = 0; i < 10; ++i)
                    s += win[64 * i + n] * line[(i / 2) * 256 + (i & 1) * 192 + n];
                y[64 * l + n] = s;
            }
        }
        benchmark::DoNotOptimize(y.data());
    }
    state.SetItemsProcessed(state.iterations() * kSlots);
}
BENCHMARK(synthesis64_plain);

} // namespace

BENCHMARK_MAIN();
