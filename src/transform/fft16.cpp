// Radix-2 decimation in frequency, then the bit-reversal permutation. Butterfly of half-length
// h: (a, b) -> (a + b, (a - b) e^(-j pi i / h)), the twiddle read from the run of the full
// length at stride M / (2h), products rounded back by 15 bits.
#include "transform/fft16.hpp"

#include <cmath>
#include <cstdlib>

#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "core/state.hpp"
#include "transform/fft.hpp"
#include "transform/spec_lifecycle.hpp"
#include "transform/twiddle.hpp"

namespace zem {
namespace {

constexpr int32_t kHeaderBytes = int32_t(sizeof(ZemFft16Spec));
constexpr int32_t kLimit = 1 << 29; // a butterfly of values below this stays inside 32 bits

int16_t* twiddles(const ZemFft16Spec& s) {
    return reinterpret_cast<int16_t*>(const_cast<uint8_t*>(reinterpret_cast<const uint8_t*>(&s)) +
                                      kHeaderBytes);
}

// Q15, 1.0 held as 32767.
int16_t q15(double v) {
    const double r = std::floor(v * 32768.0 + 0.5);
    return int16_t(r > 32767.0 ? 32767.0 : r);
}

// Halves the block (rounding) while any component could overflow the next butterfly.
void keep_headroom(Zem32sc* x, int64_t m, int32_t& exponent) {
    int32_t peak = 0;
    for (int64_t i = 0; i < m; ++i)
        peak |= std::abs(x[i].re) | std::abs(x[i].im);
    if (peak < kLimit)
        return;
    for (int64_t i = 0; i < m; ++i) {
        x[i].re = int32_t(round_shr(x[i].re, 1));
        x[i].im = int32_t(round_shr(x[i].im, 1));
    }
    ++exponent;
}

} // namespace

ZemStatus fft16_get_buf_sizes(int32_t order, int32_t* pSizeSpec, int32_t* pSizeInit,
                              int32_t* pSizeWork) {
    if (order < 0 || order > kFftMaxOrder)
        return zemStatusBadOrder;
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    const int64_t m = int64_t(1) << order;
    int64_t spec = 84, init = 0, work = 0;
    if (order == 0) {
        *pSizeSpec = 84;
        *pSizeInit = *pSizeWork = 0;
        return zemStatusOk;
    }
    if (order < 4) {
        spec = a32(8 * m) + a32(m + 4);
        init = (2 * (m / 4) + 33) & ~int64_t(31);
        work = 8 * m;
    } else {
        int32_t s = 0, i = 0, w = 0;
        if (const ZemStatus st = fft_get_buf_sizes(order, FftNoScale, 0, &s, &i, &w);
            st != zemStatusOk)
            return st;
        spec = s;
        init = i;
        work = int64_t(w) + 8 * m;
    }
    spec += 96;
    init += 32;
    work += 32;
    if (spec > INT32_MAX || work > INT32_MAX)
        return zemStatusBadSize;
    *pSizeSpec = int32_t(spec);
    *pSizeInit = int32_t(init);
    *pSizeWork = int32_t(work);
    return zemStatusOk;
}

ZemStatus fft16_init(ZemFft16Spec** ppSpec, int32_t order, uint8_t* pMemSpec) {
    if (ppSpec == nullptr || pMemSpec == nullptr)
        return zemStatusNullPointer;
    if (order < 0 || order > kFftMaxOrder)
        return zemStatusBadOrder;
    auto* s = reinterpret_cast<ZemFft16Spec*>(align_up<32>(pMemSpec));
    *s = ZemFft16Spec{};
    s->order = order;
    const int64_t m = int64_t(1) << order;
    int16_t* tw = twiddles(*s);
    for (int64_t k = 0; k < m / 2; ++k) {
        const CosSin w = cos_sin(double(k), double(m));
        tw[2 * k] = q15(w.c);
        tw[2 * k + 1] = q15(-w.s);
    }
    s->tag = kFft16Tag;
    *ppSpec = s;
    return zemStatusOk;
}

ZemStatus fft16_init_alloc(ZemFft16Spec** ppSpec, int32_t order) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    int32_t spec = 0, init = 0, work = 0;
    if (const ZemStatus st = fft16_get_buf_sizes(order, &spec, &init, &work); st != zemStatusOk)
        return st;
    return alloc_spec_block(ppSpec, spec, 0, [order](ZemFft16Spec** s, uint8_t* mem, uint8_t*) {
        return fft16_init(s, order, mem);
    });
}

ZemStatus fft16_free(ZemFft16Spec* pSpec) { return free_spec_block(pSpec, kFft16Tag); }

void fft16_fwd(Zem32sc* x, const ZemFft16Spec& spec, int32_t* pExponent) {
    const int32_t order = spec.order;
    const int64_t m = int64_t(1) << order;
    const int16_t* tw = twiddles(spec);
    int32_t exponent = 0;
    for (int64_t h = m / 2, stride = 1; h >= 1; h /= 2, stride *= 2) {
        keep_headroom(x, m, exponent);
        for (int64_t start = 0; start < m; start += 2 * h) {
            Zem32sc* a = x + start;
            Zem32sc* b = a + h;
            for (int64_t i = 0; i < h; ++i) {
                const int32_t dr = a[i].re - b[i].re, di = a[i].im - b[i].im;
                a[i].re += b[i].re;
                a[i].im += b[i].im;
                if (i == 0) {
                    b[i] = {dr, di};
                    continue;
                }
                const int64_t wr = tw[2 * i * stride], wi = tw[2 * i * stride + 1];
                b[i].re = int32_t(round_shr(dr * wr - di * wi, 15));
                b[i].im = int32_t(round_shr(dr * wi + di * wr, 15));
            }
        }
    }
    for (int64_t i = 0, j = 0; i < m; ++i) {
        if (i < j) {
            const Zem32sc t = x[i];
            x[i] = x[j];
            x[j] = t;
        }
        int64_t bit = m >> 1;
        for (; bit > 0 && (j & bit); bit >>= 1)
            j ^= bit;
        j |= bit;
    }
    *pExponent = exponent;
}

} // namespace zem
