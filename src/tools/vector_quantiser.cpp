// The conjugate-structure vector quantiser: codebook records, the candidate pre-selection, the
// pair searches and the reconstruction.
#include <cstdint>

#include "core/checks.hpp"
#include "core/state.hpp"
#include "transform/fft.hpp"
#include "zemac.h"

struct ZemVqCodebook_32f {
    int32_t H, S, valid;
    float** rows;
    float* dist;
    float* keptDist;
    int32_t* keptIndex;
    int32_t* sign;
    int32_t allocated;
};

namespace zem {
namespace {

constexpr float kFar = 1.0e38f;

int64_t record_bytes(int32_t S, int32_t H) { return (16 * int64_t(S) + 208) * H + 976; }

bool lengths_fit(const int32_t* pLength, int32_t numSub, int32_t S) {
    for (int32_t j = 0; j < numSub; ++j)
        if (pLength[j] < 0 || pLength[j] > S)
            return false;
    return true;
}

ZemVqCodebook_32f* build(const float* codebook, int32_t S, int32_t H, uint8_t* mem) {
    auto* r = reinterpret_cast<ZemVqCodebook_32f*>(align_up<16>(mem));
    uint8_t* at = reinterpret_cast<uint8_t*>(r + 1);
    r->H = H;
    r->S = S;
    r->rows = reinterpret_cast<float**>(align_up<16>(at));
    at = reinterpret_cast<uint8_t*>(r->rows + H);
    const int64_t rowBytes = (4 * int64_t(S) + 31) & ~int64_t(31);
    uint8_t* rows = align_up<32>(at);
    for (int32_t h = 0; h < H; ++h) {
        r->rows[h] = reinterpret_cast<float*>(rows + h * rowBytes);
        for (int32_t k = 0; k < S; ++k)
            r->rows[h][k] = codebook[int64_t(h) * S + k];
    }
    at = rows + H * rowBytes;
    r->dist = reinterpret_cast<float*>(at);
    r->keptDist = r->dist + H;
    r->keptIndex = reinterpret_cast<int32_t*>(r->keptDist + H);
    r->sign = r->keptIndex + H;
    r->valid = 1;
    r->allocated = 0;
    return r;
}

// Weighted distances of sub-vector x (n values) to every code vector, signed or not; `twice`
// doubles the weights; `negatedOnTie` decides equal distances for the negated vector.
void distances(const ZemVqCodebook_32f& cb, const float* x, const float* w, int n, bool signs,
               bool twice, bool negatedOnTie) {
    for (int32_t r = 0; r < cb.H; ++r) {
        const float* c = cb.rows[r];
        float plus = 0.0f, minus = 0.0f;
        for (int k = 0; k < n; ++k) {
            const float wk = twice ? 2.0f * w[k] : w[k];
            plus += wk * (c[k] - x[k]) * (c[k] - x[k]);
            minus += wk * (c[k] + x[k]) * (c[k] + x[k]);
        }
        const bool negate = signs && (negatedOnTie ? minus <= plus : plus > minus);
        cb.dist[r] = negate ? minus : plus;
        cb.sign[r] = negate ? 1 : 0;
    }
}

// The `want` smallest distances in ascending order, the earlier of equal ones first; all of them
// in natural order when want >= H. Returns how many are kept.
int keep(const ZemVqCodebook_32f& cb, int want) {
    if (want < 1)
        return 0;
    if (want >= cb.H) {
        for (int32_t r = 0; r < cb.H; ++r) {
            cb.keptIndex[r] = r;
            cb.keptDist[r] = cb.dist[r];
        }
        return cb.H;
    }
    int count = 0;
    for (int32_t r = 0; r < cb.H; ++r) {
        const float d = cb.dist[r];
        if (count == want && !(d < cb.keptDist[count - 1]))
            continue;
        if (count == 0 && want > 0) {
            cb.keptDist[0] = d;
            cb.keptIndex[0] = r;
            count = 1;
            continue;
        }
        int at = 0;
        while (at < count && cb.keptDist[at] < d)
            ++at;
        const int last = count < want ? count : want - 1;
        for (int i = last; i > at; --i) {
            cb.keptDist[i] = cb.keptDist[i - 1];
            cb.keptIndex[i] = cb.keptIndex[i - 1];
        }
        cb.keptDist[at] = d;
        cb.keptIndex[at] = r;
        if (count < want)
            ++count;
    }
    return count;
}

} // namespace
} // namespace zem

using namespace zem;

