// Single-precision MDCT records (forward tag 55, inverse tag 56) and their transforms.
// In caller memory: the record at the block rounded up to 32 bytes, the twiddle table behind it,
// and for powers of two the FFT spec of order log2(N/4) 4 A32(N/2) bytes further on.
#include <cmath>
#include <cstring>

#include "core/state.hpp"
#include "transform/mdct.hpp"
#include "transform/spec_lifecycle.hpp"
#include "zemac.h"

namespace zem {
namespace {

constexpr int32_t kRecordBytes = int32_t(sizeof(MdctRecord));

// Bytes of the twiddle region: a multiple of 32 that holds the Q pairs.
int64_t twiddle_bytes(int32_t n) { return mdct_pow2(n) ? 4 * a32(n / 2) : 2 * int64_t(n); }

struct Sizes {
    int64_t spec, init, work;
};

// Sizes of GetSize; -6 for a length whose byte counts would not fit in 32 bits.
ZemStatus mdct_sizes(int32_t n, Sizes& out) {
    if (!mdct_valid_32f(n))
        return zemStatusBadSize;
    if (!mdct_pow2(n)) {
        out = {2 * int64_t(n) + 92, 0, 4 * int64_t(n) + 64};
        return zemStatusOk;
    }
    const int32_t order = mdct_fft_order(n);
    if (order > kFftMaxOrder)
        return zemStatusBadSize;
    int32_t s = 0, i = 0, w = 0;
    if (fft_get_buf_sizes(order, FftNoScale, 0, &s, &i, &w) != zemStatusOk)
        return zemStatusBadSize;
    out = {int64_t(s) + 32 + 2 * int64_t(n) + 92, i, int64_t(w) + 32 + 4 * int64_t(n) + 64};
    return out.spec > INT32_MAX || out.work > INT32_MAX ? zemStatusBadSize : zemStatusOk;
}

// Twiddle gain: sqrt(2) in both forward passes, 1/sqrt(N/2) in both inverse passes.
double twiddle_gain(Tag tag, int32_t n) {
    return tag == Tag::MdctFwd32f ? std::sqrt(2.0) : 1.0 / std::sqrt(double(n) / 2.0);
}

// Work bytes of a transform call: 4N for the complex values, the FFT's own area after them.
int32_t work_bytes(int32_t n, const ZemFftSpec* fft) {
    int32_t fftWork = 0;
    if (fft != nullptr)
        fft_get_work_size(fft, &fftWork);
    return 4 * n + 32 + fftWork;
}

void write_header(MdctRecord* r, Tag tag, int32_t n, int32_t allocated) {
    std::memset(r, 0, sizeof(*r));
    r->n = n;
    r->fftOrder = mdct_pow2(n) ? mdct_fft_order(n) : 0;
    r->allocated = allocated;
    r->tag = int32_t(tag);
}

ZemStatus init_record(void** ppSpec, int32_t n, uint8_t* pMemSpec, uint8_t* pMemInit, Tag tag) {
    if (!mdct_valid_32f(n))
        return zemStatusBadSize;
    if (ppSpec == nullptr || pMemSpec == nullptr)
        return zemStatusNullPointer;
    if (mdct_pow2(n) && pMemInit == nullptr)
        return zemStatusNullPointer;
    Sizes sizes{};
    if (const ZemStatus st = mdct_sizes(n, sizes); st != zemStatusOk)
        return st;
    auto* r = reinterpret_cast<MdctRecord*>(align_up<32>(pMemSpec));
    auto* base = reinterpret_cast<uint8_t*>(r);
    float* tw = reinterpret_cast<float*>(base + kRecordBytes);
    ZemFftSpec* fft = nullptr;
    if (mdct_pow2(n)) {
        uint8_t* fftMem = base + kRecordBytes + twiddle_bytes(n);
        if (const ZemStatus st = fft_init(&fft, mdct_fft_order(n), FftNoScale, 0, fftMem, pMemInit);
            st != zemStatusOk)
            return st;
    }
    mdct_build_twiddles(tw, n, twiddle_gain(tag, n), !mdct_pow2(n));
    write_header(r, Tag(0), n, 0);
    r->twiddleOffset = kRecordBytes;
    r->fftOffset = fft ? int32_t(reinterpret_cast<uint8_t*>(fft) - base) : 0;
    r->workSize = work_bytes(n, fft);
    r->tag = int32_t(tag);
    *ppSpec = r;
    return zemStatusOk;
}

// The record, its twiddle table and the FFT spec as three allocations.
ZemStatus init_alloc(void** ppSpec, int32_t n, Tag tag) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    Sizes sizes{};
    if (const ZemStatus st = mdct_sizes(n, sizes); st != zemStatusOk)
        return st;
    auto* r = static_cast<MdctRecord*>(alloc_bytes(sizeof(MdctRecord) + sizeof(MdctOwned)));
    if (r == nullptr)
        return zemStatusNoMemory;
    auto* tw = static_cast<float*>(alloc_bytes(twiddle_bytes(n)));
    if (tw == nullptr) {
        release_block(r);
        return zemStatusNoMemory;
    }
    ZemFftSpec* fft = nullptr;
    if (mdct_pow2(n)) {
        if (const ZemStatus st = fft_init_alloc(&fft, mdct_fft_order(n), FftNoScale, 0);
            st != zemStatusOk) {
            release_block(tw);
            release_block(r);
            return st;
        }
    }
    mdct_build_twiddles(tw, n, twiddle_gain(tag, n), !mdct_pow2(n));
    write_header(r, tag, n, 1);
    *reinterpret_cast<MdctOwned*>(r + 1) = {tw, fft};
    r->workSize = work_bytes(n, fft);
    *ppSpec = r;
    return zemStatusOk;
}

ZemStatus free_record(void* pSpec, Tag tag) {
    return free_mdct_record(pSpec, tag, [](const MdctOwned& owned) {
        if (owned.fft != nullptr)
            fft_free(static_cast<ZemFftSpec*>(owned.fft));
        release_block(owned.twiddle);
    });
}

ZemStatus get_size(int32_t n, int32_t* pSizeSpec, int32_t* pSizeInit, int32_t* pSizeWork) {
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    Sizes s{};
    if (const ZemStatus st = mdct_sizes(n, s); st != zemStatusOk)
        return st;
    *pSizeSpec = int32_t(s.spec);
    *pSizeInit = int32_t(s.init);
    *pSizeWork = int32_t(s.work);
    return zemStatusOk;
}

// Checks, then runs fold/pre-twiddle, the DFT of N/4 points and the post-twiddle in the work
// buffer (the caller's, rounded up to 32 bytes, or one allocated for the call).
template <bool Inverse>
ZemStatus transform(const float* pSrc, float* pDst, const void* pSpec, uint8_t* pWorkBuf) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (!has_tag(pSpec, Inverse ? Tag::MdctInv32f : Tag::MdctFwd32f))
        return zemStatusContextMismatch;
    if (pSrc == nullptr || pDst == nullptr)
        return zemStatusNullPointer;
    const auto* r = static_cast<const MdctRecord*>(pSpec);
    const WorkBuffer work(pWorkBuf, r->workSize);
    if (work.failed())
        return zemStatusNoMemory;
    const int32_t n = r->n;
    float* z = reinterpret_cast<float*>(work.get());
    const auto* tw = static_cast<const float*>(mdct_twiddles(r));
    const MdctKernels& k = mdct_pow2(n) ? kMdctSse2 : kMdctSmall;
    if (Inverse)
        k.pre(pSrc, z, tw, n);
    else
        k.fold(pSrc, z, tw, n);
    if (mdct_pow2(n)) {
        auto* zc = reinterpret_cast<Zem32fc*>(z);
        fft_fwd(zc, zc, static_cast<const ZemFftSpec*>(mdct_fft(r)), work.get() + 4 * n);
    } else {
        mdct_small_dft(z, n / 4);
    }
    if (Inverse)
        k.unfold(z, pDst, tw, n);
    else
        k.post(z, pDst, tw, n);
    return zemStatusOk;
}

} // namespace
} // namespace zem

