// Layer III encoding stages per granule of one channel, on music-like input (two tones, a chirp
// and noise at 44.1 kHz): the polyphase analysis of its 18 slots, the forward hybrid transform
// (long and short blocks), psychoacoustic model two, and the quantiser within the budget of a
// 128 kbit/s stereo frame.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "zemac.h"

namespace {

std::vector<int16_t> music(int n) {
    std::mt19937 rng(7);
    std::normal_distribution<double> noise(0.0, 300.0);
    std::vector<int16_t> x(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        const double t = i / 44100.0;
        x[std::size_t(i)] =
            int16_t(6000 * std::sin(2 * M_PI * 220 * t) + 3000 * std::sin(2 * M_PI * 1750 * t) +
                    2000 * std::sin(2 * M_PI * (300 + 2000 * t) * t) + noise(rng));
    }
    return x;
}

ZemMp3HeaderRec header() {
    ZemMp3HeaderRec h{};
    h.id = 1;
    h.layer = 1;
    h.protection_bit = 1;
    h.bitrate_index = 9;
    h.sampling_frequency = 0;
    h.mode = 1;
    return h;
}

// The sub-band samples of granule g of the input.
std::vector<int32_t> subbands(const std::vector<int16_t>& x, int g) {
    std::vector<int32_t> sub(576);
    for (int t = 0; t < 18; ++t)
        zemsAnalysisPQMF_MP3_16s32s(x.data() + 576 * g + 32 * t, sub.data() + 32 * t, 1);
    return sub;
}

void analysis_granule(benchmark::State& state) {
    const std::vector<int16_t> x = music(44100);
    std::vector<int32_t> sub(576);
    int g = 0;
    for (auto _ : state) {
        for (int t = 0; t < 18; ++t)
            zemsAnalysisPQMF_MP3_16s32s(x.data() + 576 * g + 32 * t, sub.data() + 32 * t, 1);
        benchmark::DoNotOptimize(sub.data());
        g = g == 60 ? 0 : g + 1;
    }
}
BENCHMARK(analysis_granule);

void forward_hybrid(benchmark::State& state, int blockType) {
    const std::vector<int16_t> x = music(44100);
    const std::vector<int32_t> sub = subbands(x, 3);
    std::vector<int32_t> spec(576), previous = subbands(x, 2);
    const ZemMp3HeaderRec h = header();
    for (auto _ : state) {
        zemsMDCTFwd_MP3_32s(sub.data(), spec.data(), blockType, 0, &h, previous.data());
        benchmark::DoNotOptimize(spec.data());
    }
}
BENCHMARK_CAPTURE(forward_hybrid, long_blocks, 0);
BENCHMARK_CAPTURE(forward_hybrid, short_blocks, 2);

void model_two(benchmark::State& state) {
    const std::vector<int16_t> x = music(44100);
    const ZemMp3HeaderRec h = header();
    auto psy = std::make_unique<ZemMp3PsyStateRec>();
    *psy = {};
    ZemMp3PsyResultRec r{};
    std::vector<uint8_t> work(ZEM_MP3_PSY_WORK_BYTES);
    int g = 0;
    for (auto _ : state) {
        zemsPsychoacousticModelTwo_MP3_16s(x.data() + 576 * g, 1, &h, psy.get(), &r, work.data());
        benchmark::DoNotOptimize(r);
        g = g == 60 ? 0 : g + 1;
    }
}
BENCHMARK(model_two);

// One channel's share of a 128 kbit/s stereo frame: a quarter of its 3336 payload bits.
void quantiser(benchmark::State& state) {
    const std::vector<int16_t> x = music(44100);
    const ZemMp3HeaderRec h = header();
    std::vector<int32_t> previous = subbands(x, 4), spec(576);
    const std::vector<int32_t> sub = subbands(x, 5);
    zemsMDCTFwd_MP3_32s(sub.data(), spec.data(), 0, 0, &h, previous.data());
    std::vector<float> ratio(39, 0.05f);
    std::vector<uint8_t> work(ZEM_MP3_QUANTIZE_WORK_BYTES);
    std::vector<int32_t> q(576);
    int8_t sf[39];
    int32_t count1 = 0, huff = 0;
    for (auto _ : state) {
        q = spec;
        ZemMp3GranuleRec gi{};
        zemsQuantize_MP3_32s_I(q.data(), sf, &gi, &count1, &huff, ratio.data(), nullptr, nullptr,
                               &h, 834, work.data());
        benchmark::DoNotOptimize(gi);
    }
}
BENCHMARK(quantiser);

} // namespace

BENCHMARK_MAIN();
