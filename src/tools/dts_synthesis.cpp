// The DTS coherent-acoustics 32-band synthesis bank: per call one slot of 32 sub-band samples to
// 32 PCM samples, y[n] = sum over the last 16 slots and the 32 bands of X_k h[j] cos(pi (k + 1/2)
// (j - 255.5) / 32 + (-1)^k pi/4), j = n + 32 (slot age). The cosine has period 128 in j and
// changes sign every 64, so one table of 64 rows serves every j; the history holds the sub-band
// samples of the last 16 slots, newest at `position`.
#include <cstdint>

#include "core/checks.hpp"
#include "core/constexpr_math.hpp"
#include "core/state.hpp"
#include "tables/dts_fir.hpp"
#include "transform/twiddle.hpp"
#include "zemac.h"

namespace zem::dts {
namespace {

constexpr int32_t kSpecBytes = 2923;

struct Header {
    uint32_t tag;
    int32_t position; // the slot of the newest samples, 15 after Init
    int32_t ownedByLibrary;
    int32_t reserved[9];
};
static_assert(sizeof(Header) == 48);

struct Layout {
    Header header;
    float history[16][32]; // sub-band samples by slot
};
static_assert(sizeof(Layout) + 15 <= kSpecBytes);

// cos(pi (k + 1/2)(j - 255.5) / 32 + (-1)^k pi / 4) for j = 0..63 as the turn
// ((2k + 1)(2j - 511) + (-1)^k 32) / 256.
struct Modulation {
    double c[64][32];
};
constexpr Modulation make_modulation() {
    Modulation t{};
    for (int j = 0; j < 64; ++j)
        for (int k = 0; k < 32; ++k)
            t.c[j][k] =
                cos_sin_constexpr((2 * k + 1) * (2 * j - 511) + (k % 2 ? -32 : 32), 256.0).c;
    return t;
}
constexpr Modulation kModulation = make_modulation();

// The prototypes h[n] = (-1)^floor(n/64) s[n] / 4.
struct Prototypes {
    double h[2][512];
};
constexpr Prototypes make_prototypes() {
    Prototypes p{};
    for (int n = 0; n < 512; ++n) {
        const double sign = (n / 64) % 2 ? -0.25 : 0.25;
        p.h[0][n] = sign * double(kNonPerfect[n]);
        p.h[1][n] = sign * double(kPerfect[n]);
    }
    return p;
}
constexpr Prototypes kPrototypes = make_prototypes();

Layout* layout_of(void* handle) {
    return reinterpret_cast<Layout*>(align_up<16>(static_cast<uint8_t*>(handle)));
}

void build(uint8_t* mem, int32_t owned) {
    Layout* l = layout_of(mem);
    l->header = Header{uint32_t(Tag::DtsSynthesis), 15, owned, {}};
    for (auto& slot : l->history)
        for (float& v : slot)
            v = 0.0f;
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
    const int pos = (l->header.position + 1) & 15;
    l->header.position = pos;
    for (int k = 0; k < 32; ++k)
        l->history[pos][k] = pSrc[k];
    const double* h = kPrototypes.h[filterSelect];
    double y[32] = {};
    for (int age = 0; age < 16; ++age) {
        const float* x = l->history[(pos - age) & 15];
        for (int n = 0; n < 32; ++n) {
            const int j = n + 32 * age;
            const double* c = kModulation.c[j % 64];
            double sum = 0.0;
            for (int k = 0; k < 32; ++k)
                sum += double(x[k]) * c[k];
            y[n] += (j / 64) % 2 ? -h[j] * sum : h[j] * sum;
        }
    }
    for (int n = 0; n < 32; ++n)
        pDst[n] = float(y[n]);
    return zemStatusOk;
}
