// Argument checks of the HF-generation prediction and the tonality estimator: the float exports
// refuse null arrays, then do nothing for len or numBands below 1, then refuse a null row; the
// fixed exports report nothing and write nothing when a pointer is null.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>

#include "support/argument_sweep.hpp"
#include "zemac.h"

namespace {

constexpr int kRows = 4; // len 2

struct Arena {
    float re[kRows][8], im[kRows][8];
    Zem32fc c[kRows][8], tnrSrc[32];
    Zem32sc sc[kRows];
    int32_t s[kRows], outS[3];
    const float *rowsRe[kRows], *rowsIm[kRows];
    const Zem32fc* rowsC[kRows];
    const Zem32sc* rowsSc[kRows];
    const int32_t* rowsS[kRows];
    float out[4][8];
    Zem32fc outC[2][8];
    Zem32sc outSc[2];
};

struct Fixture {
    std::unique_ptr<Arena> owned = std::make_unique<Arena>();
    Arena& a = *owned;
    Fixture() {
        std::memset(&a, 0, sizeof a);
        for (int i = 0; i < 32; ++i) {
            const int l = i / 8, k = i % 8;
            a.re[l][k] = float((i * 7) % 11) - 5.0f, a.im[l][k] = float((i * 5) % 13) - 6.0f;
            a.c[l][k] = a.tnrSrc[i] = {a.re[l][k], a.im[l][k]};
        }
        for (int l = 0; l < kRows; ++l) {
            a.sc[l] = {l * 1000 - 1700, 900 - l * l * 300}, a.s[l] = a.sc[l].im;
            a.rowsRe[l] = a.re[l], a.rowsIm[l] = a.im[l], a.rowsC[l] = a.c[l];
            a.rowsSc[l] = &a.sc[l], a.rowsS[l] = &a.s[l];
        }
    }
};

using Reject = zemtest::Reject<Arena>;

// The row read last by len = 2.
template <auto Member> void null_last_row(Arena& a) { (a.*Member)[kRows - 1] = nullptr; }

// A null pointer that the fixed exports answer with success and no output.
Reject ignored_null(int arg) {
    return {"null pointer ignored", arg, 0, zemStatusOk, nullptr, true};
}

TEST(ArgumentSweep, SbrPrediction) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    const Reject len0{"len 0", 4, 0, zemStatusOk};
    const Reject bands0{"numBands 0", 3, 0, zemStatusOk};
    const Reject bandsNeg{"numBands -3", 3, -3, zemStatusOk};
    sweep("zemsPredictCoef_SBR_R_32f_D2L", zemsPredictCoef_SBR_R_32f_D2L,
          std::tuple{a.rowsRe, a.out[0], a.out[1], 8, 2},
          {len0,
           bands0,
           bandsNeg,
           {"null row", -1, 0, zemStatusNullPointer, null_last_row<&Arena::rowsRe>}});
    sweep("zemsPredictCoef_SBR_C_32fc_D2L", zemsPredictCoef_SBR_C_32fc_D2L,
          std::tuple{a.rowsC, a.outC[0], a.outC[1], 8, 2},
          {len0,
           bands0,
           bandsNeg,
           {"null row", -1, 0, zemStatusNullPointer, null_last_row<&Arena::rowsC>}});
    const Reject splitLen0{"len 0", 7, 0, zemStatusOk};
    const Reject splitBands0{"numBands 0", 6, 0, zemStatusOk};
    sweep("zemsPredictCoef_SBR_C_32f_D2L", zemsPredictCoef_SBR_C_32f_D2L,
          std::tuple{a.rowsRe, a.rowsIm, a.out[0], a.out[1], a.out[2], a.out[3], 8, 2},
          {splitLen0,
           splitBands0,
           {"null real row", -1, 0, zemStatusNullPointer, null_last_row<&Arena::rowsRe>},
           {"null imaginary row", -1, 0, zemStatusNullPointer, null_last_row<&Arena::rowsIm>}});

    sweep("zemsPredictOneCoef_SBRHQ_32sc_D2L", zemsPredictOneCoef_SBRHQ_32sc_D2L,
          std::tuple{a.rowsSc, &a.outSc[0], &a.outSc[1], 0, 2},
          {ignored_null(0), ignored_null(1), ignored_null(2)}, zemStatusOk, 0b111);
    sweep("zemsPredictOneCoef_SBRLP_32s_D2L", zemsPredictOneCoef_SBRLP_32s_D2L,
          std::tuple{a.rowsS, &a.outS[0], &a.outS[1], &a.outS[2], 0, 2, 1},
          {ignored_null(0), ignored_null(1), ignored_null(2), ignored_null(3)}, zemStatusOk,
          0b1111);

    sweep("zemsEstimateTNR_SBR_32f", zemsEstimateTNR_SBR_32f,
          std::tuple{a.tnrSrc, &a.out[0][0], &a.out[0][1], &a.out[0][2]}, {});
}

} // namespace