using namespace zem;

ZEM_API ZemStatus zemsMDCTFwdGetSize_32f(int32_t len, int32_t* pSizeSpec, int32_t* pSizeInit,
                                         int32_t* pSizeWork) {
    return get_size(len, pSizeSpec, pSizeInit, pSizeWork);
}

ZEM_API ZemStatus zemsMDCTInvGetSize_32f(int32_t len, int32_t* pSizeSpec, int32_t* pSizeInit,
                                         int32_t* pSizeWork) {
    return get_size(len, pSizeSpec, pSizeInit, pSizeWork);
}

ZEM_API ZemStatus zemsMDCTFwdInit_32f(ZemMdctFwdSpec_32f** ppSpec, int32_t len, uint8_t* pMemSpec,
                                      uint8_t* pMemInit) {
    return init_record(reinterpret_cast<void**>(ppSpec), len, pMemSpec, pMemInit, Tag::MdctFwd32f);
}

ZEM_API ZemStatus zemsMDCTInvInit_32f(ZemMdctInvSpec_32f** ppSpec, int32_t len, uint8_t* pMemSpec,
                                      uint8_t* pMemInit) {
    return init_record(reinterpret_cast<void**>(ppSpec), len, pMemSpec, pMemInit, Tag::MdctInv32f);
}

