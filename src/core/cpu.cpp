#include "core/cpu.hpp"

#include <cstdlib>
#include <cstring>

namespace zem {
namespace {

bool detect_avx2() {
    const char* force = std::getenv("ZEMAC_SIMD");
    return cpu_has_avx2() && !(force != nullptr && std::strcmp(force, "sse2") == 0);
}

// Set by the loader's initialisation of the library, before any caller can run.
const bool kAvx2 = detect_avx2();

} // namespace

bool cpu_has_avx2() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

bool avx2_kernels() { return kAvx2; }

} // namespace zem
