// The other coding tools against plain loops in the same run: the DTS synthesis bank per slot
// (against the defining sum written out), the block FIR per block (against direct convolution),
// the vector quantiser per vector, and the numeric helpers on 1024-element vectors (against plain
// scalar loops).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "bench_signals.hpp"
#include "zemac.h"

namespace {

using zembench::noise;

void dts_slot(benchmark::State& state) {
    std::vector<uint8_t> mem(2923);
    zemsSynthesisFilterInit_DTS_32f(mem.data());
    auto* spec = reinterpret_cast<ZemDtsSynthesisSpec_32f*>(mem.data());
    const std::vector<float> x = noise(32, 1);
    float y[32];
    for (auto _ : state) {
        zemsSynthesisFilter_DTS_32f(x.data(), y, 1, spec);
        benchmark::DoNotOptimize(y);
    }
}
BENCHMARK(dts_slot);

// The defining sum written out: 16 slots by 32 bands by 32 outputs, the cosine evaluated.
void dts_slot_plain(benchmark::State& state) {
    const std::vector<float> h = noise(512, 2), x = noise(32 * 16, 3);
    float y[32];
    for (auto _ : state) {
        for (int n = 0; n < 32; ++n) {
            float sum = 0.0f;
            for (int age = 0; age < 16; ++age)
                for (int k = 0; k < 32; ++k) {
                    const int j = n + 32 * age;
                    sum += x[std::size_t(32 * age + k)] * h[std::size_t(j)] *
                           std::cos(3.14159265f * (k + 0.5f) * (j - 255.5f) / 32.0f);
                }
            y[n] = sum;
        }
        benchmark::DoNotOptimize(y);
    }
}
BENCHMARK(dts_slot_plain);

void fir_block(benchmark::State& state) {
    ZemFirBlockState_32f* s = nullptr;
    zemsFIRBlockInitAlloc_32f(&s, 8, 1024);
    alignas(16) float x[1024], y[1024], h[8];
    const std::vector<float> v = noise(1024, 4);
    std::copy(v.begin(), v.end(), x);
    for (float& t : h)
        t = 0.125f;
    for (auto _ : state) {
        zemsFIRBlockOne_32f(x, y, s, h);
        benchmark::DoNotOptimize(y);
    }
    zemsFIRBlockFree_32f(s);
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(fir_block);

void fir_block_plain(benchmark::State& state) {
    std::vector<std::vector<float>> past(8, noise(1024, 5));
    std::vector<float> y(1024);
    for (auto _ : state) {
        for (int i = 0; i < 1024; ++i) {
            float sum = 0.0f;
            for (int k = 0; k < 8; ++k)
                sum += 0.125f * past[std::size_t(k)][std::size_t(i)];
            y[std::size_t(i)] = sum;
        }
        benchmark::DoNotOptimize(y.data());
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(fir_block_plain);

void vq_search(benchmark::State& state) {
    const int S = 10, H = 64;
    std::vector<float> table[2] = {noise(S * H, 6), noise(S * H, 7)};
    std::vector<std::vector<uint8_t>> mem(
        2, std::vector<uint8_t>(std::size_t((16 * S + 208) * H + 976)));
    const ZemVqCodebook_32f* cb[2];
    for (int b = 0; b < 2; ++b) {
        ZemVqCodebook_32f* r;
        zemsVQCodeBookInit_32f(table[b].data(), &r, S, H, mem[std::size_t(b)].data());
        cb[b] = r;
    }
    const std::vector<float> x = noise(S, 8), w(S, 1.0f);
    const int32_t len[1] = {S}, mode[1] = {1};
    const int32_t* modes[2] = {mode, mode};
    int32_t i0, i1, s0, s1;
    int32_t* idx[2] = {&i0, &i1};
    int32_t* sgn[2] = {&s0, &s1};
    for (auto _ : state) {
        zemsVQIndexSelect_32f(x.data(), w.data(), 1, len, 8, modes, idx, sgn, cb, 2);
        benchmark::DoNotOptimize(i0);
    }
}
BENCHMARK(vq_search);

// The helpers with a 128-bit path on 1024 values: aligned buffers (argument 0), and buffers one
// element off (1), where each takes its scalar twin.
void make_float(benchmark::State& state) {
    const int off = int(state.range(0));
    alignas(16) int16_t m[1032], e[1032];
    alignas(16) float y[1032];
    for (int i = 0; i < 1032; ++i) {
        m[i] = int16_t(i * 7919);
        e[i] = int16_t(i % 40 - 20);
    }
    for (auto _ : state) {
        zemsMakeFloat_16s32f(m + off, e + off, y + off, 1024);
        benchmark::DoNotOptimize(y);
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(make_float)->Arg(0)->Arg(1);

void pow34(benchmark::State& state) {
    const int off = int(state.range(0));
    alignas(16) float x[1032], y[1032];
    const std::vector<float> v = noise(1032, 9);
    std::copy(v.begin(), v.end(), x);
    for (auto _ : state) {
        zemsPow34_32f(x + off, y + off, 1024);
        benchmark::DoNotOptimize(y);
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(pow34)->Arg(0)->Arg(1);

void pow34_16s(benchmark::State& state) {
    const int off = int(state.range(0));
    alignas(16) float x[1032];
    alignas(16) int16_t y[1032];
    const std::vector<float> v = noise(1032, 10);
    for (int i = 0; i < 1032; ++i)
        x[i] = v[std::size_t(i)] * 30000.0f;
    for (auto _ : state) {
        zemsPow34_32f16s(x + off, y + off, 1024);
        benchmark::DoNotOptimize(y);
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(pow34_16s)->Arg(0)->Arg(1);

void pow34_plain(benchmark::State& state) {
    std::vector<float> x = noise(1024, 9), y(1024);
    for (auto _ : state) {
        for (int i = 0; i < 1024; ++i)
            y[std::size_t(i)] = std::pow(std::fabs(x[std::size_t(i)]), 0.75f);
        benchmark::DoNotOptimize(y.data());
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(pow34_plain);

void interleave(benchmark::State& state) {
    alignas(16) float l[1024], r[1024], out[2048];
    const float* planes[2] = {l, r};
    for (auto _ : state) {
        zemsInterleave_32f(planes, 2, 1024, out);
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations() * 2048);
}
BENCHMARK(interleave);

} // namespace

BENCHMARK_MAIN();