ZEM_API ZemStatus zemsMDCTFwdInitAlloc_32f(ZemMdctFwdSpec_32f** ppSpec, int32_t len) {
    return init_alloc(reinterpret_cast<void**>(ppSpec), len, Tag::MdctFwd32f);
}

ZEM_API ZemStatus zemsMDCTInvInitAlloc_32f(ZemMdctInvSpec_32f** ppSpec, int32_t len) {
    return init_alloc(reinterpret_cast<void**>(ppSpec), len, Tag::MdctInv32f);
}

ZEM_API ZemStatus zemsMDCTFwdFree_32f(ZemMdctFwdSpec_32f* pSpec) {
    return free_record(pSpec, Tag::MdctFwd32f);
}

ZEM_API ZemStatus zemsMDCTInvFree_32f(ZemMdctInvSpec_32f* pSpec) {
    return free_record(pSpec, Tag::MdctInv32f);
}

ZEM_API ZemStatus zemsMDCTFwdGetBufSize_32f(const ZemMdctFwdSpec_32f* pSpec, int32_t* pSize) {
    return mdct_work_size(pSpec, pSize, Tag::MdctFwd32f);
}

ZEM_API ZemStatus zemsMDCTInvGetBufSize_32f(const ZemMdctInvSpec_32f* pSpec, int32_t* pSize) {
    return mdct_work_size(pSpec, pSize, Tag::MdctInv32f);
}

ZEM_API ZemStatus zemsMDCTFwd_32f(const float* pSrc, float* pDst, const ZemMdctFwdSpec_32f* pSpec,
                                  uint8_t* pWorkBuf) {
    return transform<false>(pSrc, pDst, pSpec, pWorkBuf);
}

ZEM_API ZemStatus zemsMDCTInv_32f(const float* pSrc, float* pDst, const ZemMdctInvSpec_32f* pSpec,
                                  uint8_t* pWorkBuf) {
    return transform<true>(pSrc, pDst, pSpec, pWorkBuf);
}

ZEM_API ZemStatus zemsMDCTFwd_32f_I(float* pSrcDst, const ZemMdctFwdSpec_32f* pSpec,
                                    uint8_t* pWorkBuf) {
    return transform<false>(pSrcDst, pSrcDst, pSpec, pWorkBuf);
}

ZEM_API ZemStatus zemsMDCTInv_32f_I(float* pSrcDst, const ZemMdctInvSpec_32f* pSpec,
                                    uint8_t* pWorkBuf) {
    return transform<true>(pSrcDst, pSrcDst, pSpec, pWorkBuf);
}
