// AAC frequency-domain prediction: per spectral line a second-order lattice LMS predictor whose
// state is kept to 16 significant bits, the same arithmetic on the encoder and the decoder side.
#include <bit>
#include <cstdint>

#include "aac/fdp.hpp"
#include "core/checks.hpp"
#include "core/simd.hpp"
#include "core/state.hpp"
#include "zemac.h"

namespace zem::aac {
namespace {

constexpr int32_t kFdpTag = int32_t(Tag::FdPredictor);
constexpr float kAlpha = 0.90625f, kA = 0.953125f, kB = 0.953125f;
static_assert(sizeof(ZemFdpState_32f) <= 64);

constexpr uint32_t bits_of(float v) { return std::bit_cast<uint32_t>(v); }
constexpr float from_bits(uint32_t b) { return std::bit_cast<float>(b); }
// The upper 16 bits kept (truncated), or rounded to them.
constexpr float truncate16(float v) { return from_bits(bits_of(v) & 0xFFFF0000u); }
constexpr float round16(float v) { return from_bits((bits_of(v) + 0x8000u) & 0xFFFF0000u); }

struct Reciprocals {
    float mantissa[128]; // B / (1 + m/128), rounded to 16 bits
    float exponent[256]; // 2^(127 - e) for e = 128..254, else 0
};

constexpr Reciprocals make_reciprocals() {
    Reciprocals t{};
    for (int m = 0; m < 128; ++m)
        t.mantissa[m] = round16(float(double(kB) / (1.0 + m / 128.0)));
    for (int e = 128; e < 255; ++e)
        t.exponent[e] = from_bits(uint32_t(254 - e) << 23);
    return t;
}
constexpr Reciprocals kReciprocals = make_reciprocals();
static_assert(kReciprocals.mantissa[0] == 0.953125f && kReciprocals.mantissa[1] == 0.9453125f &&
              kReciprocals.mantissa[127] == 0.478515625f && kReciprocals.exponent[128] == 0.5f);

// B / v to 8 significant bits for v >= 2, 0 below (and for infinities and NaN, whatever their
// sign bit).
float gain(float v) {
    const uint32_t b = bits_of(v);
    return kReciprocals.mantissa[(b >> 16) & 127] * kReciprocals.exponent[(b >> 23) & 255];
}

int64_t array_bytes(int32_t lines) { return (4 * int64_t(lines) + 31) & ~int64_t(31); }

void reset_line(const ZemFdpState_32f& s, int i) {
    s.cor0[i] = s.cor1[i] = s.r0[i] = s.r1[i] = 0.0f;
    s.var0[i] = s.var1[i] = 1.0f;
}

// One line: the prediction, the value through (decoder: input plus the prediction where
// `predict`; encoder: the input), and the update. Returns the prediction.
float step(const ZemFdpState_32f& s, int i, float& x, bool decode, bool predict) {
    const float c0 = s.cor0[i], c1 = s.cor1[i], v0 = s.var0[i], v1 = s.var1[i];
    const float s0 = s.r0[i], s1 = s.r1[i];
    const float k1 = gain(v0) * c0;
    const float p1 = k1 * s0;
    const float p = round16(gain(v1) * c1 * s1 + p1);
    if (decode && predict)
        x = x + p;
    const float e = x - p1;
    s.cor0[i] = truncate16(c0 * kAlpha + s0 * x);
    s.cor1[i] = truncate16(c1 * kAlpha + s1 * e);
    s.var0[i] = truncate16((s0 * s0 + x * x) * 0.5f + v0 * kAlpha);
    s.var1[i] = truncate16((s1 * s1 + e * e) * 0.5f + v1 * kAlpha);
    s.r1[i] = truncate16((s0 - k1 * x) * kA);
    s.r0[i] = truncate16(x * kA);
    return p;
}

void run_scalar(const ZemFdpState_32f& s, int32_t begin, int32_t end, float* x, float* out,
                bool predict) {
    for (int32_t i = begin; i < end; ++i) {
        if (out == nullptr) {
            step(s, i, x[i], true, predict);
        } else {
            float v = x[i];
            const float p = step(s, i, v, false, false);
            out[i] = v - p;
        }
    }
}

// The same four lines at a time; the gains' table lookups stay scalar.
void run_sse2(const ZemFdpState_32f& s, int32_t begin, int32_t end, float* x, float* out,
              bool predict) {
    using namespace simd;
    const F32x4 alpha = splat(kAlpha), a = splat(kA), half = splat(0.5f);
    const I32x4 keep = splat(int32_t(0xFFFF0000u)), carry = splat(0x8000);
    const auto trunc16 = [&](F32x4 v) { return as_float(as_int(v) & keep); };
    const auto rnd16 = [&](F32x4 v) { return as_float((as_int(v) + carry) & keep); };
    int32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const F32x4 c0 = load(s.cor0 + i), c1 = load(s.cor1 + i), v0 = load(s.var0 + i),
                    v1 = load(s.var1 + i), s0 = load(s.r0 + i), s1 = load(s.r1 + i);
        alignas(16) float g0[4], g1[4];
        for (int l = 0; l < 4; ++l) {
            g0[l] = gain(s.var0[i + l]);
            g1[l] = gain(s.var1[i + l]);
        }
        const F32x4 k1 = load(g0) * c0;
        const F32x4 p1 = k1 * s0;
        const F32x4 p = rnd16(load(g1) * c1 * s1 + p1);
        F32x4 v = load(x + i);
        if (out == nullptr && predict) {
            v = v + p;
            store(x + i, v);
        }
        const F32x4 e = v - p1;
        store(s.cor0 + i, trunc16(c0 * alpha + s0 * v));
        store(s.cor1 + i, trunc16(c1 * alpha + s1 * e));
        store(s.var0 + i, trunc16((s0 * s0 + v * v) * half + v0 * alpha));
        store(s.var1 + i, trunc16((s1 * s1 + e * e) * half + v1 * alpha));
        store(s.r1 + i, trunc16((s0 - k1 * v) * a));
        store(s.r0 + i, trunc16(v * a));
        if (out != nullptr)
            store(out + i, v - p);
    }
    run_scalar(s, i, end, x, out, predict);
}

ZemFdpState_32f* build(uint8_t* mem, int32_t lines) {
    auto* s = reinterpret_cast<ZemFdpState_32f*>(mem);
    float** arrays[6] = {&s->cor0, &s->cor1, &s->var0, &s->var1, &s->r0, &s->r1};
    for (int a = 0; a < 6; ++a)
        *arrays[a] = reinterpret_cast<float*>(mem + 64 + a * array_bytes(lines));
    s->lines = lines;
    s->tag = kFdpTag;
    s->allocated = 0;
    for (int i = 0; i < lines; ++i)
        reset_line(*s, i);
    return s;
}

// A record with the tag; memory not aligned for one cannot hold one.
bool live(const ZemFdpState_32f* s) {
    return reinterpret_cast<std::uintptr_t>(s) % alignof(ZemFdpState_32f) == 0 && s->tag == kFdpTag;
}

} // namespace

