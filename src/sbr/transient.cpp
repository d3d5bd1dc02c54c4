// The SBR encoder's transient detector: an adaptive threshold from the spread of the energies,
// and per odd slot pair the rises of the pair-averaged energies against it.
#include <cmath>

#include "core/checks.hpp"
#include "zemac.h"

ZEM_API ZemStatus zemsDetectTransient_SBR_32f(const float* pSrc, float* pThr, float* pDst) {
    if (zem::any_null(pSrc, pThr, pDst))
        return zemStatusNullPointer;
    const float* E = pSrc;
    // The spread in double: energies reach 1e10 and more, their squares' sum would lose the
    // difference in single precision.
    double sum = 0.0, squares = 0.0;
    for (int i = 16; i < 64; ++i) {
        sum += E[i];
        squares += double(E[i]) * E[i];
    }
    const double radicand = (48.0 * squares - sum * sum) / (48.0 * 47.0);
    const float sigma = radicand > 0.0 ? float(std::sqrt(radicand)) : 0.0f;
    const float proposed = 0.34f * sigma + 0.66f * *pThr;
    const float T = proposed > 128000.0f ? proposed : 128000.0f;
    *pThr = T;
    const auto H = [E](int j) { return (E[j] + E[j + 1]) * 0.5f; };
    const auto add = [T](float v, float& acc) {
        if (v > T)
            acc += v / T - 1.0f;
    };
    for (int i = 15; i <= 59; i += 2) {
        const float h1 = H(i + 1), hm1 = H(i - 1), hm3 = H(i - 3), h3 = H(i + 3);
        const float a = h1 - hm1;
        if (i != 15) {
            add(a, pDst[i]);
            add(2.0f * h1 - hm1 - hm3, pDst[i]);
            add(2.0f * h1 + h3 - hm1 - 2.0f * hm3, pDst[i]);
        }
        add(a, pDst[i + 1]);
        add(h1 + h3 - 2.0f * hm1, pDst[i + 1]);
        add(h1 + 2.0f * h3 - 2.0f * hm1 - hm3, pDst[i + 1]);
    }
    return zemStatusOk;
}
