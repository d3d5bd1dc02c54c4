// Layer III synthesis stages: hybrid synthesis of a granule (alias reduction, inverse
// transforms, overlap) and polyphase synthesis of one time slot.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "zemac.h"

namespace {

void hybrid_granule(benchmark::State& state, int blockType) {
    std::mt19937 rng(2);
    std::vector<int32_t> src(576), x(576), y(576), overlap(576, 0);
    for (int i = 0; i < 576; ++i)
        src[std::size_t(i)] = i < 400 ? int32_t(rng() % 20000001) - 10000000 : 0;
    int32_t count = 0;
    for (auto _ : state) {
        x = src;
        benchmark::DoNotOptimize(
            zemsMDCTInv_MP3_32s(x.data(), y.data(), overlap.data(), 400, &count, blockType, 0));
    }
    state.SetItemsProcessed(state.iterations() * 576);
}
BENCHMARK_CAPTURE(hybrid_granule, long_blocks, 0);
BENCHMARK_CAPTURE(hybrid_granule, short_blocks, 2);

void polyphase_slot(benchmark::State& state) {
    std::mt19937 rng(3);
    std::vector<int32_t> s(32 * 18), v(512, 0);
    for (int32_t& x : s)
        x = int32_t(rng() % 8000001) - 4000000;
    int32_t pos = 0;
    int16_t pcm[64];
    int t = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            zemsSynthPQMF_MP3_32s16s(s.data() + 32 * t, pcm, v.data(), &pos, 2));
        t = t == 17 ? 0 : t + 1;
    }
    state.SetItemsProcessed(state.iterations() * 32);
}
BENCHMARK(polyphase_slot);

} // namespace

BENCHMARK_MAIN();
