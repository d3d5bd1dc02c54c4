// MDCT, 16-bit, forward (tag 57): the fold and twiddle passes of the float transform in 32-bit
// fixed point with Q14 twiddle pairs, around the block-floating-point FFT of fft16. Apart from
// mdct.cpp because its output is defined by those integer passes (see mdct.hpp); it shares
// the float transform's record layout and size rules and the twiddle generator.
// In caller memory: the record at the block rounded up to 32 bytes, the N/4 (sin, cos) pairs
// behind it, then the 16-bit FFT spec.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/fixed.hpp"
#include "core/state.hpp"
#include "transform/fft16.hpp"
#include "transform/mdct.hpp"
#include "transform/spec_lifecycle.hpp"
#include "transform/twiddle.hpp"
#include "zemac.h"

namespace zem {
namespace {

constexpr int32_t kRecordBytes = int32_t(sizeof(MdctRecord));

struct Sizes {
    int32_t spec, init, work;
};

ZemStatus sizes16(int32_t n, Sizes& out) {
    if (!mdct_pow2(n))
        return zemStatusBadSize;
    int32_t s = 0, i = 0, w = 0;
    if (fft16_get_buf_sizes(mdct_fft_order(n), &s, &i, &w) != zemStatusOk)
        return zemStatusBadSize;
    const int64_t spec = int64_t(s) + n + 124;
    const int64_t work = (4 * int64_t(n) > w ? 4 * int64_t(n) : w) + n + 32;
    if (spec > INT32_MAX || work > INT32_MAX)
        return zemStatusBadSize;
    out = {int32_t(spec), i, int32_t(work)};
    return zemStatusOk;
}

// (2^14 sin t_j, 2^14 cos t_j), rounded by adding 0.5 before truncation.
void build_twiddles(int16_t* tw, int32_t n) {
    for (int32_t j = 0; j < n / 4; ++j) {
        const CosSin w = cos_sin(j + 0.125, n);
        tw[2 * j] = int16_t(std::trunc(16384.0 * w.s + 0.5));
        tw[2 * j + 1] = int16_t(std::trunc(16384.0 * w.c + 0.5));
    }
}

void write_header(MdctRecord* r, int32_t n, int32_t work, int32_t allocated) {
    std::memset(r, 0, sizeof(*r));
    r->n = n;
    r->workSize = work;
    r->fftOrder = mdct_fft_order(n);
    r->allocated = allocated;
    r->tag = int32_t(Tag::MdctFwd16s);
}

// Doublings that bring the peak magnitude into (11584, 23168], 32768/sqrt(2) being the top:
// -1 (a halving) for peaks above 23168.
int32_t normalisation(int32_t peak) {
    int32_t k = 0;
    while ((int64_t(peak) << k) <= 32768)
        ++k;
    int32_t d = k - 1;
    if ((int64_t(peak) << d) > 23168)
        --d;
    return d;
}

// Output = P 2^-shift rounded to nearest and saturated, for a 64-bit post-twiddle product P.
int16_t scale_out(int64_t p, int32_t shift) {
    if (shift > 0)
        return shift > 62 ? 0 : sat16(round_shr(p, shift));
    if (p == 0)
        return 0;
    return -shift > 16 ? (p > 0 ? INT16_MAX : INT16_MIN) : sat16(p * (int64_t(1) << -shift));
}

// The transform of a block whose largest magnitude is peak (> 0), with the work area z.
void forward16_in(const int16_t* pSrc, int16_t* pDst, const MdctRecord* r, int32_t scaleFactor,
                  int32_t peak, Zem32sc* z) {
    const int32_t n = r->n, q = n / 4, h = q / 2;
    // Inputs scaled by 2^(d + 1): peaks up to 46336, folded sums up to 92672 (17 bits).
    const int32_t d = normalisation(peak);
    const int32_t up = d + 1;
    const auto* tw = static_cast<const int16_t*>(mdct_twiddles(r));
    auto in = [&](int32_t i) { return int64_t(pSrc[i]) << up; };
    // z = 2^-4 (c a + s b) + i 2^-4 (c b - s a): below 2^27.
    for (int32_t j = 0; j < q; ++j) {
        int64_t a, b;
        if (j < h) {
            a = -in(n - q + 2 * j) - in(n - q - 1 - 2 * j);
            b = in(q - 1 - 2 * j) - in(q + 2 * j);
        } else {
            a = in(2 * j - q) - in(n - q - 1 - 2 * j);
            b = -in(n + q - 1 - 2 * j) - in(q + 2 * j);
        }
        const int64_t s = tw[2 * j], c = tw[2 * j + 1];
        z[j].re = int32_t((c * a + s * b + 8) >> 4);
        z[j].im = int32_t((c * b - s * a + 8) >> 4);
    }
    int32_t exponent = 0;
    fft16_fwd(z, *static_cast<const ZemFft16Spec*>(mdct_fft(r)), &exponent);
    // The float transform's X equals 2^(e - 24 - d) times the post-twiddle products below.
    // Clamped in 64 bits: beyond 64 either way every value flushes to 0 or saturates alike.
    const int64_t wide = int64_t(24 + d - exponent) + scaleFactor;
    const int32_t shift = int32_t(wide < -64 ? -64 : wide > 64 ? 64 : wide);
    for (int32_t j = 0; j < q; ++j) {
        const int64_t s = tw[2 * j], c = tw[2 * j + 1], re = z[j].re, im = z[j].im;
        pDst[2 * j] = scale_out(c * re + s * im, shift);
        pDst[n / 2 - 1 - 2 * j] = scale_out(s * re - c * im, shift);
    }
}

ZemStatus forward16(const int16_t* pSrc, int16_t* pDst, const MdctRecord* r, int32_t scaleFactor,
                    uint8_t* pWorkBuf) {
    const int32_t n = r->n;
    int32_t lo = 0, hi = 0;
    for (int32_t i = 0; i < n; ++i) {
        lo = std::min<int32_t>(lo, pSrc[i]);
        hi = std::max<int32_t>(hi, pSrc[i]);
    }
    if (lo == 0 && hi == 0) {
        std::memset(pDst, 0, std::size_t(n / 2) * sizeof(int16_t));
        return zemStatusOk;
    }
    const WorkBuffer work(pWorkBuf, r->workSize);
    if (work.failed())
        return zemStatusNoMemory;
    forward16_in(pSrc, pDst, r, scaleFactor, std::max(-lo, hi),
                 reinterpret_cast<Zem32sc*>(work.get()));
    return zemStatusOk;
}

} // namespace
} // namespace zem

