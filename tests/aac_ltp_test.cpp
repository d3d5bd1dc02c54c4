// AAC long-term prediction: the predicted signal's lags, coefficient and windows, the
// reconstruction's bands, and a history that the filter bank's own PCM confirms frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "support/seed.hpp"
#include "zemac.h"

namespace {

int32_t scaled(int32_t v, int16_t c) { return int32_t(uint32_t(uint64_t((int64_t(v) * c) >> 14))); }

TEST(AacLtp, PredictionLagsCoefficientAndWindows) {
    std::vector<int32_t> history(3072), pred(2048, 7);
    for (int i = 0; i < 3072; ++i)
        history[std::size_t(i)] = (i * 7919) % 200001 - 100000;
    // Long frames over the whole 32-bit range, for lags that leave any remainder of four and
    // coefficients at both ends of the 16-bit range (a negative one is read as signed Q14).
    std::vector<int32_t> wide(3072);
    std::mt19937 rng(zemtest::seed());
    for (auto& v : wide)
        v = int32_t(rng());
    wide[2048] = INT32_MIN;
    wide[2049] = INT32_MAX;
    ZemAacLtpRec ltp{};
    for (const int16_t coef : {int16_t(-11222), int16_t(-32768), int16_t(32767)}) {
        ltp.ltp_coef = uint16_t(coef);
        for (int lag : {0, 500, 1023, 2046, 2047}) {
            ltp.ltp_lag = lag;
            ASSERT_EQ(zemsLongTermPredict_AAC_32s(wide.data(), pred.data(), &ltp, 0), zemStatusOk);
            const int count = std::min(lag + 1024, 2048);
            for (int i = 0; i < 2048; ++i)
                ASSERT_EQ(pred[std::size_t(i)],
                          i < count ? scaled(wide[std::size_t(2048 - lag + i)], coef) : 0)
                    << coef << " " << lag << " " << i;
        }
    }
    ltp.ltp_coef = uint16_t(int16_t(-11222));
    // Eight short windows: only the flagged ones, a negative lag zeroing the samples past the
    // history's end.
    std::fill(pred.begin(), pred.end(), 7);
    ltp.ltp_short_used[1] = ltp.ltp_short_used[6] = 1;
    ltp.ltp_window_lag[1] = 100;
    ltp.ltp_window_lag[6] = -40;
    ASSERT_EQ(zemsLongTermPredict_AAC_32s(history.data(), pred.data(), &ltp, 2), zemStatusOk);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(pred[std::size_t(i)], 7);
        EXPECT_EQ(pred[std::size_t(256 + i)], scaled(history[std::size_t(2716 + i)], -11222));
        EXPECT_EQ(pred[std::size_t(1536 + i)],
                  i < 216 ? scaled(history[std::size_t(2856 + i)], -11222) : 0);
    }
    const std::vector<int32_t> zero(3072, 0);
    ltp.ltp_lag = 1234;
    ASSERT_EQ(zemsLongTermPredict_AAC_32s(zero.data(), pred.data(), &ltp, 1), zemStatusOk);
    EXPECT_TRUE(std::all_of(pred.begin(), pred.end(), [](int32_t v) { return v == 0; }));
}

TEST(AacLtp, ReconstructionAddsTheFlaggedBands) {
    std::vector<int32_t> est(1024, 3), spec(1024, 10);
    std::vector<int32_t> flags(41, 0);
    ASSERT_EQ(zemsLongTermReconstruct_AAC_32s(est.data(), spec.data(), flags.data(), 0, 4),
              zemStatusOk);
    EXPECT_TRUE(std::all_of(spec.begin(), spec.end(), [](int32_t v) { return v == 10; }));
    flags[1 + 2] = 1; // band 2 at 44.1 kHz: lines 8..11
    ASSERT_EQ(zemsLongTermReconstruct_AAC_32s(est.data(), spec.data(), flags.data(), 3, 4),
              zemStatusOk);
    for (int k = 0; k < 1024; ++k)
        ASSERT_EQ(spec[std::size_t(k)], k >= 8 && k < 12 ? 13 : 10) << k;
    std::vector<int32_t> windows(8, 0);
    windows[5] = 1; // window 5, its first 8 short bands (lines 0..43 at 44.1 kHz)
    ASSERT_EQ(zemsLongTermReconstruct_AAC_32s(est.data(), spec.data(), windows.data(), 2, 4),
              zemStatusOk);
    EXPECT_EQ(spec[640], 13);
    EXPECT_EQ(spec[640 + 43], 13);
    EXPECT_EQ(spec[640 + 44], 10);
    EXPECT_EQ(spec[639], 10);
}

// The history's newest full frame is the filter bank's output at 8 times the PCM scale: rounded
// and saturated as the 16-bit filter bank does, it is that bank's PCM, frame after frame,
// through every window sequence and shape change.
TEST(AacLtp, HistoryFollowsTheFilterBank) {
    std::mt19937 rng(zemtest::seed());
    std::vector<int32_t> history(3072, 0), work(6144), overlap(1024, 0);
    const int sequences[] = {0, 0, 1, 2, 2, 3, 0, 1, 2, 3, 0};
    int prevShape = 0;
    for (int f = 0; f < int(std::size(sequences)); ++f) {
        const int seq = sequences[f], shape = int(rng() % 2);
        std::vector<int32_t> spec(1024);
        for (int32_t& v : spec)
            v = int32_t(rng() % 400001) - 200000;
        std::vector<int32_t> forBank = spec;
        std::vector<int16_t> pcm(1024);
        ASSERT_EQ(zemsMDCTInv_AAC_32s16s(forBank.data(), pcm.data(), overlap.data(), seq, shape,
                                         prevShape, 1),
                  zemStatusOk);
        ASSERT_EQ(
            zemsLtpUpdate_AAC_32s(spec.data(), history.data(), seq, shape, prevShape, work.data()),
            zemStatusOk);
        for (int n = 0; n < 1024; ++n) {
            const int64_t v = (int64_t(history[std::size_t(1024 + n)]) + 4) >> 3;
            ASSERT_EQ(int16_t(std::clamp<int64_t>(v, -32768, 32767)), pcm[std::size_t(n)])
                << "frame " << f << " sample " << n;
        }
        for (int n = 2624; seq == 2 && n < 3072; ++n)
            ASSERT_EQ(history[std::size_t(n)], 0);
        prevShape = shape;
    }
}

} // namespace
