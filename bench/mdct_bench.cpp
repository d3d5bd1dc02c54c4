// Single-precision MDCT, forward (N samples to N/2 coefficients) and inverse (N/2 to N), against
// libavutil's float MDCT (full inverse) twice: with every CPU flag, and limited to SSE-class
// instructions (the fair 128-bit comparison). Same data for all; quote medians:
//   mdct_bench --benchmark_repetitions=15 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>

extern "C" {
#include <libavutil/cpu.h>
#include <libavutil/tx.h>
}

#include "zemac.h"

namespace {

struct Buffers {
    float* in;
    float* out;
    explicit Buffers(int32_t n) {
        in = static_cast<float*>(std::aligned_alloc(64, std::size_t(n) * 4));
        out = static_cast<float*>(std::aligned_alloc(64, std::size_t(n) * 4));
        std::mt19937 rng(1);
        std::uniform_real_distribution<float> d(-1.0f, 1.0f);
        for (int32_t i = 0; i < n; ++i)
            in[i] = d(rng);
    }
    ~Buffers() {
        std::free(in);
        std::free(out);
    }
};

void zemac_forward(benchmark::State& state) {
    const int32_t n = int32_t(state.range(0));
    Buffers b(n);
    ZemMdctFwdSpec_32f* spec = nullptr;
    zemsMDCTFwdInitAlloc_32f(&spec, n);
    int32_t size = 0;
    zemsMDCTFwdGetBufSize_32f(spec, &size);
    auto* work = static_cast<uint8_t*>(std::aligned_alloc(64, std::size_t(size + 63) & ~63u));
    for (auto _ : state) {
        zemsMDCTFwd_32f(b.in, b.out, spec, work);
        benchmark::ClobberMemory();
    }
    std::free(work);
    zemsMDCTFwdFree_32f(spec);
}

void zemac_inverse(benchmark::State& state) {
    const int32_t n = int32_t(state.range(0));
    Buffers b(n);
    ZemMdctInvSpec_32f* spec = nullptr;
    zemsMDCTInvInitAlloc_32f(&spec, n);
    int32_t size = 0;
    zemsMDCTInvGetBufSize_32f(spec, &size);
    auto* work = static_cast<uint8_t*>(std::aligned_alloc(64, std::size_t(size + 63) & ~63u));
    for (auto _ : state) {
        zemsMDCTInv_32f(b.in, b.out, spec, work);
        benchmark::ClobberMemory();
    }
    std::free(work);
    zemsMDCTInvFree_32f(spec);
}

constexpr int kSseClass = AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE |
                          AV_CPU_FLAG_SSE2 | AV_CPU_FLAG_SSE3 | AV_CPU_FLAG_SSSE3 |
                          AV_CPU_FLAG_SSE4 | AV_CPU_FLAG_SSE42 | AV_CPU_FLAG_CMOV;

// The context is built while the flags are forced, which is when libavutil picks its kernels.
void avtx(benchmark::State& state, bool inverse, bool sseOnly) {
    const int32_t n = int32_t(state.range(0));
    Buffers b(n);
    if (sseOnly)
        av_force_cpu_flags(av_get_cpu_flags() & kSseClass);
    AVTXContext* ctx = nullptr;
    av_tx_fn fn = nullptr;
    const float scale = 1.0f;
    const int err = av_tx_init(&ctx, &fn, AV_TX_FLOAT_MDCT, inverse, n / 2, &scale,
                               inverse ? AV_TX_FULL_IMDCT : 0);
    av_force_cpu_flags(-1);
    if (err < 0) {
        state.SkipWithError("av_tx_init failed");
        return;
    }
    for (auto _ : state) {
        fn(ctx, b.out, b.in, sizeof(float));
        benchmark::ClobberMemory();
    }
    av_tx_uninit(&ctx);
}

void avtx_forward(benchmark::State& s) { avtx(s, false, false); }
void avtx_forward_sse(benchmark::State& s) { avtx(s, false, true); }
void avtx_inverse(benchmark::State& s) { avtx(s, true, false); }
void avtx_inverse_sse(benchmark::State& s) { avtx(s, true, true); }

} // namespace

BENCHMARK(zemac_forward)->Arg(256)->Arg(2048);
BENCHMARK(avtx_forward_sse)->Arg(256)->Arg(2048);
BENCHMARK(avtx_forward)->Arg(256)->Arg(2048);
BENCHMARK(zemac_inverse)->Arg(256)->Arg(2048);
BENCHMARK(avtx_inverse_sse)->Arg(256)->Arg(2048);
BENCHMARK(avtx_inverse)->Arg(256)->Arg(2048);

BENCHMARK_MAIN();
