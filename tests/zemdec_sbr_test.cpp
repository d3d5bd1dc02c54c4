// The caller-side SBR decoder of zemdec: band tables, damaged payloads (the parser's output on
// valid ones is compared with FFmpeg's decoding by the syntax conformance streams), and the
// dequantisation of envelopes and noise floors.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sbr_bitstream.hpp"
#include "sbr_channel.hpp"
#include "support/sbr_writer.hpp"

namespace {

using namespace zemdec;
using zemtest::SbrFrameSpec;

std::vector<int> table(const uint8_t* f, int n) { return std::vector<int>(f, f + n + 1); }

SbrHeader header(int start, int stop, int xover, int scale, int alter, int noise) {
    return {0, start, stop, xover, scale, alter, noise};
}

// Worked through by hand from the band-table formulas.
TEST(ZemdecSbr, BandTablesKnownAnswers) {
    SbrBands b;
    // 32 kHz SBR rate, start 14 (k0 29), stop 13 (k2 64), 12 bands per octave, one region.
    ASSERT_TRUE(derive_sbr_bands(header(14, 13, 0, 1, 1, 3), 16000, b));
    EXPECT_EQ(table(b.fMaster, b.nMaster),
              (std::vector<int>{29, 30, 32, 34, 36, 38, 40, 42, 45, 48, 51, 54, 57, 60, 64}));
    EXPECT_EQ(table(b.f[0], b.n[0]), (std::vector<int>{29, 32, 36, 40, 45, 51, 57, 64}));
    EXPECT_EQ(table(b.fNoise, b.nQ), (std::vector<int>{29, 36, 45, 64}));
    EXPECT_EQ(table(b.fLim, b.nLim), (std::vector<int>{29, 36, 45, 57, 64}));
    ASSERT_EQ(b.numPatches, 2);
    EXPECT_EQ(b.patchStart[0], 1);
    EXPECT_EQ(b.patchBands[0], 28);
    EXPECT_EQ(b.patchStart[1], 21);
    EXPECT_EQ(b.patchBands[1], 7);

    // 44.1 kHz, start 5 (k0 14), stop 9 (k2 47), linear bands of one (the odd band count
    // widens the last) and of two.
    ASSERT_TRUE(derive_sbr_bands(header(5, 9, 0, 0, 0, 2), 22050, b));
    std::vector<int> master;
    for (int k = 14; k <= 45; ++k)
        master.push_back(k);
    master.push_back(47);
    EXPECT_EQ(table(b.fMaster, b.nMaster), master);
    ASSERT_TRUE(derive_sbr_bands(header(5, 9, 2, 0, 1, 2), 22050, b));
    master.clear();
    for (int k = 14; k <= 44; k += 2)
        master.push_back(k);
    master.push_back(47);
    EXPECT_EQ(table(b.fMaster, b.nMaster), master);
    EXPECT_EQ(b.kx, 18); // two crossover bands up
    EXPECT_EQ(b.n[1], 14);
    EXPECT_EQ(b.n[0], 7);
}

// Every header choice at every rate either yields tables that hold together or is refused.
TEST(ZemdecSbr, BandTablesEveryHeaderChoice) {
    const int rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
    int accepted = 0, refused = 0;
    for (int rate : rates)
        for (int start = 0; start < 16; ++start)
            for (int stop = 0; stop < 16; ++stop)
                for (int scale = 0; scale < 4; ++scale)
                    for (int alter = 0; alter < 2; ++alter)
                        for (int xover = 0; xover < 8; xover += 3) {
                            SbrHeader h =
                                header(start, stop, xover, scale, alter, (start + stop) & 3);
                            h.limiterBands = (stop + scale) & 3;
                            SbrBands b;
                            if (!derive_sbr_bands(h, rate, b)) {
                                ++refused;
                                continue;
                            }
                            ++accepted;
                            SCOPED_TRACE(testing::Message()
                                         << rate << " " << start << " " << stop << " " << scale
                                         << " " << alter << " " << xover);
                            ASSERT_EQ(b.fMaster[0], b.k0);
                            ASSERT_EQ(b.fMaster[b.nMaster], b.k2);
                            for (int k = 0; k < b.nMaster; ++k)
                                ASSERT_LT(b.fMaster[k], b.fMaster[k + 1]);
                            ASSERT_LE(b.kx, 32);
                            ASSERT_LE(b.kx + b.m, 64);
                            ASSERT_EQ(b.f[1][0], b.kx);
                            ASSERT_EQ(b.f[0][0], b.kx);
                            ASSERT_EQ(b.f[0][b.n[0]], b.kx + b.m);
                            ASSERT_EQ(b.fNoise[b.nQ], b.kx + b.m);
                            ASSERT_GE(b.nQ, 1);
                            ASSERT_LE(b.nQ, 5);
                            for (int k = 0; k < b.nQ; ++k) // more noise bands than low bands
                                ASSERT_LE(b.fNoise[k], b.fNoise[k + 1]); // leave some empty
                            // The patches tile the high band from sources below k0 (a last patch
                            // narrower than three bands is dropped).
                            int next = b.kx;
                            for (int p = 0; p < b.numPatches; ++p) {
                                ASSERT_GT(b.patchBands[p], 0);
                                ASSERT_LE(b.patchStart[p] + b.patchBands[p], b.k0);
                                next += b.patchBands[p];
                            }
                            ASSERT_LE(next, b.kx + b.m);
                            ASSERT_GE(next, b.kx + b.m - 2);
                            ASSERT_EQ(b.fLim[0], b.kx);
                            ASSERT_EQ(b.fLim[b.nLim], b.kx + b.m);
                            for (int k = 0; k < b.nLim; ++k)
                                ASSERT_LT(b.fLim[k], b.fLim[k + 1]);
                        }
    EXPECT_GT(accepted, 10000);
    EXPECT_GT(refused, 1000); // stop below start, k2 - k0 too wide, crossover past the table
}

// Mono payloads at 22.05 kHz, written and parsed.
struct MonoPayload {
    SbrHeader h = header(5, 9, 1, 2, 0, 2);
    SbrBands bands;
    zemtest::SbrWriterState writer[1];
    SbrChannelData parsed[1];