using namespace zem;

ZEM_API ZemStatus zemsMDCTFwdGetSize_16s(int32_t len, int32_t* pSizeSpec, int32_t* pSizeInit,
                                         int32_t* pSizeWork) {
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    Sizes s{};
    if (const ZemStatus st = sizes16(len, s); st != zemStatusOk)
        return st;
    *pSizeSpec = s.spec;
    *pSizeInit = s.init;
    *pSizeWork = s.work;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMDCTFwdInit_16s(ZemMdctFwdSpec_16s** ppSpec, int32_t len, uint8_t* pMemSpec,
                                      uint8_t* pMemInit) {
    if (ppSpec == nullptr || pMemSpec == nullptr || pMemInit == nullptr)
        return zemStatusNullPointer;
    Sizes s{};
    if (const ZemStatus st = sizes16(len, s); st != zemStatusOk)
        return st;
    auto* r = reinterpret_cast<MdctRecord*>(align_up<32>(pMemSpec));
    auto* base = reinterpret_cast<uint8_t*>(r);
    ZemFft16Spec* fft = nullptr;
    if (const ZemStatus st = fft16_init(&fft, mdct_fft_order(len), base + kRecordBytes + len);
        st != zemStatusOk)
        return st;
    build_twiddles(reinterpret_cast<int16_t*>(base + kRecordBytes), len);
    write_header(r, len, s.work, 0);
    r->twiddleOffset = kRecordBytes;
    r->fftOffset = int32_t(reinterpret_cast<uint8_t*>(fft) - base);
    *ppSpec = reinterpret_cast<ZemMdctFwdSpec_16s*>(r);
    return zemStatusOk;
}

// The record with its twiddles in one block, the FFT spec in another.
ZEM_API ZemStatus zemsMDCTFwdInitAlloc_16s(ZemMdctFwdSpec_16s** ppSpec, int32_t len) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    Sizes s{};
    if (const ZemStatus st = sizes16(len, s); st != zemStatusOk)
        return st;
    auto* r = static_cast<MdctRecord*>(
        alloc_bytes(std::ptrdiff_t(sizeof(MdctRecord) + sizeof(MdctOwned)) + len));
    if (r == nullptr)
        return zemStatusNoMemory;
    ZemFft16Spec* fft = nullptr;
    if (const ZemStatus st = fft16_init_alloc(&fft, mdct_fft_order(len)); st != zemStatusOk) {
        release_block(r);
        return st;
    }
    auto* tw = reinterpret_cast<int16_t*>(reinterpret_cast<MdctOwned*>(r + 1) + 1);
    build_twiddles(tw, len);
    write_header(r, len, s.work, 1);
    *reinterpret_cast<MdctOwned*>(r + 1) = {tw, fft};
    *ppSpec = reinterpret_cast<ZemMdctFwdSpec_16s*>(r);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMDCTFwdFree_16s(ZemMdctFwdSpec_16s* pSpec) {
    return free_mdct_record(pSpec, Tag::MdctFwd16s, [](const MdctOwned& owned) {
        // The twiddles share the record's block.
        fft16_free(static_cast<ZemFft16Spec*>(owned.fft));
    });
}

ZEM_API ZemStatus zemsMDCTFwdGetBufSize_16s(const ZemMdctFwdSpec_16s* pSpec, int32_t* pSize) {
    return mdct_work_size(pSpec, pSize, Tag::MdctFwd16s);
}

ZEM_API ZemStatus zemsMDCTFwd_16s_Sfs(const int16_t* pSrc, int16_t* pDst,
                                      const ZemMdctFwdSpec_16s* pSpec, int32_t scaleFactor,
                                      uint8_t* pWorkBuf) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (!has_tag(pSpec, Tag::MdctFwd16s))
        return zemStatusContextMismatch;
    if (pSrc == nullptr || pDst == nullptr)
        return zemStatusNullPointer;
    return forward16(pSrc, pDst, reinterpret_cast<const MdctRecord*>(pSpec), scaleFactor, pWorkBuf);
}
