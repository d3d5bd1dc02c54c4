// AAC prediction per frame of 1024 lines: the frequency-domain predictor (encoder and decoder
// sides, every band predicted) and the three long-term prediction steps (prediction from the
// history, reconstruction of the flagged bands, the history update through the filter bank).
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench_signals.hpp"
#include "zemac.h"

namespace {

// 49 bands of about 21 lines: the predictor's cost depends on lines, not on the layout.
std::vector<int32_t> band_offsets() {
    std::vector<int32_t> o;
    for (int b = 0; b <= 48; ++b)
        o.push_back(b * 21);
    o.push_back(1024);
    return o;
}

void fdp_decode(benchmark::State& state) {
    ZemFdpState_32f* s = nullptr;
    zemsFDPInitAlloc_32f(&s, 1024);
    const std::vector<int32_t> offsets = band_offsets();
    const std::vector<uint8_t> used(offsets.size() - 1, 1);
    const std::vector<float> x = zembench::noise(1024, 1);
    alignas(16) float frame[1024];
    for (auto _ : state) {
        std::memcpy(frame, x.data(), sizeof frame);
        zemsFDPInv_32f_I(frame, offsets.data(), int32_t(used.size()), used.data(), s);
        benchmark::DoNotOptimize(frame);
    }
    zemsFDPFree_32f(s);
}
BENCHMARK(fdp_decode);

void fdp_encode(benchmark::State& state) {
    ZemFdpState_32f* s = nullptr;
    zemsFDPInitAlloc_32f(&s, 1024);
    const std::vector<float> x = zembench::noise(1024, 2);
    alignas(16) float in[1024], out[1024];
    std::memcpy(in, x.data(), sizeof in);
    for (auto _ : state) {
        zemsFDPFwd_32f(in, out, s);
        benchmark::DoNotOptimize(out);
    }
    zemsFDPFree_32f(s);
}
BENCHMARK(fdp_encode);

struct Ltp {
    std::vector<int32_t> history = std::vector<int32_t>(3072), spec = std::vector<int32_t>(1024),
                         pred = std::vector<int32_t>(2048), work = std::vector<int32_t>(6144);
    ZemAacLtpRec rec{};
    Ltp() {
        const std::vector<float> n = zembench::noise(3072, 3);
        for (int i = 0; i < 3072; ++i)
            history[i] = int32_t(n[i] * 80000.0f);
        for (int i = 0; i < 1024; ++i)
            spec[i] = int32_t(n[i] * 100000.0f);
        rec.ltp_data_present = 1;
        rec.ltp_lag = 1500;
        rec.ltp_coef = 13320;
        for (int b = 0; b <= 40; ++b)
            rec.ltp_long_used[b] = 1;
    }
};

void ltp_predict(benchmark::State& state) {
    Ltp l;
    for (auto _ : state) {
        zemsLongTermPredict_AAC_32s(l.history.data(), l.pred.data(), &l.rec, 0);
        benchmark::DoNotOptimize(l.pred.data());
    }
}
BENCHMARK(ltp_predict);

void ltp_reconstruct(benchmark::State& state) {
    Ltp l;
    for (auto _ : state) {
        zemsLongTermReconstruct_AAC_32s(l.pred.data(), l.spec.data(), l.rec.ltp_long_used, 0, 4);
        benchmark::DoNotOptimize(l.spec.data());
    }
}
BENCHMARK(ltp_reconstruct);

void ltp_update(benchmark::State& state) {
    Ltp l;
    for (auto _ : state) {
        zemsLtpUpdate_AAC_32s(l.spec.data(), l.history.data(), 0, 1, 1, l.work.data());
        benchmark::DoNotOptimize(l.history.data());
    }
}
BENCHMARK(ltp_update);

} // namespace

BENCHMARK_MAIN();
