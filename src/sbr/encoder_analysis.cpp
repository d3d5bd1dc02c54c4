// The SBR encoder's 64-band complex analysis bank. Per slot the window folds the last 640
// samples into u[0..127], and X[k] = sum_n u[n] e^(i pi (k + 1/2)(2n + 1)/128) comes from one
// 64-point inverse FFT: with p[n] = (u[n] + i u[n + 64]) e^(i pi n/128) and P its transform,
//   X[2j] = r_j P[j] and X[63 - 2j] = i conj(r_j P[j + 32]),  r_j = e^(i pi (4j + 1)/256), j < 32
// (the odd bands are the even ones of the sequence (-1)^n p, read backwards and conjugated).
#include <cstring>

#include "core/checks.hpp"
#include "core/state.hpp"
#include "sbr/qmf_rotations.hpp"
#include "tables/sbr_qmf_window.hpp"
#include "transform/fft.hpp"
#include "zemac.h"

namespace zem::sbr {
namespace {

// Offsets count from the record, so it is 48 bytes on every target.
struct EncRecord {
    uint32_t tag;
    int32_t fftOffset;    // the FFT record (its header)
    int32_t fftMemOffset; // where the FFT record was built from
    int32_t workOffset;   // scratch of the FFT
    int32_t ownedByLibrary;
    int32_t reserved[7];
};
static_assert(sizeof(EncRecord) == 48);

struct FftSizes {
    int32_t spec = 0, init = 0, work = 0;
};

FftSizes fft_sizes() {
    FftSizes s;
    fft_get_buf_sizes(6, FftNoScale, 0, &s.spec, &s.init, &s.work);
    return s;
}

int32_t state_bytes() {
    const FftSizes s = fft_sizes();
    return int32_t(round_up<16>(std::size_t(s.spec) + 4) + round_up<16>(std::size_t(s.work) + 4)) +
           63;
}

EncRecord* record_of(void* handle) { return align_up<16>(static_cast<EncRecord*>(handle)); }

void build(uint8_t* mem, uint8_t* init, int32_t owned) {
    auto* r = record_of(mem);
    auto* base = reinterpret_cast<uint8_t*>(r);
    const FftSizes s = fft_sizes();
    std::memset(r, 0, sizeof(EncRecord));
    r->tag = uint32_t(Tag::SbrEncAnalysis);
    r->workOffset = int32_t(sizeof(EncRecord));
    r->fftMemOffset = r->workOffset + int32_t(round_up<16>(std::size_t(s.work)));
    ZemFftSpec* fft = nullptr;
    fft_init(&fft, 6, FftNoScale, 0, base + r->fftMemOffset, init);
    r->fftOffset = int32_t(reinterpret_cast<uint8_t*>(fft) - base);
    r->ownedByLibrary = owned;
}

const QmfRotations& R = kQmfRotations;

void analyse(const float* src, Zem32fc* dst, EncRecord* r) {
    auto* base = reinterpret_cast<uint8_t*>(r);
    const float* c = kQmfWindow;
    float u[128];
    for (int n = 0; n < 128; ++n) {
        float sum = c[n] * src[639 - n];
        for (int m = 1; m < 5; ++m)
            sum += c[n + 128 * m] * src[639 - n - 128 * m];
        u[n] = sum;
    }
    alignas(16) float p[128];
    for (int n = 0; n < 64; ++n) {
        const float a = u[n], b = u[n + 64], cs = R.halfStepCos[n], sn = R.halfStepSin[n];
        p[2 * n] = cs * a - sn * b;
        p[2 * n + 1] = cs * b + sn * a;
    }
    const auto& fft = *reinterpret_cast<const ZemFftSpec*>(base + r->fftOffset);
    fft_in_place(p, fft, true, align_up<32>(base + r->workOffset));
    for (int j = 0; j < 32; ++j) {
        const float cs = R.quarterCos[j], sn = R.quarterSin[j];
        const float* e = p + 2 * j;
        const float* o = p + 2 * (j + 32);
        dst[2 * j] = {cs * e[0] - sn * e[1], cs * e[1] + sn * e[0]};
        dst[63 - 2 * j] = {cs * o[1] + sn * o[0], cs * o[0] - sn * o[1]};
    }
}

} // namespace
} // namespace zem::sbr

using namespace zem;
using namespace zem::sbr;

ZEM_API ZemStatus zemsAnalysisFilterEncGetSize_SBR_32f(int32_t* pSizeSpec, int32_t* pSizeInit) {
    if (any_null(pSizeSpec, pSizeInit))
        return zemStatusNullPointer;
    *pSizeSpec = state_bytes();
    *pSizeInit = fft_sizes().init + 4;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilterEncInit_SBR_32f(uint8_t* pMem, uint8_t* pMemInit) {
    if (any_null(pMem, pMemInit))
        return zemStatusNullPointer;
    build(pMem, pMemInit, 0);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilterEncInitAlloc_SBR_32f(ZemSbrAnalysisEncSpec_32f** ppSpec) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    *ppSpec = nullptr;
    auto* mem = static_cast<uint8_t*>(alloc_bytes(state_bytes()));
    if (mem == nullptr)
        return zemStatusNoMemory;
    auto* init = static_cast<uint8_t*>(alloc_bytes(fft_sizes().init + 4));
    if (init == nullptr) {
        release_block(mem);
        return zemStatusNoMemory;
    }
    build(mem, init, 1);
    release_block(init);
    *ppSpec = reinterpret_cast<ZemSbrAnalysisEncSpec_32f*>(mem);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilterEncFree_SBR_32f(ZemSbrAnalysisEncSpec_32f* pSpec) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    const EncRecord* r = record_of(pSpec);
    if (!has_tag(r, Tag::SbrEncAnalysis))
        return zemStatusContextMismatch;
    if (r->ownedByLibrary == 1)
        release_block(pSpec);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilterEnc_SBR_32f32fc(const float* pSrc, Zem32fc* pDst,
                                                    ZemSbrAnalysisEncSpec_32f* pSpec) {
    if (any_null(pSrc, pDst, pSpec))
        return zemStatusNullPointer;
    EncRecord* r = record_of(pSpec);
    if (!has_tag(r, Tag::SbrEncAnalysis))
        return zemStatusContextMismatch;
    analyse(pSrc, pDst, r);
    return zemStatusOk;
}