    MonoPayload() { EXPECT_TRUE(derive_sbr_bands(h, 22050, bands)); }

    // A FIXVAR (trailing relative borders 2, 4, 6) or FIXFIX grid of these resolutions, with
    // time and frequency deltas, both noise envelopes and sinusoids.
    SbrFrameSpec spec(int frameClass, const std::vector<int>& freqRes) const {
        SbrFrameSpec s;
        s.frameClass = frameClass;
        s.freqRes = freqRes;
        const int n = int(freqRes.size());
        s.fixEnvelopes = n;
        for (int i = 0; frameClass == 1 && i < n - 1; ++i)
            s.rel1.push_back(2 + 2 * (i % 3));
        s.pointer = frameClass == 1 ? 3 : 0;
        for (int l = 0; l < n; ++l) {
            s.dfEnv.push_back(l & 1);
            s.env.emplace_back(std::size_t(bands.n[freqRes[std::size_t(l)]]), 20 + l);
        }
        s.dfNoise = {0, 1};
        s.dfNoise.resize(n > 1 ? 2 : 1);
        s.noise.assign(s.dfNoise.size(), std::vector<int>(std::size_t(bands.nQ), 6));
        s.invf.assign(std::size_t(bands.nQ), 2);
        s.harmonics = true;
        s.addHarmonic.assign(std::size_t(bands.n[1]), 1);
        return s;
    }

