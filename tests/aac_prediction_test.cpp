// AAC frequency-domain prediction: the encoder and the decoder in lock-step over thousands of
// frames (the decoder returns the encoder's input and both states stay identical to the bit),
// the 16-bit state, resets by group and by band, and Free.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "aac/fdp.hpp"
#include "support/seed.hpp"
#include "zemac.h"

namespace {

constexpr int kLines = 1024;

struct Predictor {
    std::vector<uint8_t> mem;
    ZemFdpState_32f* s = nullptr;
    Predictor() {
        int32_t size = 0;
        EXPECT_EQ(zemsFDPGetSize_32f(kLines, &size), zemStatusOk);
        EXPECT_EQ(size, 6 * 4096 + 96);
        mem.resize(std::size_t(size) + 64);
        auto* at = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(mem.data()) + 31) &
                                              ~uintptr_t(31));
        EXPECT_EQ(zemsFDPInit_32f(&s, kLines, at), zemStatusOk);
    }
    // The six arrays as stored (from byte 64).
    std::vector<uint32_t> state() const {
        const auto* base =
            reinterpret_cast<const uint32_t*>(reinterpret_cast<const uint8_t*>(s) + 64);
        return std::vector<uint32_t>(base, base + 6 * kLines);
    }
};

std::vector<int32_t> bands() { // 44.1 kHz long bands, scaled to every 16 lines for brevity
    std::vector<int32_t> b;
    for (int i = 0; i <= kLines; i += 16)
        b.push_back(i);
    return b;
}

// The decoder reconstructs x = residual + prediction in the flagged bands; an encoder fed those
// same values keeps the same state, to the bit, and gives back the residual (to rounding).
TEST(AacPrediction, EncoderAndDecoderInLockStep) {
    std::mt19937 rng(zemtest::seed());
    std::normal_distribution<float> noise(0.0f, 1.0f);
    Predictor enc, dec;
    const std::vector<int32_t> b = bands();
    const int numBands = int(b.size()) - 1;
    alignas(16) float x[kLines], residual[kLines], sent[kLines];
    std::vector<float> phase(kLines);
    for (float& p : phase)
        p = noise(rng);
    for (int frame = 0; frame < 2000; ++frame) {
        std::vector<uint8_t> flags(static_cast<std::size_t>(numBands));
        for (uint8_t& f : flags)
            f = uint8_t(rng() % 4 != 0);
        // What arrives: a slowly turning tone per line, less what the decoder predicts, so that
        // the reconstruction is that tone (plus noise); unflagged bands carry it as it is.
        for (int i = 0; i < kLines; ++i)
            sent[i] =
                1000.0f * std::sin(0.3f * float(frame) * float(1 + i % 7) + phase[std::size_t(i)]) +
                10.0f * noise(rng);
        std::memcpy(x, sent, sizeof x);
        ASSERT_EQ(zemsFDPInv_32f_I(x, b.data(), numBands, flags.data(), dec.s), zemStatusOk);
        ASSERT_EQ(zemsFDPFwd_32f(x, residual, enc.s), zemStatusOk);
        ASSERT_EQ(enc.state(), dec.state()) << "frame " << frame;
        for (uint32_t v : dec.state())
            ASSERT_EQ(v & 0xFFFFu, 0u); // 16 significant bits
        for (int bb = 0; bb < numBands; ++bb)
            for (int i = b[std::size_t(bb)]; flags[std::size_t(bb)] && i < b[std::size_t(bb) + 1];
                 ++i)
                ASSERT_NEAR(residual[i], sent[i], 1e-3f * (1.0f + std::fabs(x[i]))) << frame;
        if (frame % 30 == 7) { // a reset group on both sides
            ASSERT_EQ(zemsFDPResetGroup_32f(30, frame % 30, enc.s), zemStatusOk);
            ASSERT_EQ(zemsFDPResetGroup_32f(30, frame % 30, dec.s), zemStatusOk);
        }
    }
}

// A steady tone on every line is predicted: once the predictors have learnt it, the residual
// of the encoder is far smaller than the signal.
TEST(AacPrediction, SteadyTonesArePredicted) {
    Predictor enc;
    alignas(16) float x[kLines], residual[kLines];
    double energy = 0.0, left = 0.0;
    for (int frame = 0; frame < 200; ++frame) {
        for (int i = 0; i < kLines; ++i)
            x[i] = 1000.0f * std::cos(0.2f * float(frame) * float(1 + i % 5));
        ASSERT_EQ(zemsFDPFwd_32f(x, residual, enc.s), zemStatusOk);
        for (int i = 0; frame >= 100 && i < kLines; ++i) {
            energy += double(x[i]) * x[i];
            left += double(residual[i]) * residual[i];
        }
    }
    EXPECT_LT(left, 0.1 * energy);
}

