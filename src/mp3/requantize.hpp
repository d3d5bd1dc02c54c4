// Requantisation of a run of Layer III values with one exponent: sign(x) |x|^(4/3) 2^(-e/4) in
// Q26, from the 4/3-power table, saturated. A scalar reference, and SSE2 and AVX2 versions with
// identical results, written values included when a magnitude above the table (8206) stops the run.
#pragma once

#include <cstdint>

namespace zem::mp3 {

// e >= -45 (global gain 255 without scale factors). False at the first magnitude above 8206;
// the values before it are written.
bool requantise_run_scalar(const int32_t* src, int32_t* dst, int count, int e);
bool requantise_run_sse2(const int32_t* src, int32_t* dst, int count, int e);

struct RequantiseKernels {
    bool (*run)(const int32_t* src, int32_t* dst, int count, int e);
};
inline constexpr RequantiseKernels kRequantiseScalar = {requantise_run_scalar};
inline constexpr RequantiseKernels kRequantiseSse2 = {requantise_run_sse2};
#if defined(__x86_64__)
bool requantise_run_avx2(const int32_t* src, int32_t* dst, int count, int e);
inline constexpr RequantiseKernels kRequantiseAvx2 = {requantise_run_avx2};
#endif
// The kernels this process runs (core/cpu.hpp).
const RequantiseKernels& requantise_kernels();

} // namespace zem::mp3
