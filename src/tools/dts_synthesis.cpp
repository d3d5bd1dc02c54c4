// The DTS coherent-acoustics 32-band synthesis bank: per call one slot of 32 sub-band samples to
// 32 PCM samples, y[n] = sum over the last 16 slots and the 32 bands of X_k h[j] cos(pi (k + 1/2)
// (j - 255.5) / 32 + (-1)^k pi/4), j = n + 32 (slot age). Each slot is modulated once, when it
// arrives (a DCT-IV on a 16-point FFT, dts_kernels.hpp), into the 32 values its taps need; a call
// then windows the 16 slots of the history with the prototype it selects, so that the
// prototype may change from call to call over one history.
#include <cstdint>
#include <cstring>

#include "core/checks.hpp"
#include "core/state.hpp"
#include "tables/dts_fir.hpp"
#include "tools/dts_kernels.hpp"
#include "zemac.h"

namespace zem::dts {
namespace {

constexpr int32_t kSpecBytes = 2923;

struct Header {
    uint32_t tag;
    int32_t position; // the slot of the newest values, 15 after Init
    int32_t ownedByLibrary;
    int32_t reserved[9];
};
static_assert(sizeof(Header) == 48);

struct Layout {
    Header header;
    float history[kSlots][32]; // per slot: a_0..15 then b_0..15
    float work[32];            // the FFT's 16 complex values
    uint8_t fft[160];          // the order-4 FFT record at its first 32-byte boundary (a header:
                               // its twiddles are built in)
};
static_assert(sizeof(Layout) + 15 <= kSpecBytes);

// The windows of both prototypes h[n] = (-1)^floor(n/64) s[n] / 4 with the modulation's signs:
// at age g, output 2e takes h[2e + 32g] (-1)^floor(g/2) times a_e (even g) or -b_e (odd g),
// output 31 - 2e takes -h[31 - 2e + 32g] (-1)^floor(g/2) times a_e or b_e.
struct Windows {
    SlotWindow w[2];
};
constexpr Windows make_windows() {
    Windows t{};
    for (int select = 0; select < 2; ++select)
        for (int g = 0; g < kSlots; ++g)
            for (int e = 0; e < 16; ++e) {
                const auto h = [&](int n) {
                    const double s = select ? double(kPerfect[n]) : double(kNonPerfect[n]);
                    return (n / 64) % 2 ? -0.25 * s : 0.25 * s;
                };
                const double sign = (g / 2) % 2 ? -1.0 : 1.0;
                t.w[select].even[g][e] = float(h(2 * e + 32 * g) * (g % 2 ? -sign : sign));
                t.w[select].odd[g][e] = float(-h(31 - 2 * e + 32 * g) * sign);
            }
    return t;
}
constexpr Windows kWindows = make_windows();

Layout* layout_of(void* handle) {
    return reinterpret_cast<Layout*>(align_up<16>(static_cast<uint8_t*>(handle)));
}

void build(uint8_t* mem, int32_t owned) {
    Layout* l = layout_of(mem);
    l->header = Header{uint32_t(Tag::DtsSynthesis), 15, owned, {}};
    std::memset(l->history, 0, sizeof l->history);
    ZemFftSpec* fft = nullptr;
    fft_init(&fft, 4, FftNoScale, 0, l->fft, nullptr);
}

} // namespace
} // namespace zem::dts

using namespace zem;
using namespace zem::dts;

ZEM_API ZemStatus zemsSynthesisFilterGetSize_DTS_32f(int32_t* pSize) {
    if (pSize == nullptr)
        return zemStatusNullPointer;
    *pSize = kSpecBytes;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilterInit_DTS_32f(uint8_t* pMem) {
    if (pMem == nullptr)
        return zemStatusNullPointer;
    build(pMem, 0);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_DTS_32f(ZemDtsSynthesisSpec_32f** ppSpec) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    auto* mem = static_cast<uint8_t*>(alloc_bytes(kSpecBytes));
    if (mem == nullptr)
        return zemStatusNoMemory;
    build(mem, 1);
    *ppSpec = reinterpret_cast<ZemDtsSynthesisSpec_32f*>(mem);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilterFree_DTS_32f(ZemDtsSynthesisSpec_32f* pSpec) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    Layout* l = layout_of(pSpec);
    if (!has_tag(&l->header, Tag::DtsSynthesis))
        return zemStatusContextMismatch;
    if (l->header.ownedByLibrary == 1)
        release_block(pSpec);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilter_DTS_32f(const float* pSrc, float* pDst, int32_t filterSelect,
                                              ZemDtsSynthesisSpec_32f* pSpec) {
    if (any_null(pSrc, pDst, pSpec))
        return zemStatusNullPointer;
    if (filterSelect != 0 && filterSelect != 1)
        return zemStatusBadArgument;
    Layout* l = layout_of(pSpec);
    if (!has_tag(&l->header, Tag::DtsSynthesis))
        return zemStatusContextMismatch;
    const int pos = (l->header.position + 1) & (kSlots - 1);
    l->header.position = pos;
    const auto& fft = *reinterpret_cast<const ZemFftSpec*>(align_up<32>(l->fft));
    kDtsSse2.fold(pSrc, l->history[pos], fft, l->work);
    kDtsSse2.window(&l->history[0][0], pos, kWindows.w[filterSelect], pDst);
    return zemStatusOk;
}