TEST(AacPrediction, ResetsAndFirstFrames) {
    Predictor p, q;
    const std::vector<int32_t> b = bands();
    alignas(16) float x[kLines + 4];
    for (int i = 0; i < kLines + 4; ++i)
        x[i] = float(i % 13) - 6.0f;
    // Right after a reset the prediction is 0: the decoder passes its input through, aligned or
    // not (then with the warning and the same values).
    std::vector<uint8_t> all(b.size() - 1, 1);
    alignas(16) float y[kLines + 4];
    std::memcpy(y, x, sizeof y);
    ASSERT_EQ(zemsFDPInv_32f_I(y, b.data(), int(all.size()), all.data(), p.s), zemStatusOk);
    EXPECT_EQ(std::memcmp(y, x, kLines * 4), 0);
    std::memcpy(y, x, sizeof y);
    ASSERT_EQ(zemsFDPInv_32f_I(y + 1, b.data(), int(all.size()), all.data(), q.s),
              zemWarnMisaligned);
    EXPECT_EQ(std::memcmp(y + 1, x + 1, kLines * 4), 0);

    // A reset group touches exactly the lines start, start + step, ...
    const std::vector<uint32_t> before = p.state();
    ASSERT_EQ(zemsFDPResetGroup_32f(30, 4, p.s), zemStatusOk);
    const std::vector<uint32_t> after = p.state();
    for (int a = 0; a < 6; ++a)
        for (int i = 0; i < kLines; ++i) {
            const uint32_t want = i % 30 != 4        ? before[std::size_t(a * kLines + i)]
                                  : a == 2 || a == 3 ? 0x3F800000u // variances 1.0
                                                     : 0u;
            ASSERT_EQ(after[std::size_t(a * kLines + i)], want) << a << " " << i;
        }
    EXPECT_EQ(zemsFDPResetGroup_32f(30, kLines, p.s), zemStatusOk);
    EXPECT_EQ(p.state(), after);
    // By band: only the flagged bands.
    std::vector<uint8_t> flags(b.size() - 1, 0);
    flags[2] = 1;
    ASSERT_EQ(zemsFDPResetSfb_32f(b.data(), int(flags.size()), flags.data(), q.s), zemStatusOk);
    const std::vector<uint32_t> r = q.state();
    for (int i = 32; i < 48; ++i) // band 2: lines 32..47, variances back to 1.0
        EXPECT_EQ(r[std::size_t(2 * kLines + i)], 0x3F800000u) << i;
    ASSERT_EQ(zemsFDPReset_32f(q.s), zemStatusOk);
    EXPECT_EQ(q.state(), Predictor().state());
    // Free of caller memory clears the tag: the record is no longer one.
    EXPECT_EQ(zemsFDPFree_32f(q.s), zemStatusOk);
    EXPECT_EQ(zemsFDPFree_32f(q.s), zemStatusContextMismatch);
}

// The SSE2 predictor against the scalar one: both sides, ranges that do not start or end on a
// multiple of four, predicted and not, with NaN, infinities and huge values among the inputs.
TEST(AacPrediction, Sse2RunsTheScalarPredictorToTheBit) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> d(-3000.0f, 3000.0f);
    Predictor a, b;
    for (int frame = 0; frame < 200; ++frame) {
        std::vector<float> x(kLines), y, outA(kLines), outB(kLines);
        for (float& v : x)
            v = d(rng);
        if (frame == 150) {
            x[5] = std::numeric_limits<float>::quiet_NaN();
            x[9] = -std::numeric_limits<float>::infinity();
            x[13] = 3e38f;
        }
        y = x;
        const int begin = frame % 7, end = kLines - frame % 5;
        const bool predict = frame % 3 != 0;
        if (frame % 2) {
            zem::aac::kFdpScalar.run(*a.s, begin, end, x.data(), nullptr, predict);
            zem::aac::kFdpSse2.run(*b.s, begin, end, y.data(), nullptr, predict);
            ASSERT_EQ(0, std::memcmp(x.data(), y.data(), x.size() * sizeof(float))) << frame;
        } else {
            zem::aac::kFdpScalar.run(*a.s, begin, end, x.data(), outA.data(), false);
            zem::aac::kFdpSse2.run(*b.s, begin, end, y.data(), outB.data(), false);
            ASSERT_EQ(0, std::memcmp(outA.data(), outB.data(), outA.size() * sizeof(float)))
                << frame;
        }
        ASSERT_EQ(a.state(), b.state()) << frame;
    }
}

} // namespace
