// The Layer III polyphase banks in single precision: a 16-byte header at the state's first
// 16-byte boundary, then 16 slots of 32 history values. The analysis history holds the input
// (scaled to full scale 1.0), block (position + b) mod 16 holding samples 32 b .. 32 b + 31 of
// the standard's X, newest first; the synthesis history holds the 32 matrixing values A of each
// slot, from which the standard's 64 values V of the slot follow by symmetry.
#include <cstddef>
#include <cstdint>

#include "core/checks.hpp"
#include "core/state.hpp"
#include "mp3/pqmf_tables.hpp"
#include "tables/mp3_window.hpp"
#include "zemac.h"

namespace zem::mp3 {
namespace {

struct PqmfHeader {
    uint32_t tag;
    int32_t position;
    int32_t allocated;
    uint32_t history; // its address on 32-bit targets, its offset from the header on 64-bit ones
};
static_assert(sizeof(PqmfHeader) == 16);

constexpr int32_t kStateBytes = 2091;
static_assert(sizeof(PqmfHeader) + 512 * sizeof(float) + 15 <= kStateBytes);

float* history_of(PqmfHeader* h) { return reinterpret_cast<float*>(h + 1); }

uint32_t history_word(PqmfHeader* h) {
    if constexpr (sizeof(void*) == 4)
        return uint32_t(reinterpret_cast<std::uintptr_t>(history_of(h)));
    else
        return uint32_t(sizeof(PqmfHeader));
}

PqmfHeader* build(uint8_t* mem, Tag tag, int32_t allocated) {
    auto* h = reinterpret_cast<PqmfHeader*>(align_up<16>(mem));
    *h = {uint32_t(tag), 15, allocated, 0};
    h->history = history_word(h);
    float* x = history_of(h);
    for (int i = 0; i < 512; ++i)
        x[i] = 0.0f;
    return h;
}

ZemStatus init(void** ppState, uint8_t* pMem, Tag tag) {
    if (any_null(ppState, pMem))
        return zemStatusNullPointer;
    *ppState = build(pMem, tag, 0);
    return zemStatusOk;
}

ZemStatus init_alloc(void** ppState, Tag tag) {
    if (ppState == nullptr)
        return zemStatusNullPointer;
    auto* mem = static_cast<uint8_t*>(alloc_bytes(kStateBytes));
    if (mem == nullptr)
        return zemStatusNoMemory;
    build(mem, tag, 1);
    *ppState = mem;
    return zemStatusOk;
}

// The aligned header of a state pointer, or null when it carries another tag.
PqmfHeader* header_of(void* pState, Tag tag) {
    auto* h = reinterpret_cast<PqmfHeader*>(align_up<16>(static_cast<uint8_t*>(pState)));
    return has_tag(h, tag) ? h : nullptr;
}

ZemStatus release(void* pState, Tag tag) {
    if (pState == nullptr)
        return zemStatusNullPointer;
    PqmfHeader* h = header_of(pState, tag);
    if (h == nullptr)
        return zemStatusContextMismatch;
    if (h->allocated == 1)
        release_block(pState);
    return zemStatusOk;
}

// The window in the order of the loops: C[i] = D[i] / 32 for the analysis, D for the synthesis,
// both exact in single precision.
struct FloatWindows {
    float analysis[512];
    float even[8][32], odd[8][32]; // D with the signs of the V symmetries folded in
};

constexpr FloatWindows make_float_windows() {
    FloatWindows t{};
    for (int i = 0; i < 512; ++i)
        t.analysis[i] = float(kSynthesisWindow16[i]) / 2097152.0f;
    for (int j = 0; j < 32; ++j)
        for (int i = 0; i < 8; ++i) {
            const float evenSign = j < 16 ? 1.0f : j == 16 ? 0.0f : -1.0f;
            t.even[i][j] = evenSign * float(kSynthesisWindow16[64 * i + j]) / 65536.0f;
            t.odd[i][j] = -float(kSynthesisWindow16[64 * i + 32 + j]) / 65536.0f;
        }
    return t;
}

constexpr FloatWindows kWindows = make_float_windows();
constexpr PqmfCosines<float> kCos = make_pqmf_cosines<float>();

// V[j] of an even-aged slot is A[even[j]] and V[32 + j] of an odd-aged one A[odd[j]], the signs
// being in the windows.
constexpr int even_index(int j) { return j < 16 ? 16 + j : j == 16 ? 0 : 48 - j; }
constexpr int odd_index(int j) { return j < 16 ? 16 - j : j == 16 ? 0 : j - 16; }

void analyse(const float* pSrc, float* pDst, PqmfHeader* h, int stride) {
    float* x = history_of(h);
    const int pos = (h->position + 15) & 15;
    h->position = pos;
    float* slot = x + 32 * pos;
    for (int r = 0; r < 32; ++r)
        slot[r] = pSrc[(31 - r) * stride] * 3.0517578125e-5f;
    float y[64];
    for (int i = 0; i < 64; ++i) {
        float sum = 0.0f;
        for (int j = 0; j < 8; ++j) {
            const int n = i + 64 * j; // X[n] sits in block n / 32
            sum += kWindows.analysis[n] * x[32 * ((pos + n / 32) & 15) + n % 32];
        }
        y[i] = sum;
    }
    float a[32];
    fold_window_sums(y, a);
    for (int k = 0; k < 32; ++k) {
        float s = 0.0f;
        for (int n = 0; n < 32; ++n)
            s += kCos.c[k][n] * a[n];
        pDst[k] = s;
    }
}

void synthesise(const float* pSrc, float* pDst, PqmfHeader* h, int stride) {
    float* v = history_of(h);
    const int pos = (h->position + 15) & 15;
    h->position = pos;
    float* slot = v + 32 * pos;
    for (int n = 0; n < 32; ++n) {
        float s = 0.0f;
        for (int k = 0; k < 32; ++k)
            s += kCos.c[k][n] * pSrc[k];
        slot[n] = s;
    }
    for (int j = 0; j < 32; ++j) {
        float sum = 0.0f;
        for (int i = 0; i < 8; ++i) {
            const float* even = v + 32 * ((pos + 2 * i) & 15);
            const float* odd = v + 32 * ((pos + 2 * i + 1) & 15);
            sum +=
                even[even_index(j)] * kWindows.even[i][j] + odd[odd_index(j)] * kWindows.odd[i][j];
        }
        pDst[j * stride] = sum;
    }
}

template <class State>
ZemStatus filter(const float* pSrc, float* pDst, State* pState, int32_t numCh, Tag tag,
                 void (*run)(const float*, float*, PqmfHeader*, int)) {
    if (any_null(pSrc, pDst, pState))
        return zemStatusNullPointer;
    if (numCh != 1 && numCh != 2)
        return zemStatusBadArgument;
    PqmfHeader* h = header_of(pState, tag);
    if (h == nullptr)
        return zemStatusContextMismatch;
    run(pSrc, pDst, h, numCh);
    return zemStatusOk;
}

ZemStatus state_size(int32_t* pSize) {
    if (pSize == nullptr)
        return zemStatusNullPointer;
    *pSize = kStateBytes;
    return zemStatusOk;
}

} // namespace
} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsAnalysisFilterGetSize_PQMF_MP3_32f(int32_t* pSize) {
    return state_size(pSize);
}
ZEM_API ZemStatus zemsSynthesisFilterGetSize_PQMF_MP3_32f(int32_t* pSize) {
    return state_size(pSize);
}

