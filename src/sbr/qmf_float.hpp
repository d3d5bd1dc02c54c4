// The floating-point SBR QMF banks: one state layout for the analysis and synthesis banks (the
// transform record at the caller's first 16-byte boundary, a 32-byte header behind it, the delay
// line behind the header) and the windowing kernels that fold the delay line into the
// transform's input (analysis) or its output into samples (synthesis).
#pragma once

#include <cstdint>

#include "core/checks.hpp"
#include "core/state.hpp"
#include "sbr/qmf_line.hpp"
#include "transform/dct.hpp"
#include "transform/fft.hpp"
#include "zemac/core.h"

namespace zem::sbr {

// Offsets count from the header, so the header is 32 bytes on every target.
struct QmfHeader {
    uint32_t tag;
    int32_t delayOffset;
    int32_t index; // write position in the delay line, a multiple of the slot's block
    int32_t fftOffset;
    int32_t dctOffset;
    int32_t reserved[3];
};
static_assert(sizeof(QmfHeader) == 32);

enum class QmfTransform { FftSplit5, Fft5, Fft6, DctInv32, DctFwd32, DctFwd64 };

// GetSize: state (S rounded up to 16, plus stateExtra), init I + 4 and work W + 4 bytes, with S,
// I, W the transform's own sizes.
ZemStatus qmf_sizes(QmfTransform t, int32_t stateExtra, int32_t* pSizeSpec, int32_t* pSizeInit,
                    int32_t* pSizeWork);
// Init: builds the transform and the header, zeroes delayFloats values of delay line and stores
// the header's address in *ppSpec.
ZemStatus qmf_init(void** ppSpec, uint8_t* pMemSpec, uint8_t* pMemInit, QmfTransform t, Tag tag,
                   int32_t delayFloats);

// Init of any of the banks' records into typed handles.
template <class Spec>
ZemStatus qmf_init_as(Spec** ppSpec, uint8_t* pMemSpec, uint8_t* pMemInit, QmfTransform t, Tag tag,
                      int32_t delayFloats) {
    return qmf_init(reinterpret_cast<void**>(ppSpec), pMemSpec, pMemInit, t, tag, delayFloats);
}

// The filters' first two checks: the state and the window given, then the state's tag.
template <class Spec> ZemStatus qmf_check_state(const float* pWindow, Spec* pSpec, Tag tag) {
    if (any_null(pWindow, pSpec))
        return zemStatusNullPointer;
    return has_tag(pSpec, tag) ? zemStatusOk : zemStatusContextMismatch;
}

// The write position of a record, kept on the block grid of its line whatever the record holds,
// so that no index can lead outside the line.
inline int32_t qmf_index(const QmfHeader* h, int32_t line, int32_t block) {
    return line_index(h->index, line, block);
}

inline float* qmf_delay(QmfHeader* h) {
    return reinterpret_cast<float*>(reinterpret_cast<uint8_t*>(h) + h->delayOffset);
}
inline const ZemFftSpec* qmf_fft(const QmfHeader* h) {
    return reinterpret_cast<const ZemFftSpec*>(reinterpret_cast<const uint8_t*>(h) + h->fftOffset);
}
inline const ZemDctSpec* qmf_dct(const QmfHeader* h) {
    return reinterpret_cast<const ZemDctSpec*>(reinterpret_cast<const uint8_t*>(h) + h->dctOffset);
}

// The windowing passes, scalar and SSE2 with identical results.
//   fold:   u[n] = sum_{m<5} w[n + 64 m] D[(index + n + 64 m) mod 320], n < 64;
//   output: y[n] = sum_{i<10} w[M i + n] D[(index + o_i + n) mod 20M], n < M, o_i as the banks.
struct QmfWindowKernels {
    void (*fold)(const float* delay, int32_t index, const float* window, float* u);
    void (*output)(const float* delay, int32_t index, int32_t bands, const float* window, float* y);
};
extern const QmfWindowKernels kQmfWindowScalar;
extern const QmfWindowKernels kQmfWindowSse2;
#if defined(__x86_64__)
extern const QmfWindowKernels kQmfWindowAvx2; // eight lanes, the same bits
#endif
// The set this process runs (core/cpu.hpp).
const QmfWindowKernels& qmf_window_kernels();

// The rotations around the FFTs, scalar and SSE2 with identical results; complex values are
// interleaved pairs, k = 1/64.
//   analysis_pre:  z_i = e^(-i pi (4i + 1)/256) (-u[64 - i] + i u[32 - i]), i < 32 (u[64] = -u[0]);
//   analysis_post: x[4j], x[4j + 1] = 2 e^(-i pi j/64) Y[j]; x[4j + 2], x[4j + 3] =
//                  2 e^(-i pi (j + 1)/64) conj(Y[31 - j]), j < 16;
//   dct4_pre:      z_j = e^(-i pi (4j + 1)/256) (x[2j] + i x[63 - 2j]), j < 32, with x read
//                  backwards when `reversed` (the DST-IV's input);
//   dct4_pre_interleaved: both dct4_pre inputs from one row of 64 interleaved complex values,
//                  the real parts forwards into zc and the imaginary parts backwards into zs;
//   dct4_combine:  with Pc_m = Yc_m e^(-i pi m/64) and Ps_m = Ys_m e^(-i pi m/64) (m < 32) from
//                  the FFTs of the cosine and the sine transform, the 64-band complex bank's
//                  v[2m] = (Re Ps - Re Pc) k, v[127 - 2m] = (Re Pc + Re Ps) k,
//                  v[63 - 2m] = (Im Pc + Im Ps) k, v[64 + 2m] = (Im Ps - Im Pc) k;
//   down_pre:      z_k = e^(-i pi 63.75 k/32) X[k], k < 32, then 32 zero values;
//   down_post:     v[n] = Re{e^(i pi (n - 63.75)/64) Y[n]} k, n < 64.
struct QmfRotationKernels {
    void (*analysis_pre)(const float* u, float* z);
    void (*analysis_post)(const float* y, float* x);
    void (*dct4_pre)(const float* x, bool reversed, float* z);
    void (*dct4_pre_interleaved)(const float* row, float* zc, float* zs);
    void (*dct4_combine)(const float* yc, const float* ys, float* v);
    void (*down_pre)(const float* re, const float* im, float* z);
    void (*down_post)(const float* y, float* v);
};
extern const QmfRotationKernels kQmfRotationScalar;
extern const QmfRotationKernels kQmfRotationSse2;

} // namespace zem::sbr
