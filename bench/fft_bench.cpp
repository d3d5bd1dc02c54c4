// Forward complex FFT, single precision, N = 8 .. 4096 and 65536: zemac against FFTW (measured
// plan, one thread), KissFFT and libavutil's av_tx, the latter once with every CPU feature it
// detects and once limited to SSE-class instructions (the same 128-bit width as our kernels).
// All run out of place on the same random input. Compare medians of
//   fft_bench --benchmark_repetitions=5 --benchmark_min_time=0.05
#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <kiss_fft.h>

extern "C" {
#include <libavutil/cpu.h>
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "transform/fft.hpp"

namespace {

// 64-byte aligned buffers of n complex floats, filled with the shared input.
struct Buffers {
    float* in;
    float* out;
    explicit Buffers(int n) {
        in = static_cast<float*>(av_malloc(8 * std::size_t(n)));
        out = static_cast<float*>(av_malloc(8 * std::size_t(n)));
        std::mt19937 rng(1234);
        std::uniform_real_distribution<float> u(-1.0f, 1.0f);
        for (int i = 0; i < 2 * n; ++i)
            in[i] = u(rng);
        std::memset(out, 0, 8 * std::size_t(n));
    }
    ~Buffers() {
        av_free(in);
        av_free(out);
    }
};

int order_of(int n) { return __builtin_ctz(unsigned(n)); }

void BM_zemac(benchmark::State& state) {
    const int n = int(state.range(0));
    Buffers b(n);
    int32_t sizeSpec = 0, sizeInit = 0, sizeWork = 0;
    zem::fft_get_buf_sizes(order_of(n), zem::FftNoScale, 0, &sizeSpec, &sizeInit, &sizeWork);
    std::vector<uint8_t> mem(sizeSpec), init(sizeInit + 1), work(sizeWork + 1);
    zem::ZemFftSpec* spec = nullptr;
    if (zem::fft_init(&spec, order_of(n), zem::FftNoScale, 0, mem.data(), init.data()) != 0) {
        state.SkipWithError("init failed");
        return;
    }
    auto* src = reinterpret_cast<Zem32fc*>(b.in);
    auto* dst = reinterpret_cast<Zem32fc*>(b.out);
    for (auto _ : state) {
        zem::fft_fwd(src, dst, spec, work.data());
        benchmark::DoNotOptimize(b.out);
    }
}

void BM_fftw(benchmark::State& state) {
    const int n = int(state.range(0));
    Buffers b(n);
    std::vector<float> keep(b.in, b.in + 2 * n);
    auto* in = reinterpret_cast<fftwf_complex*>(b.in);
    auto* out = reinterpret_cast<fftwf_complex*>(b.out);
    fftwf_plan plan = fftwf_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_MEASURE);
    std::memcpy(b.in, keep.data(), keep.size() * sizeof(float)); // planning overwrote it
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::DoNotOptimize(b.out);
    }
    fftwf_destroy_plan(plan);
}

void BM_kissfft(benchmark::State& state) {
    const int n = int(state.range(0));
    Buffers b(n);
    kiss_fft_cfg cfg = kiss_fft_alloc(n, 0, nullptr, nullptr);
    auto* in = reinterpret_cast<kiss_fft_cpx*>(b.in);
    auto* out = reinterpret_cast<kiss_fft_cpx*>(b.out);
    for (auto _ : state) {
        kiss_fft(cfg, in, out);
        benchmark::DoNotOptimize(b.out);
    }
    kiss_fft_free(cfg);
}

// av_tx picks its codelets from av_get_cpu_flags() when the context is created; forcing the
// flags (and setting them back to detection afterwards) limits that choice.
void run_avtx(benchmark::State& state, int forcedFlags) {
    const int n = int(state.range(0));
    Buffers b(n);
    if (forcedFlags != 0)
        av_force_cpu_flags(forcedFlags);
    state.counters["cpu_flags"] = double(av_get_cpu_flags());
    AVTXContext* ctx = nullptr;
    av_tx_fn fn = nullptr;
    const float scale = 1.0f;
    const int rc = av_tx_init(&ctx, &fn, AV_TX_FLOAT_FFT, 0, n, &scale, 0);
    av_force_cpu_flags(-1);
    if (rc < 0) {
        state.SkipWithError("av_tx_init failed");
        return;
    }
    for (auto _ : state) {
        fn(ctx, b.out, b.in, sizeof(AVComplexFloat));
        benchmark::DoNotOptimize(b.out);
    }
    av_tx_uninit(&ctx);
}

void BM_avtx(benchmark::State& state) { run_avtx(state, 0); }

void BM_avtx_sse(benchmark::State& state) {
    run_avtx(state, AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE | AV_CPU_FLAG_SSE2 |
                        AV_CPU_FLAG_SSE3 | AV_CPU_FLAG_SSSE3 | AV_CPU_FLAG_SSE4 |
                        AV_CPU_FLAG_SSE42);
}

void sizes(benchmark::internal::Benchmark* b) {
    for (int n = 8; n <= 4096; n *= 2)
        b->Arg(n);
    b->Arg(65536);
}

BENCHMARK(BM_zemac)->Apply(sizes);
BENCHMARK(BM_fftw)->Apply(sizes);
BENCHMARK(BM_kissfft)->Apply(sizes);
BENCHMARK(BM_avtx)->Apply(sizes);
BENCHMARK(BM_avtx_sse)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
