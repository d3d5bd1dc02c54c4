// The SIMD sets of a kernel family that this processor runs, for the differential tests: the
// SSE2 set, and the AVX2 one where it exists (x86-64) and the processor has it.
#pragma once

#include <vector>

#include "core/cpu.hpp"

#if defined(__x86_64__)
#define ZEMTEST_SIMD_KERNELS(sse2, avx2) ::zemtest::simd_sets(sse2, &(avx2))
#else
#define ZEMTEST_SIMD_KERNELS(sse2, avx2) ::zemtest::simd_sets(sse2, decltype(&(sse2)){})
#endif

namespace zemtest {

template <class Kernels> std::vector<Kernels> simd_sets(const Kernels& sse2, const Kernels* avx2) {
    std::vector<Kernels> sets = {sse2};
    if (avx2 != nullptr && zem::cpu_has_avx2())
        sets.push_back(*avx2);
    return sets;
}

} // namespace zemtest
