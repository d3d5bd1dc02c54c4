#include "ps_tables.hpp"

namespace zemdec::ps {

const int8_t kIidDefaultDb[15] = {-25, -18, -14, -10, -7, -4, -2, 0, 2, 4, 7, 10, 14, 18, 25};

const int8_t kIidFineDb[31] = {-50, -45, -40, -35, -30, -25, -22, -19, -16, -13, -10,
                               -8,  -6,  -4,  -2,  0,   2,   4,   6,   8,   10,  13,
                               16,  19,  22,  25,  30,  35,  40,  45,  50};

const float kIccRho[8] = {1.0f, 0.937f, 0.84118f, 0.60092f, 0.36764f, 0.0f, -0.589f, -1.0f};

const int8_t kNrParBands[6] = {10, 20, 34, 10, 20, 34};
const int8_t kNrIpdBands[6] = {5, 11, 17, 5, 11, 17};
const int8_t kNumEnv[2][4] = {{0, 1, 2, 4}, {1, 2, 3, 4}};

namespace {

const int8_t kParMap20[71] = {
    1,  0,  0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 14, 15, 15, 15, 16, 16, 16,
    16, 17, 17, 17, 17, 17, 18, 18, 18, 18, 18, 18, 18, 18, 18, 18, 18, 18, 19, 19, 19, 19, 19, 19,
    19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19, 19};

const int8_t kParMap34[91] = {
    0,  1,  2,  3,  4,  5,  6,  6,  7,  2,  1,  0,  10, 10, 4,  5,  6,  7,  8,  9,  10, 11, 12,
    9,  14, 11, 12, 13, 14, 15, 16, 13, 16, 17, 18, 19, 20, 21, 22, 22, 23, 23, 24, 24, 25, 25,
    26, 26, 27, 27, 27, 28, 28, 28, 29, 29, 29, 30, 30, 30, 31, 31, 31, 31, 32, 32, 32, 32, 33,
    33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33};

const int8_t kCentre20[10] = {-3, -1, 1, 3, 5, 7, 10, 14, 18, 22}; // eighths of a QMF band

const int8_t kCentre34[32] = {2,  6,  10,  14, 18, 22, 26,  30,  34,  -10, -6,
                              -2, 51, 57,  15, 21, 27, 33,  39,  45,  54,  66,
                              78, 42, 102, 66, 78, 90, 102, 114, 126, 90}; // 24ths

} // namespace

// 20 bands: QMF band 0 through the 8-band filter (its eight outputs fold into six bands), QMF
// bands 1 and 2 through the real 2-band filter.
const HybridLayout kLayout20 = {.parBands = 20,
                                .ipdBands = 11,
                                .bands = 71,
                                .splitQmf = 3,
                                .subBands = 10,
                                .qmfOffset = 7,
                                .filter = {2, 0, 0},
                                .width = {8, 2, 2},
                                .merged = {6, 2, 2},
                                .parMap = kParMap20,
                                .centre = kCentre20,
                                .centreDen = 8,
                                .decayCutoff = 10,
                                .allpassBands = 30,
                                .shortDelayBand = 42,
                                .negatedFrom = 0,
                                .negatedTo = 1};

// 34 bands: 12 bands from QMF band 0, 8 from band 1, 4 each from bands 2 to 4.
const HybridLayout kLayout34 = {.parBands = 34,
                                .ipdBands = 17,
                                .bands = 91,
                                .splitQmf = 5,
                                .subBands = 32,
                                .qmfOffset = 27,
                                .filter = {4, 3, 1, 1, 1},
                                .width = {12, 8, 4, 4, 4},
                                .merged = {12, 8, 4, 4, 4},
                                .parMap = kParMap34,
                                .centre = kCentre34,
                                .centreDen = 24,
                                .decayCutoff = 32,
                                .allpassBands = 50,
                                .shortDelayBand = 62,
                                .negatedFrom = 9,
                                .negatedTo = 11};

const int8_t kLinkDelay[kLinks] = {3, 4, 5};
const float kLinkFraction[kLinks] = {0.43f, 0.75f, 0.347f};
const float kLinkCoefficient[kLinks] = {0.65143905753106f, 0.56471812200776f, 0.48954165955695f};

} // namespace zemdec::ps
