// Layer III hot stages: Huffman decoding of a granule, hybrid synthesis of a granule (alias
// reduction, inverse transforms, overlap) and polyphase synthesis of one time slot.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "zemac.h"

namespace {

ZemMp3HeaderRec header() {
    ZemMp3HeaderRec h{};
    h.id = 1;
    h.layer = 1;
    h.mode = 1;
    return h;
}

// A typical long-block granule: big values up to 15 with linbits in the low region.
void huffman_granule(benchmark::State& state) {
    std::mt19937 rng(1);
    ZemMp3GranuleRec g{};
    g.big_values = 200;
    g.region0_count = 7;
    g.region1_count = 7;
    g.table_select[0] = 24;
    g.table_select[1] = 13;
    g.table_select[2] = 7;
    std::vector<int32_t> x(576, 0);
    for (int i = 0; i < 400; ++i) {
        const int m = i < 100 ? int(rng() % 40) : i < 250 ? int(rng() % 12) : int(rng() % 6);
        x[std::size_t(i)] = rng() & 1 ? -m : m;
    }
    for (int i = 400; i < 480; ++i)
        x[std::size_t(i)] = int(rng() % 3) - 1;
    const ZemMp3HeaderRec h = header();
    std::vector<uint8_t> buf(4096, 0);
    uint8_t* p = buf.data();
    int32_t pos = 0;
    zemsHuffmanEncode_MP3_32s1u(x.data(), &p, &pos, &h, &g, 80, 0);
    const int32_t bits = int32_t((p - buf.data()) * 8 + pos);
    g.part2_3_length = bits;
    std::vector<int32_t> y(576);
    int32_t bound;
    for (auto _ : state) {
        p = buf.data();
        pos = 0;
        benchmark::DoNotOptimize(
            zemsHuffmanDecode_MP3_1u32s(&p, &pos, y.data(), &bound, &g, &h, bits));
    }
    state.SetItemsProcessed(state.iterations() * 576);
}
BENCHMARK(huffman_granule);

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