const FdpKernels kFdpScalar = {run_scalar};
const FdpKernels kFdpSse2 = {run_sse2};

} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsFDPGetSize_32f(int32_t len, int32_t* pSize) {
    if (pSize == nullptr)
        return zemStatusNullPointer;
    if (len < 1 || 6 * array_bytes(len) + 96 > INT32_MAX)
        return zemStatusBadSize;
    *pSize = int32_t(6 * array_bytes(len) + 96);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPInit_32f(ZemFdpState_32f** ppState, int32_t len, uint8_t* pMem) {
    if (any_null(ppState, pMem))
        return zemStatusNullPointer;
    if (len < 1 || 6 * array_bytes(len) + 96 > INT32_MAX)
        return zemStatusBadSize;
    *ppState = build(pMem, len);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPInitAlloc_32f(ZemFdpState_32f** ppState, int32_t len) {
    int32_t size = 0;
    if (ppState == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = zemsFDPGetSize_32f(len, &size); st != zemStatusOk)
        return st;
    auto* mem = static_cast<uint8_t*>(alloc_bytes(size));
    if (mem == nullptr)
        return zemStatusNoMemory;
    ZemFdpState_32f* s = build(mem, len);
    s->allocated = 1;
    *ppState = s;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPFree_32f(ZemFdpState_32f* pState) {
    if (pState == nullptr)
        return zemStatusNullPointer;
    if (!live(pState))
        return zemStatusContextMismatch;
    pState->tag = 0;
    if (pState->allocated == 1)
        release_block(pState);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPReset_32f(ZemFdpState_32f* pState) {
    if (pState == nullptr)
        return zemStatusNullPointer;
    if (!live(pState))
        return zemStatusContextMismatch;
    for (int i = 0; i < pState->lines; ++i)
        reset_line(*pState, i);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPResetGroup_32f(int32_t step, int32_t start, ZemFdpState_32f* pState) {
    if (pState == nullptr)
        return zemStatusNullPointer;
    if (start < 0)
        return zemStatusBadSize;
    if (step < 1)
        return zemStatusBadStep;
    if (!live(pState))
        return zemStatusContextMismatch;
    for (int64_t i = start; i < pState->lines; i += step)
        reset_line(*pState, int(i));
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPResetSfb_32f(const int32_t* pBandOffsets, int32_t numBands,
                                      const uint8_t* pResetFlags, ZemFdpState_32f* pState) {
    if (any_null(pState, pBandOffsets, pResetFlags))
        return zemStatusNullPointer;
    if (numBands < 1)
        return zemStatusBadSize;
    if (!live(pState))
        return zemStatusContextMismatch;
    for (int32_t b = 0; b < numBands; ++b)
        if (pResetFlags[b] != 0)
            for (int32_t i = pBandOffsets[b] < 0 ? 0 : pBandOffsets[b];
                 i < pBandOffsets[b + 1] && i < pState->lines; ++i)
                reset_line(*pState, i);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsFDPFwd_32f(const float* pSrc, float* pDst, ZemFdpState_32f* pState) {
    if (any_null(pSrc, pDst, pState))
        return zemStatusNullPointer;
    if (!live(pState))
        return zemStatusContextMismatch;
    kFdpSse2.run(*pState, 0, pState->lines, const_cast<float*>(pSrc), pDst, false);
    return is_aligned16(pSrc) && is_aligned16(pDst) ? zemStatusOk : zemWarnMisaligned;
}

ZEM_API ZemStatus zemsFDPInv_32f_I(float* pSrcDst, const int32_t* pBandOffsets, int32_t numBands,
                                   const uint8_t* pPredFlags, ZemFdpState_32f* pState) {
    if (any_null(pSrcDst, pBandOffsets, pState, pPredFlags))
        return zemStatusNullPointer;
    if (numBands < 1)
        return zemStatusBadSize;
    if (!live(pState))
        return zemStatusContextMismatch;
    for (int32_t b = 0; b < numBands; ++b)
        if (pBandOffsets[b] < 0 || pBandOffsets[b + 1] > pState->lines ||
            pBandOffsets[b + 1] < pBandOffsets[b])
            return zemStatusBadArgument;
    for (int32_t b = 0; b < numBands; ++b)
        kFdpSse2.run(*pState, pBandOffsets[b], pBandOffsets[b + 1], pSrcDst, nullptr,
                     pPredFlags[b] != 0);
    return is_aligned16(pSrcDst) ? zemStatusOk : zemWarnMisaligned;
}
