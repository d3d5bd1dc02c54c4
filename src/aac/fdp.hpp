// AAC frequency-domain prediction: the record, and the per-line predictor run over a range of
// lines by a scalar reference and an SSE2 version (four lines at a time) with identical results.
#pragma once

#include <cstdint>

#include "zemac/aac_prediction.h"

struct ZemFdpState_32f {
    float* cor0;
    float* cor1;
    float* var0;
    float* var1;
    float* r0;
    float* r1;
    int32_t lines;
    int32_t tag;
    int32_t allocated;
};

namespace zem::aac {

// Lines begin .. end - 1. Decoder (out null): x[i] gains the prediction where `predict`, and the
// state follows the reconstructed x[i]. Encoder: the state follows x[i], out[i] = x[i] minus the
// prediction.
struct FdpKernels {
    void (*run)(const ZemFdpState_32f& s, int32_t begin, int32_t end, float* x, float* out,
                bool predict);
};
extern const FdpKernels kFdpScalar;
extern const FdpKernels kFdpSse2;

} // namespace zem::aac
