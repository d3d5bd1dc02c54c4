// The fixed-point SBR QMF banks per slot (one slot per call), to set beside the floating-point
// banks' per-slot figures of sbr_qmf_bench.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "zemac.h"

namespace {

std::vector<int32_t> samples(std::size_t n, int32_t amplitude, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int32_t> d(-amplitude, amplitude);
    std::vector<int32_t> v(n);
    for (int32_t& x : v)
        x = d(rng);
    return v;
}

void analysis_hq(benchmark::State& state) {
    std::vector<uint8_t> mem(1327);
    zemsAnalysisFilterInit_SBRHQ_32s32sc(mem.data());
    auto* spec = reinterpret_cast<ZemSbrAnalysisSpec_32s*>(mem.data());
    const std::vector<int32_t> x = samples(32, 1 << 29, 1);
    Zem32sc X[32];
    for (auto _ : state) {
        zemsAnalysisFilter_SBRHQ_32s32sc(x.data(), X, 32, spec);
        benchmark::DoNotOptimize(X);
    }
}
BENCHMARK(analysis_hq);

void analysis_lp(benchmark::State& state) {
    std::vector<uint8_t> mem(1327);
    zemsAnalysisFilterInit_SBRLP_32s(mem.data());
    auto* spec = reinterpret_cast<ZemSbrAnalysisSpec_32s*>(mem.data());
    const std::vector<int32_t> x = samples(32, 1 << 29, 1);
    int32_t X[32];
    for (auto _ : state) {
        zemsAnalysisFilter_SBRLP_32s(x.data(), X, 32, spec);
        benchmark::DoNotOptimize(X);
    }
}
BENCHMARK(analysis_lp);

template <bool Full, bool Hq> void synthesis(benchmark::State& state) {
    std::vector<uint8_t> mem(5167);
    const std::vector<int32_t> x = samples(128, 1 << 25, 2);
    int32_t y[64];
    if constexpr (Full) {
        (Hq ? zemsSynthesisFilterInit_SBRHQ_32sc32s
            : zemsSynthesisFilterInit_SBRLP_32s)(mem.data());
        auto* spec = reinterpret_cast<ZemSbrSynthesisSpec_32s*>(mem.data());
        for (auto _ : state) {
            if (Hq)
                zemsSynthesisFilter_SBRHQ_32sc32s(reinterpret_cast<const Zem32sc*>(x.data()), y,
                                                  spec);
            else
                zemsSynthesisFilter_SBRLP_32s(x.data(), y, spec);
            benchmark::DoNotOptimize(y);
        }
    } else {
        (Hq ? zemsSynthesisDownFilterInit_SBRHQ_32sc32s
            : zemsSynthesisDownFilterInit_SBRLP_32s)(mem.data());
        auto* spec = reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(mem.data());
        for (auto _ : state) {
            if (Hq)
                zemsSynthesisDownFilter_SBRHQ_32sc32s(reinterpret_cast<const Zem32sc*>(x.data()), y,
                                                      spec);
            else
                zemsSynthesisDownFilter_SBRLP_32s(x.data(), y, spec);
            benchmark::DoNotOptimize(y);
        }
    }
}
BENCHMARK(synthesis<true, true>)->Name("synthesis64_hq");
BENCHMARK(synthesis<true, false>)->Name("synthesis64_lp");
BENCHMARK(synthesis<false, true>)->Name("synthesis32_hq");
BENCHMARK(synthesis<false, false>)->Name("synthesis32_lp");

} // namespace

BENCHMARK_MAIN();
