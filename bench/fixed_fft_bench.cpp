// The fixed-point split-radix FFT at the orders of the AAC filter bank (64 and 512 points): the
// SSE2 and AVX2 kernels the filter bank chooses between and, at 512 points, their scalar twin.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "transform/fixed_fft.hpp"

namespace {

constexpr auto kOrder6 = zem::make_fixed_fft_table<6, zem::TwiddleRounding::AddHalf>();
constexpr auto kOrder9 = zem::make_fixed_fft_table<9, zem::TwiddleRounding::AddHalf>();

void fixed_fft(benchmark::State& state, zem::FixedFftKernels kernels, int order,
               const int32_t* twiddle, const uint8_t* swap) {
    std::mt19937 rng(5);
    std::vector<int32_t> src(std::size_t(2) << order), x(std::size_t(2) << order);
    for (int32_t& v : src)
        v = int32_t(rng()) >> 12;
    for (auto _ : state) {
        std::memcpy(x.data(), src.data(), 4 * src.size());
        kernels.forward(x.data(), order, twiddle, swap);
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(state.iterations() * (int64_t(1) << order));
}
BENCHMARK_CAPTURE(fixed_fft, points_64, zem::kFixedFftSse2, 6, kOrder6.twiddle, kOrder6.swap);
BENCHMARK_CAPTURE(fixed_fft, points_512, zem::kFixedFftSse2, 9, kOrder9.twiddle, kOrder9.swap);
#if defined(__x86_64__)
BENCHMARK_CAPTURE(fixed_fft, points_64_avx2, zem::kFixedFftAvx2, 6, kOrder6.twiddle, kOrder6.swap);
BENCHMARK_CAPTURE(fixed_fft, points_512_avx2, zem::kFixedFftAvx2, 9, kOrder9.twiddle, kOrder9.swap);
#endif
BENCHMARK_CAPTURE(fixed_fft, points_512_scalar, zem::kFixedFftScalar, 9, kOrder9.twiddle,
                  kOrder9.swap);

} // namespace

BENCHMARK_MAIN();
