// The PS hybrid analysis filters: per configuration the symmetric 13-tap prototype folded about
// its centre, y_q = g6 x[k + 6] + sum_m (a_qm (x[k + 6 - m] + x[k + 6 + m]) +
// i b_qm (x[k + 6 - m] - x[k + 6 + m])), with a_qm, b_qm = g(6 - m) cos, sin of phi_q m over the
// taps m of non-zero g(6 - m); phi_q = pi q for the real configuration 0 (no b terms),
// 2 pi (q + 1/2)/Q for the complex ones.
#pragma once

#include <cstdint>

namespace zem::ps {

struct HybridConfig {
    int32_t bands;
    bool real;
    float centre;
    int32_t taps;   // active m
    int32_t tap[6]; // the values of m
    float a[12][6]; // by band and active tap
    float b[12][6];
};

const HybridConfig& hybrid_config(int32_t config);

// Filters 32 slots of x (44 interleaved complex samples) into columns 0..Q-1 of the 12-wide rows
// of y; scalar and SSE2 with identical results.
struct HybridKernels {
    void (*filter)(const float* x, float* y, const HybridConfig& c);
};
extern const HybridKernels kHybridScalar;
extern const HybridKernels kHybridSse2;

} // namespace zem::ps
