// Layer III Huffman decoding of one granule made by the library's encoder (granules per
// second; items are spectral values). "dense" resembles a 128 kbit/s stereo granule at 44.1 kHz,
// "sparse" a low-rate one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "zemac.h"

namespace {

struct Granule {
    std::vector<uint8_t> bits;
    ZemMp3GranuleRec g{};
    ZemMp3HeaderRec h{};
    int32_t hufSize = 0;
};

// Magnitudes fall with frequency, as in music: escapes in region 0, small values later, then a
// count1 region of zeros and ones.
Granule make_granule(int bigValues, int count1, uint32_t seed) {
    std::mt19937 rng(seed);
    Granule gr;
    gr.h.id = 1;
    gr.h.layer = 1;
    gr.h.sampling_frequency = 0;
    gr.g.big_values = bigValues;
    gr.g.region0_count = 7; // lines 0-35 with table 24
    gr.g.region1_count = 7; // lines 36-161 with table 13, the rest with table 7
    gr.g.table_select[0] = 24;
    gr.g.table_select[1] = 13;
    gr.g.table_select[2] = 7;
    int32_t spec[576] = {};
    auto draw = [&](int limit) {
        const int m = std::min(limit, int(std::exponential_distribution<double>(0.35)(rng)));
        return rng() & 1 ? -m : m;
    };
    for (int i = 0; i < 2 * bigValues; ++i)
        spec[i] = draw(i < 36 ? 30 : i < 162 ? 15 : 5);
    for (int i = 2 * bigValues; i < 2 * bigValues + count1; ++i)
        spec[i] = rng() % 4 == 0 ? (rng() & 1 ? -1 : 1) : 0;
    gr.bits.assign(4096, 0);
    uint8_t* p = gr.bits.data();
    int32_t pos = 0;
    if (zemsHuffmanEncode_MP3_32s1u(spec, &p, &pos, &gr.h, &gr.g, count1, 0) != zemStatusOk)
        std::abort();
    gr.hufSize = int32_t((p - gr.bits.data()) * 8 + pos);
    gr.g.part2_3_length = gr.hufSize;
    return gr;
}

// The granules differ from call to call (a cycle of 64), as a stream's do, so that the branch
// predictor cannot learn one granule's codes by heart.
void huffman_decode(benchmark::State& state, int bigValues, int count1) {
    std::vector<Granule> granules;
    for (uint32_t seed = 0; seed < 64; ++seed)
        granules.push_back(make_granule(bigValues, count1, seed + 3));
    int32_t out[576];
    int32_t nonZero;
    std::size_t k = 0;
    int64_t bits = 0;
    for (auto _ : state) {
        const Granule& gr = granules[k];
        k = (k + 1) & 63;
        uint8_t* p = const_cast<uint8_t*>(gr.bits.data());
        int32_t pos = 0;
        benchmark::DoNotOptimize(
            zemsHuffmanDecode_MP3_1u32s(&p, &pos, out, &nonZero, &gr.g, &gr.h, gr.hufSize));
        benchmark::ClobberMemory();
        bits += gr.hufSize;
    }
    state.SetItemsProcessed(state.iterations() * 576);
    state.counters["bits"] = double(bits) / double(state.iterations());
}
BENCHMARK_CAPTURE(huffman_decode, dense, 220, 120);
BENCHMARK_CAPTURE(huffman_decode, sparse, 90, 80);

} // namespace

BENCHMARK_MAIN();