ZEM_API ZemStatus zemsVQCodeBookGetSize_32f(int32_t S, int32_t H, int32_t* pSize) {
    if (pSize == nullptr)
        return zemStatusNullPointer;
    if (S < 1 || H < 1 || record_bytes(S, H) > INT32_MAX)
        return zemStatusBadSize;
    *pSize = int32_t(record_bytes(S, H));
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQCodeBookInit_32f(const float* pCodebook, ZemVqCodebook_32f** ppState,
                                         int32_t S, int32_t H, uint8_t* pMem) {
    if (any_null(pCodebook, ppState, pMem))
        return zemStatusNullPointer;
    if (S < 1 || H < 1 || record_bytes(S, H) > INT32_MAX)
        return zemStatusBadSize;
    *ppState = build(pCodebook, S, H, pMem);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQCodeBookInitAlloc_32f(const float* pCodebook, ZemVqCodebook_32f** ppState,
                                              int32_t S, int32_t H) {
    if (any_null(pCodebook, ppState))
        return zemStatusNullPointer;
    if (S < 1 || H < 1 || record_bytes(S, H) > INT32_MAX)
        return zemStatusBadSize;
    // The record sits at the block's start (zemMalloc aligns to 16), so Free can release it.
    auto* mem = static_cast<uint8_t*>(alloc_bytes(std::ptrdiff_t(record_bytes(S, H))));
    if (mem == nullptr)
        return zemStatusNoMemory;
    ZemVqCodebook_32f* r = build(pCodebook, S, H, mem);
    if (reinterpret_cast<uint8_t*>(r) != mem) {
        release_block(mem);
        return zemStatusNoMemory;
    }
    r->allocated = 1;
    *ppState = r;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQCodeBookFree_32f(ZemVqCodebook_32f* pState) {
    if (pState == nullptr)
        return zemStatusNullPointer;
    pState->valid = 0;
    if (pState->allocated == 1)
        release_block(pState);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQPreliminarySelect_32f(const float* pSrc, const float* pWeight,
                                              int32_t numSub, const int32_t* pLength,
                                              int32_t* pCandIndex, int32_t* pCandSign,
                                              int32_t numCand, const int32_t* pSignMode,
                                              const ZemVqCodebook_32f* pState) {
    if (any_null(pSrc, pWeight, pLength, pCandIndex, pCandSign, pSignMode, pState))
        return zemStatusNullPointer;
    if (numSub < 1)
        return zemStatusOk;
    if (!lengths_fit(pLength, numSub, pState->S))
        return zemStatusBadArgument;
    int64_t at = 0;
    for (int32_t j = 0; j < numSub; ++j) {
        distances(*pState, pSrc + at, pWeight + at, pLength[j], pSignMode[j] == 1, false, true);
        const int kept = keep(*pState, numCand);
        for (int c = 0; c < kept; ++c) {
            pCandIndex[int64_t(j) * numCand + c] = pState->keptIndex[c];
            pCandSign[int64_t(j) * numCand + c] = pState->sign[pState->keptIndex[c]];
        }
        at += pLength[j];
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQMainSelect_32f(const float* pSrc, const float* pWeight,
                                       const int32_t* pLength, int32_t numSub, int32_t numCand,
                                       const int32_t** ppCandIndex, const int32_t** ppCandSign,
                                       int32_t** ppIndex, int32_t** ppSign,
                                       const ZemVqCodebook_32f** ppState, int32_t divisor) {
    if (any_null(pSrc, pWeight, pLength, ppCandIndex, ppCandSign, ppIndex, ppSign, ppState))
        return zemStatusNullPointer;
    for (int b = 0; b < 2; ++b)
        if (any_null(ppCandIndex[b], ppCandSign[b], ppIndex[b], ppSign[b], ppState[b]))
            return zemStatusNullPointer;
    if (numSub < 1)
        return zemStatusOk;
    const ZemVqCodebook_32f &u0 = *ppState[0], &v1 = *ppState[1];
    if (!lengths_fit(pLength, numSub, u0.S < v1.S ? u0.S : v1.S))
        return zemStatusBadArgument;
    for (int64_t i = 0; i < int64_t(numSub) * numCand; ++i)
        if (ppCandIndex[0][i] < 0 || ppCandIndex[0][i] >= u0.H || ppCandIndex[1][i] < 0 ||
            ppCandIndex[1][i] >= v1.H)
            return zemStatusBadArgument;
    const float div = float(divisor);
    int64_t at = 0;
    for (int32_t j = 0; j < numSub; ++j) {
        const float* x = pSrc + at;
        const float* w = pWeight + at;
        float best = kFar;
        int bestA = 0, bestB = 0;
        for (int a = 0; a < numCand; ++a)
            for (int b = 0; b < numCand; ++b) {
                const int64_t ia = int64_t(j) * numCand + a, ib = int64_t(j) * numCand + b;
                const float* u = u0.rows[ppCandIndex[0][ia]];
                const float* v = v1.rows[ppCandIndex[1][ib]];
                const float su = float(1 - 2 * ppCandSign[0][ia]),
                            sv = float(1 - 2 * ppCandSign[1][ib]);
                float d = 0.0f;
                for (int k = 0; k < pLength[j]; ++k) {
                    const float e = x[k] - (sv * v[k] + su * u[k]) / div;
                    d += w[k] * e * e;
                }
                if (d < best) {
                    best = d;
                    bestA = a;
                    bestB = b;
                }
            }
        const int64_t ia = int64_t(j) * numCand + bestA, ib = int64_t(j) * numCand + bestB;
        ppIndex[0][j] = ppCandIndex[0][ia];
        ppIndex[1][j] = ppCandIndex[1][ib];
        ppSign[0][j] = ppCandSign[0][ia];
        ppSign[1][j] = ppCandSign[1][ib];
        at += pLength[j];
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQIndexSelect_32f(const float* pSrc, const float* pWeight, int32_t numSub,
                                        const int32_t* pLength, int32_t numCand,
                                        const int32_t** ppSignMode, int32_t** ppIndex,
                                        int32_t** ppSign, const ZemVqCodebook_32f** ppState,
                                        int32_t numBooks) {
    if (any_null(pSrc, pWeight, pLength, ppSignMode, ppIndex, ppSign, ppState))
        return zemStatusNullPointer;
    if (numSub < 1)
        return zemStatusOk;
    if (numBooks < 2)
        return zemStatusBadArgument;
    for (int b = 0; b < numBooks; ++b)
        if (any_null(ppSignMode[b], ppState[b]) || (b < 2 && any_null(ppIndex[b], ppSign[b])))
            return zemStatusNullPointer;
    for (int b = 0; b < numBooks; ++b)
        if (!lengths_fit(pLength, numSub, ppState[b]->S))
            return zemStatusBadArgument;
    int64_t at = 0;
    for (int32_t j = 0; j < numSub; ++j) {
        const float* x = pSrc + at;
        const float* w = pWeight + at;
        int kept[2] = {0, 0};
        for (int b = 0; b < numBooks; ++b) {
            distances(*ppState[b], x, w, pLength[j], ppSignMode[b][j] == 1, true, false);
            const int k = keep(*ppState[b], numCand);
            if (b < 2)
                kept[b] = k;
        }
        const ZemVqCodebook_32f &c0 = *ppState[0], &c1 = *ppState[1];
        float best = kFar;
        int bestA = 0, bestB = 0;
        for (int a = 0; a < kept[0]; ++a)
            for (int b = 0; b < kept[1]; ++b) {
                const int ra = c0.keptIndex[a], rb = c1.keptIndex[b];
                const float sa = float(1 - 2 * c0.sign[ra]), sb = float(1 - 2 * c1.sign[rb]);
                float cross = 0.0f;
                for (int k = 0; k < pLength[j]; ++k) {
                    const float e = sa * c0.rows[ra][k] - sb * c1.rows[rb][k];
                    cross += w[k] * e * e;
                }
                const float d = 0.25f * (c0.keptDist[a] + c1.keptDist[b] - cross);
                if (d < best) {
                    best = d;
                    bestA = a;
                    bestB = b;
                }
            }
        if (kept[0] > 0 && kept[1] > 0) {
            ppIndex[0][j] = c0.keptIndex[bestA];
            ppIndex[1][j] = c1.keptIndex[bestB];
            ppSign[0][j] = c0.sign[c0.keptIndex[bestA]];
            ppSign[1][j] = c1.sign[c1.keptIndex[bestB]];
        }
        at += pLength[j];
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVQReconstruction_32f(const int32_t** ppIndex, const int32_t** ppSign,
                                           const int32_t* pLength, int32_t numSub, int32_t numBooks,
                                           float* pDst, const ZemVqCodebook_32f** ppState) {
    if (any_null(ppIndex, ppSign, pLength, pDst, ppState))
        return zemStatusNullPointer;
    if (numSub < 1)
        return zemStatusOk;
    if (numBooks < 1)
        return zemStatusBadArgument;
    for (int b = 0; b < numBooks; ++b) {
        if (any_null(ppIndex[b], ppSign[b], ppState[b]))
            return zemStatusNullPointer;
        if (!lengths_fit(pLength, numSub, ppState[b]->S))
            return zemStatusBadArgument;
        for (int32_t j = 0; j < numSub; ++j)
            if (ppIndex[b][j] < 0 || ppIndex[b][j] >= ppState[b]->H)
                return zemStatusBadArgument;
    }
    int64_t total = 0;
    for (int32_t j = 0; j < numSub; ++j)
        total += pLength[j];
    for (int b = 0; b < numBooks; ++b) {
        int64_t at = 0;
        for (int32_t j = 0; j < numSub; ++j) {
            const float* c = ppState[b]->rows[ppIndex[b][j]];
            const float s = float(ppSign[b][j]);
            for (int k = 0; k < pLength[j]; ++k)
                pDst[at + k] = b == 0 ? s * c[k] : s * c[k] + pDst[at + k];
            at += pLength[j];
        }
    }
    scale_vector_32f(1.0f / float(numBooks), pDst, int32_t(total));
    return zemStatusOk;
}
