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