    // False when the parser refuses the frame (with `extension` bytes of extended data, the
    // last `truncateBits` bits cut off).
    bool parse(const SbrFrameSpec& s, bool withHeader, int extension, int truncateBits = 0) {
        zemtest::BitBuilder b;
        zemtest::write_sbr_payload(b, withHeader ? &h : nullptr, h.ampRes, bands, &s, 1, false,
                                   writer, extension);
        const std::vector<uint8_t> bytes = b.bytes(0);
        BitReader br(bytes.data(), int(b.bit_count() - std::size_t(truncateBits) + 7) / 8);
        SbrPayload payload;
        return read_sbr_header(br, false, payload) && payload.headerPresent == withHeader &&
               read_sbr_data(br, 1, h.ampRes, bands, parsed, payload) &&
               payload.extensionBits == 8 * extension;
    }
};

TEST(ZemdecSbr, DamagedPayloadsAreRefused) {
    MonoPayload p;
    SbrFrameSpec s = p.spec(1, {1, 0, 1});
    ASSERT_TRUE(p.parse(s, true, 2));
    for (int cut : {9, 30, 64}) {
        MonoPayload again;
        EXPECT_FALSE(again.parse(s, true, 0, cut)) << cut;
    }
    s = p.spec(1, {1, 0, 1, 1});
    s.pointer = 6; // beyond numEnv + 1, which three bits can say
    EXPECT_FALSE(p.parse(s, false, 0));
    s = p.spec(0, std::vector<int>(8, 1)); // FIXFIX allows four envelopes at most
    EXPECT_FALSE(p.parse(s, false, 0));
}

TEST(ZemdecSbr, DequantisationKnownAnswers) {
    SbrBands b;
    ASSERT_TRUE(derive_sbr_bands(header(5, 9, 1, 2, 0, 2), 22050, b));
    SbrChannelData d[2];
    d[0].numEnv = d[1].numEnv = 1;
    d[0].numNoise = d[1].numNoise = 1;
    d[0].freqRes[0] = d[1].freqRes[0] = 0;
    d[0].env[0][0] = 10;  // 1.5 dB steps: 64 * 2^(10/2)
    d[0].noise[0][0] = 6; // 2^(6 - 6)
    d[1].ampRes = 1;
    d[1].env[0][0] = 10; // 3 dB steps: 64 * 2^10
    d[1].noise[0][0] = 9;
    SbrLevels levels[2];
    dequantise_sbr(b, d, 2, false, levels);
    EXPECT_FLOAT_EQ(levels[0].env[0][0], 2048.0f);
    EXPECT_FLOAT_EQ(levels[0].noise[0][0], 1.0f);
    EXPECT_FLOAT_EQ(levels[1].env[0][0], 65536.0f);
    EXPECT_FLOAT_EQ(levels[1].noise[0][0], 0.125f);
    // Coupled, 3 dB steps: the balance at its centre (12) halves the pair's level per side; two
    // steps (6 dB) below it give the second channel four times the first.
    d[0].ampRes = 1;
    d[1].env[0][0] = 12;
    d[1].env[0][1] = 10;
    d[0].env[0][1] = 10;
    d[1].noise[0][0] = 12;
    dequantise_sbr(b, d, 2, true, levels);
    EXPECT_FLOAT_EQ(levels[0].env[0][0], 65536.0f);
    EXPECT_FLOAT_EQ(levels[1].env[0][0], 65536.0f);
    EXPECT_FLOAT_EQ(levels[0].env[0][1], 131072.0f * 0.2f);
    EXPECT_FLOAT_EQ(levels[1].env[0][1], 131072.0f * 0.8f);
    EXPECT_FLOAT_EQ(levels[0].noise[0][0], 1.0f);
    EXPECT_FLOAT_EQ(levels[1].noise[0][0], 1.0f);
    // 1.5 dB steps put the centre at 24.
    d[0].ampRes = 0;
    d[1].env[0][0] = 24;
    dequantise_sbr(b, d, 2, true, levels);
    EXPECT_FLOAT_EQ(levels[0].env[0][0], 2048.0f);
    EXPECT_FLOAT_EQ(levels[1].env[0][0], 2048.0f);
}

} // namespace

