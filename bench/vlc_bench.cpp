// The escape-block VLC block decoders on 1024 values coded with the AAC escape codebook and an
// MP3 linbits table (values per second).
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "support/vlc_builder.hpp"

namespace {

std::vector<int16_t> block(int small, int large) {
    std::mt19937 rng(11);
    std::vector<int16_t> v(1024);
    for (int16_t& x : v) {
        const int r = int(rng() % 10);
        const int m = r < 3   ? 0
                      : r < 9 ? int(rng() % uint32_t(small + 1))
                              : int(rng() % uint32_t(large + 1));
        x = int16_t(rng() & 1 ? -m : m);
    }
    return v;
}

void decode(benchmark::State& state, bool mp3) {
    const zemtest::VlcSpecs specs(mp3 ? zemtest::mp3_pair_book(24) : zemtest::aac_pair_book(11),
                                  mp3 ? zemtest::VlcSpecs::Kind::Mp3
                                      : zemtest::VlcSpecs::Kind::Aac);
    const std::vector<int16_t> v = block(14, mp3 ? 270 : 2000);
    std::vector<uint8_t> stream(8192, 0);
    uint8_t* p = stream.data();
    int32_t pos = 0;
    if (mp3)
        zemsVLCEncodeEscBlock_MP3_16s1u(v.data(), 1024, 8, &p, &pos, specs.enc());
    else
        zemsVLCEncodeEscBlock_AAC_16s1u(v.data(), 1024, &p, &pos, specs.enc());
    std::vector<int16_t> out(1024);
    for (auto _ : state) {
        p = stream.data();
        pos = 0;
        if (mp3)
            benchmark::DoNotOptimize(
                zemsVLCDecodeEscBlock_MP3_1u16s(&p, &pos, 8, out.data(), 1024, specs.plain()));
        else
            benchmark::DoNotOptimize(
                zemsVLCDecodeEscBlock_AAC_1u16s(&p, &pos, out.data(), 1024, specs.plain()));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 1024);
}
BENCHMARK_CAPTURE(decode, aac_escape, false);
BENCHMARK_CAPTURE(decode, mp3_linbits, true);

} // namespace

BENCHMARK_MAIN();
