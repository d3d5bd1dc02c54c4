// The AAC decoder's hot kernels by instruction set, each against its plainly written scalar twin
// in the same run: the inverse filter-bank core (1024 and 128 lines), the long-window overlap-add
// and the small-magnitude table lookup of inverse quantisation. The decoder runs the AVX2 set
// where the processor has it and the SSE2 set otherwise.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "aac/mdct_core.hpp"
#include "aac/overlap_kernels.hpp"
#include "aac/quant_kernels.hpp"
#include "tables/aac_swb.hpp"

namespace {

std::vector<int32_t> spectrum(int n, int bits) {
    std::mt19937 rng(3);
    std::vector<int32_t> v(std::size_t(n), 0);
    for (int32_t& x : v)
        x = int32_t(rng()) >> (32 - bits);
    return v;
}

void inverse_core(benchmark::State& state, void (*core)(int32_t*, int), int n) {
    const std::vector<int32_t> src = spectrum(n, 20);
    std::vector<int32_t> x(src.size());
    for (auto _ : state) {
        std::memcpy(x.data(), src.data(), 4 * src.size());
        core(x.data(), n);
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK_CAPTURE(inverse_core, long_scalar, zem::aac::kInverseCoresScalar.norm, 1024);
BENCHMARK_CAPTURE(inverse_core, short_scalar, zem::aac::kInverseCoresScalar.norm, 128);
BENCHMARK_CAPTURE(inverse_core, long_sse2, zem::aac::kInverseCoresSse2.norm, 1024);
BENCHMARK_CAPTURE(inverse_core, short_sse2, zem::aac::kInverseCoresSse2.norm, 128);
#if defined(__x86_64__)
BENCHMARK_CAPTURE(inverse_core, long_avx2, zem::aac::kInverseCoresAvx2.norm, 1024);
BENCHMARK_CAPTURE(inverse_core, short_avx2, zem::aac::kInverseCoresAvx2.norm, 128);
#endif

void overlap(benchmark::State& state, zem::aac::OverlapKernels kernels) {
    const std::vector<int32_t> X = spectrum(1024, 28), rise = spectrum(1024, 31);
    std::vector<int32_t> ov = spectrum(1024, 28);
    std::vector<int16_t> pcm(1024);
    for (auto _ : state) {
        kernels.only_long(X.data(), ov.data(), rise.data(), rise.data(), pcm.data(), 1);
        benchmark::DoNotOptimize(pcm.data());
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK_CAPTURE(overlap, scalar, zem::aac::kOverlapScalar);
BENCHMARK_CAPTURE(overlap, sse2, zem::aac::kOverlapSse2);
#if defined(__x86_64__)
BENCHMARK_CAPTURE(overlap, avx2, zem::aac::kOverlapAvx2);
#endif

// A long frame's 49 bands at 44.1 kHz of quantised values below 16 (mostly 0 and 1), each band
// with a scale factor of its own, so that every band builds its table.
void dequantise(benchmark::State& state, zem::aac::QuantKernels kernels) {
    std::mt19937 rng(4);
    std::vector<int32_t> src(1024);
    for (int32_t& v : src)
        v = int32_t(rng() % 7) - 3;
    std::vector<int32_t> x(1024);
    alignas(32) int32_t small[16];
    const int16_t* offsets = zem::aac::kSwbLong[4].offset;
    const int bands = zem::aac::kSwbLong[4].count;
    for (auto _ : state) {
        std::memcpy(x.data(), src.data(), 4096);
        for (int b = 0; b < bands; ++b) {
            kernels.small_magnitudes(small, b % 9, b & 3);
            kernels.dequantise_small(x.data() + offsets[b], offsets[b + 1] - offsets[b], small);
        }
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK_CAPTURE(dequantise, scalar, zem::aac::kQuantScalar);
BENCHMARK_CAPTURE(dequantise, sse2, zem::aac::kQuantSse2);
#if defined(__x86_64__)
BENCHMARK_CAPTURE(dequantise, avx2, zem::aac::kQuantAvx2);
#endif

} // namespace

BENCHMARK_MAIN();