// Low power: a sinusoid at the border of two real QMF bands shows in both; the reflection
// coefficients of the library's bank and predictor must mark the upper band of that pair. (Its
// faint leakage leans the same way in every band, so bands of the same parity are marked too,
// never those of the other.)
TEST(ZemdecSbr, AliasingDegreesFindSinusoidsAtBandBorders) {
    int32_t size = 0;
    ASSERT_EQ(zemsAnalysisFilterGetSize_SBRLP_32s(&size), zemStatusOk);
    for (const double border : {5.0, 6.0, 11.0}) { // odd and even upper bands
        std::vector<uint8_t> mem(std::size_t(size), 0);
        ASSERT_EQ(zemsAnalysisFilterInit_SBRLP_32s(mem.data()), zemStatusOk);
        static int32_t rows[60][32];
        for (int l = 0; l < 60; ++l) {
            int32_t x[32];
            for (int n = 0; n < 32; ++n) // 0.05 of a band above the border
                x[n] = int32_t(1e8 * std::cos(M_PI * (border + 0.05) / 32.0 * (32 * l + n) + 0.3));
            zemsAnalysisFilter_SBRLP_32s(x, rows[l], 32,
                                         reinterpret_cast<ZemSbrAnalysisSpec_32s*>(mem.data()));
        }
        const int32_t* history[40];
        for (int i = 0; i < 40; ++i)
            history[i] = rows[20 + i];
        int32_t reflection[16];
        for (int k = 0; k < 16; ++k) {
            int32_t a0 = 0, a1 = 0;
            reflection[k] = 0;
            zemsPredictOneCoef_SBRLP_32s_D2L(history, &a0, &a1, &reflection[k], k, 38, 1);
        }
        float degree[16];
        zemdec::aliasing_degrees(reflection, 16, degree);
        EXPECT_EQ(degree[int(border)], 1.0f) << "border " << border;
        for (int k = (int(border) + 1) & 1; k < 16; k += 2)
            EXPECT_EQ(degree[k], 0.0f) << "border " << border << " band " << k;
    }
}

// Runs of aliasing bands end before a sinusoid band or after the last aliasing partner; inside a
// run the gains move to the common gain as far as the degree says, and the run keeps its energy.
TEST(ZemdecSbr, AliasingReductionKeepsEachRunsEnergy) {
    constexpr int m = 10;
    const float degree[m] = {0, 1, 1, 0, 0, 0.5f, 0, 1, 0, 0};
    const uint8_t sines[m] = {0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
    const float energy[m] = {4, 1, 9, 2, 5, 3, 7, 1, 6, 8};
    const float before[m] = {1, 2, 0.5f, 3, 1, 2, 1.5f, 0.25f, 2, 1};
    float gain[m];
    std::copy(before, before + m, gain);
    zemdec::reduce_aliasing(gain, energy, sines, degree, m);
    auto runEnergy = [&](const float* g, int lo, int hi) {
        double e = 0;
        for (int j = lo; j < hi; ++j)
            e += double(energy[j]) * g[j] * g[j];
        return e;
    };
    // Runs: bands 0-2 (partners up to band 2), 4-5 (band 6 holds a sinusoid), 6-7 is not a run
    // since band 6 has one; bands 3, 6, 7 (its partner is a sinusoid band), 8, 9 keep their gains.
    EXPECT_NEAR(runEnergy(gain, 0, 3), runEnergy(before, 0, 3), 1e-4);
    EXPECT_NEAR(runEnergy(gain, 4, 6), runEnergy(before, 4, 6), 1e-4);
    EXPECT_FLOAT_EQ(gain[1], gain[2]); // both fully aliased: one common gain
    EXPECT_NE(gain[0], before[0]);     // its partner above aliases fully
    for (const int j : {3, 6, 7, 8, 9})
        EXPECT_EQ(gain[j], before[j]) << j;
    EXPECT_NE(gain[4], before[4]);
}
