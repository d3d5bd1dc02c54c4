// AAC decoding stages: noiseless decoding of a long and an eight-short frame (values per
// second), inverse quantisation, TNS filtering and the inverse filter bank.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/aac_ics_writer.hpp"
#include "zemac.h"

namespace {

// A full channel stream of the given window type: every band coded, codebooks 1..11.
std::vector<uint8_t> channel_stream(bool eightShort, uint32_t seed) {
    std::mt19937 rng(seed);
    zemtest::AacChannel ch;
    do {
        ch = zemtest::random_aac_channel(rng, 4, eightShort, {1, 3, 5, 7, 9, 11, 11}, false);
    } while (ch.maxSfb < (eightShort ? 12 : 45));
    zemtest::BitBuilder b;
    zemtest::write_aac_channel(b, ch);
    return b.bytes(4);
}

void noiseless(benchmark::State& state, bool eightShort) {
    std::vector<uint8_t> stream = channel_stream(eightShort, 7);
    ZemAacIcsRec ics{};
    ZemAacChanRec chan{};
    ZemAacLayerMainRec main{};
    chan.sampling_frequency_index = 4;
    chan.pIcsOfChan = &ics;
    int16_t sf[8 * 51];
    int32_t coef[1024];
    uint8_t cb[8 * 51];
    int8_t tns[64];
    for (auto _ : state) {
        uint8_t* p = stream.data();
        int32_t pos = 0;
        benchmark::DoNotOptimize(
            zemsNoiselessDecode_AAC(&p, &pos, &main, sf, coef, cb, tns, &chan, 0, 0, 0, 0, 2));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK_CAPTURE(noiseless, long_frame, false);
BENCHMARK_CAPTURE(noiseless, eight_short_frame, true);

// Quantised values as a typical frame has them: mostly small, some escapes.
std::vector<int32_t> quantised_frame() {
    std::mt19937 rng(3);
    std::vector<int32_t> x(1024);
    for (int32_t& v : x) {
        const int r = int(rng() % 100);
        v = r < 40 ? 0 : r < 95 ? int(rng() % 15) - 7 : int(rng() % 400) - 200;
    }
    return x;
}

void quant_inv(benchmark::State& state) {
    const std::vector<int32_t> src = quantised_frame();
    std::vector<int32_t> x(1024);
    int16_t sf[49];
    uint8_t cb[49];
    for (int b = 0; b < 49; ++b) {
        sf[b] = int16_t(100 + 3 * b);
        cb[b] = 5;
    }
    const int32_t group[1] = {1};
    for (auto _ : state) {
        std::memcpy(x.data(), src.data(), 4096);
        benchmark::DoNotOptimize(zemsQuantInv_AAC_32s_I(x.data(), sf, 1, group, 49, cb, 4, 1024));
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(quant_inv);

void tns(benchmark::State& state) {
    std::mt19937 rng(5);
    std::vector<int32_t> src(1024), x(1024);
    for (int32_t& v : src)
        v = int32_t(rng() % 2000001) - 1000000;
    const int32_t nFilt[8] = {3}, length[8] = {20, 15, 10}, order[8] = {12, 8, 4}, coefRes[8] = {4};
    const int32_t direction[8] = {0, 1, 0};
    const int8_t coef[60] = {3, -2, 1, 4, -5, 6, -7, 2, 1, 0, -1, 2,
                             4, -3, 2, 1, 0,  5, -6, 7, 1, 2, 3,  -4};
    for (auto _ : state) {
        std::memcpy(x.data(), src.data(), 4096);
        benchmark::DoNotOptimize(zemsDecodeTNS_AAC_32s_I(x.data(), nFilt, length, order, coefRes,
                                                         coef, direction, 49, 0, 4, 1024));
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK(tns);

void mdct_inv(benchmark::State& state, int windowSequence) {
    std::mt19937 rng(9);
    std::vector<int32_t> src(1024), x(1024), overlap(1024, 0);
    for (int32_t& v : src)
        v = int32_t(rng() % 200001) - 100000;
    int16_t pcm[1024];
    for (auto _ : state) {
        std::memcpy(x.data(), src.data(), 4096);
        benchmark::DoNotOptimize(
            zemsMDCTInv_AAC_32s16s(x.data(), pcm, overlap.data(), windowSequence, 1, 0, 1));
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK_CAPTURE(mdct_inv, long_frame, 0);
BENCHMARK_CAPTURE(mdct_inv, eight_short_frame, 2);

} // namespace

BENCHMARK_MAIN();