ZEM_API ZemStatus zemsAnalysisFilterInit_PQMF_MP3_32f(ZemMp3PqmfAnalysisSpec_32f** ppState,
                                                      uint8_t* pMemSpec) {
    return init(reinterpret_cast<void**>(ppState), pMemSpec, Tag::Mp3PqmfAnalysis);
}
ZEM_API ZemStatus zemsSynthesisFilterInit_PQMF_MP3_32f(ZemMp3PqmfSynthesisSpec_32f** ppState,
                                                       uint8_t* pMemSpec) {
    return init(reinterpret_cast<void**>(ppState), pMemSpec, Tag::Mp3PqmfSynthesis);
}

ZEM_API ZemStatus zemsAnalysisFilterInitAlloc_PQMF_MP3_32f(ZemMp3PqmfAnalysisSpec_32f** ppState) {
    return init_alloc(reinterpret_cast<void**>(ppState), Tag::Mp3PqmfAnalysis);
}
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_PQMF_MP3_32f(ZemMp3PqmfSynthesisSpec_32f** ppState) {
    return init_alloc(reinterpret_cast<void**>(ppState), Tag::Mp3PqmfSynthesis);
}

ZEM_API ZemStatus zemsAnalysisFilterFree_PQMF_MP3_32f(ZemMp3PqmfAnalysisSpec_32f* pState) {
    return release(pState, Tag::Mp3PqmfAnalysis);
}
ZEM_API ZemStatus zemsSynthesisFilterFree_PQMF_MP3_32f(ZemMp3PqmfSynthesisSpec_32f* pState) {
    return release(pState, Tag::Mp3PqmfSynthesis);
}

ZEM_API ZemStatus zemsAnalysisFilter_PQMF_MP3_32f(const float* pSrc, float* pDst,
                                                  ZemMp3PqmfAnalysisSpec_32f* pState,
                                                  int32_t numCh) {
    return filter(pSrc, pDst, pState, numCh, Tag::Mp3PqmfAnalysis, analyse);
}
ZEM_API ZemStatus zemsSynthesisFilter_PQMF_MP3_32f(const float* pSrc, float* pDst,
                                                   ZemMp3PqmfSynthesisSpec_32f* pState,
                                                   int32_t numCh) {
    return filter(pSrc, pDst, pState, numCh, Tag::Mp3PqmfSynthesis, synthesise);
}
