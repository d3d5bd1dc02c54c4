// The instruction set of the hot kernels, chosen once when the library is loaded: AVX2 where
// the processor has it (x86-64 builds only), SSE2 otherwise or when the environment variable
// ZEMAC_SIMD is "sse2" (so that tests and benchmarks can run either path on one machine). The
// choice never changes afterwards, so calls from any number of threads read the same value.
#pragma once

namespace zem {

bool avx2_kernels();
// Whether the processor runs the AVX2 kernels at all (x86-64 builds), whatever the choice.
bool cpu_has_avx2();

} // namespace zem

// The kernel set this process runs, of an SSE2 and an AVX2 one (the AVX2 set exists on x86-64
// only and is not named elsewhere).
#if defined(__x86_64__)
#define ZEM_CHOSEN_KERNELS(sse2, avx2) (::zem::avx2_kernels() ? (avx2) : (sse2))
#else
#define ZEM_CHOSEN_KERNELS(sse2, avx2) (sse2)
#endif
