// Layer III encoding primitives against the decoder's primitives they invert and against the
// standard's formulas in double precision: the float and fixed-point polyphase banks, the forward
// hybrid transform for every block type and transition, joint-stereo encoding, the reservoir's
// capacity, the quantiser and the psychoacoustic model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "support/mp3_model.hpp"
#include "support/seed.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "tables/mp3_window.hpp"
#include "zemac.h"
#include "zemcore_testing.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// The standard's analysis of one slot in double precision, X shifted by 32 per slot.
struct AnalysisModel {
    std::vector<double> x = std::vector<double>(512, 0.0);
    void slot(const int16_t* in, double* s) { // in: 32 new samples, oldest first
        std::copy_backward(x.begin(), x.end() - 32, x.end());
        for (int i = 0; i < 32; ++i)
            x[std::size_t(i)] = in[31 - i];
        double y[64] = {};
        for (int i = 0; i < 64; ++i)
            for (int j = 0; j < 8; ++j)
                y[i] += zem::mp3::kSynthesisWindow16[i + 64 * j] / 2097152.0 *
                        x[std::size_t(i + 64 * j)];
        for (int k = 0; k < 32; ++k) {
            s[k] = 0.0;
            for (int i = 0; i < 64; ++i)
                s[k] += std::cos((2 * k + 1) * (i - 16) * kPi / 64.0) * y[i];
        }
    }
};

// Float banks in caller memory `offset` bytes past a 16-byte boundary, or from InitAlloc (-1).
struct FloatBanks {
    alignas(16) uint8_t mem[2][2091 + 16];
    ZemMp3PqmfAnalysisSpec_32f* a = nullptr;
    ZemMp3PqmfSynthesisSpec_32f* s = nullptr;
    explicit FloatBanks(int offset) {
        if (offset < 0) {
            EXPECT_EQ(zemsAnalysisFilterInitAlloc_PQMF_MP3_32f(&a), zemStatusOk);
            EXPECT_EQ(zemsSynthesisFilterInitAlloc_PQMF_MP3_32f(&s), zemStatusOk);
        } else {
            EXPECT_EQ(zemsAnalysisFilterInit_PQMF_MP3_32f(&a, mem[0] + offset), zemStatusOk);
            EXPECT_EQ(zemsSynthesisFilterInit_PQMF_MP3_32f(&s, mem[1] + offset), zemStatusOk);
        }
    }
    ~FloatBanks() {
        EXPECT_EQ(zemsAnalysisFilterFree_PQMF_MP3_32f(a), zemStatusOk);
        EXPECT_EQ(zemsSynthesisFilterFree_PQMF_MP3_32f(s), zemStatusOk);
    }
};

// Both banks against the standard's analysis and synthesis in double precision, each reading
// channel 0 of an interleaved buffer, on tones and noise up to full scale.
// Float: sub-band and output samples within 2e-6 of full scale, and the round trip (481 samples
// late) as good as the model's (the prototype does not reconstruct perfectly); the states sit in
// caller memory at two alignments or come from InitAlloc, and Free releases exactly those.
// Fixed point: sub-band samples within a few units of the model (the 64 window sums are rounded
// to Q25, half a unit each, before the matrixing), and the decoder's synthesis returns the input
// exactly for moderate signals (the prototype's own error stays below half a unit there) and
// within 2 at full scale; silence analyses to zeros.
TEST(Mp3Pqmf, BanksFollowTheStandardAndRoundTrip) {
    std::mt19937 rng(zemtest::seed());
    std::normal_distribution<double> noise(0.0, 1000.0);
    const long blocks = zemcoreOutstandingBlocks();
    struct Signal {
        double amplitude, frequency; // frequency 0: noise
        int exact, offset;
    } signals[] = {{8000.0, 997.0, 0, 0},
                   {0.0, 0.0, 0, 3},
                   {32767.0, 5000.0, 2, -1},
                   {32767.0, 15000.0, 2, 7}};
    for (const Signal& sig : signals) {
        SCOPED_TRACE(testing::Message() << sig.amplitude << " " << sig.frequency);
        std::vector<int16_t> pcm(512 + 32 * 200, 0); // the signal from sample 512 on
        for (std::size_t i = 512; i < pcm.size(); ++i)
            pcm[i] = int16_t(std::clamp<long>(
                std::lround(sig.frequency > 0 ? sig.amplitude * std::sin(2 * kPi * sig.frequency *
                                                                         double(i) / 44100.0)
                                              : noise(rng)),
                -32768, 32767));
        FloatBanks banks(sig.offset);
        AnalysisModel am;
        zemtest::mp3model::Synthesis sm;
        std::vector<int32_t> v(512, 0);
        int32_t pos = 0, worst = 0;
        double worstFixed = 0.0, worstSub = 0.0, worstOut = 0.0, worstTrip = 0.0, modelTrip = 0.0;
        for (std::size_t t = 0; 512 + 32 * t < pcm.size(); ++t) {
            const int16_t* fresh = pcm.data() + 512 + 32 * t;
            double want[32], outWant[32];
            am.slot(fresh, want);
            sm.polyphase(want, outWant);
            std::vector<int16_t> window(1024, -12345); // the last 512 samples in channel 0
            float src[64], sub[32], out[64];
            for (int i = 0; i < 32; ++i) {
                src[2 * i] = float(fresh[i]);
                src[2 * i + 1] = 1e30f;
            }
            for (std::size_t i = 0; i < 512; ++i)
                window[2 * i] = pcm[32 * t + 32 + i];
            int32_t fixedSub[32];
            int16_t fixedOut[32];
            ASSERT_EQ(zemsAnalysisFilter_PQMF_MP3_32f(src, sub, banks.a, 2), zemStatusOk);
            std::fill(out, out + 64, -7.0f);
            ASSERT_EQ(zemsSynthesisFilter_PQMF_MP3_32f(sub, out, banks.s, 2), zemStatusOk);
            ASSERT_EQ(zemsAnalysisPQMF_MP3_16s32s(window.data(), fixedSub, 2), zemStatusOk);
            ASSERT_EQ(zemsSynthPQMF_MP3_32s16s(fixedSub, fixedOut, v.data(), &pos, 1), zemStatusOk);
            for (int k = 0; k < 32; ++k) { // Q24 is 2^9 per 16-bit unit
                worstSub = std::max(worstSub, std::abs(sub[k] - want[k] / 32768.0));
                worstFixed = std::max(worstFixed, std::abs(fixedSub[k] - want[k] * 512.0));
            }
            for (int j = 0; j < 32; ++j) {
                ASSERT_EQ(out[2 * j + 1], -7.0f);
                worstOut = std::max(worstOut, std::abs(out[2 * j] - outWant[j] / 32768.0));
                const long n = long(32 * t) + j - 481; // output sample n is input sample n
                if (n < 0)
                    continue;
                const double in = pcm[512 + std::size_t(n)];
                worstTrip = std::max(worstTrip, std::abs(out[2 * j] - in / 32768.0));
                modelTrip = std::max(modelTrip, std::abs(outWant[j] - in) / 32768.0);
                worst = std::max(worst, std::abs(fixedOut[j] - int(in)));
            }
        }
        EXPECT_LT(worstSub, 2e-6);
        EXPECT_LT(worstOut, 2e-6);
        EXPECT_LT(modelTrip, 1e-4);
        EXPECT_LT(worstTrip, modelTrip + 4e-6);
        EXPECT_LE(worstFixed, 6.0);
        EXPECT_LE(worst, sig.exact);
    }
    EXPECT_EQ(zemcoreOutstandingBlocks(), blocks);
    int32_t sub[32];
    const std::vector<int16_t> silence(512, 0);
    ASSERT_EQ(zemsAnalysisPQMF_MP3_16s32s(silence.data(), sub, 1), zemStatusOk);
    EXPECT_TRUE(std::all_of(sub, sub + 32, [](int32_t x) { return x == 0; }));
}

// The documented float state: 2091 bytes, a 16-byte header at the first 16-byte boundary (tag,
// position 15 stepping back one per call, allocated 0, the history's address or offset), then a
// cleared history of 512 floats and nothing written past it.
TEST(Mp3Pqmf, FloatStateLayout) {
    int32_t size = 0;
    ASSERT_EQ(zemsAnalysisFilterGetSize_PQMF_MP3_32f(&size), zemStatusOk);
    EXPECT_EQ(size, 2091);
    ASSERT_EQ(zemsSynthesisFilterGetSize_PQMF_MP3_32f(&size), zemStatusOk);
    EXPECT_EQ(size, 2091);
    alignas(16) uint8_t mem[2091 + 16];
    std::memset(mem, 0x55, sizeof mem);
    ZemMp3PqmfSynthesisSpec_32f* s = nullptr;
    ASSERT_EQ(zemsSynthesisFilterInit_PQMF_MP3_32f(&s, mem + 3), zemStatusOk);
    ASSERT_EQ(reinterpret_cast<uint8_t*>(s), mem + 16);
    uint32_t header[4];
    std::memcpy(header, mem + 16, 16);
    EXPECT_EQ(header[0], 0x434D4167u);
    EXPECT_EQ(header[1], 15u);
    EXPECT_EQ(header[2], 0u);
    EXPECT_EQ(header[3],
              sizeof(void*) == 4 ? uint32_t(reinterpret_cast<uintptr_t>(mem + 32)) : 16u);
    EXPECT_TRUE(std::all_of(mem + 32, mem + 32 + 2048, [](uint8_t b) { return b == 0; }));
    EXPECT_EQ(mem[32 + 2048], 0x55);
    float sub[32] = {1.0f}, pcm[32];
    ASSERT_EQ(zemsSynthesisFilter_PQMF_MP3_32f(sub, pcm, s, 1), zemStatusOk);
    std::memcpy(header, mem + 16, 16);
    EXPECT_EQ(header[1], 14u);
}

// The forward hybrid transform, then the decoder's inverse: each granule comes back one granule
// later, through every block type and the transitions between them; silence after silence gives
// zero lines. Mixed blocks take the normal window in sub-bands 0 and 1, which does not overlap
// the start and stop windows without loss: there those two sub-bands are left out; a run of
// mixed blocks returns them too.
TEST(Mp3MdctForward, DecoderInverseReturnsTheSubbandSamples) {
    std::mt19937 rng(zemtest::seed());
    struct Run {
        std::vector<int> types;
        int mixed, firstSubband;
    } runs[] = {{{0, 0, 1, 2, 2, 3, 0, 1, 2, 3, 1, 2, 3, 0}, 0, 0},
                {{0, 0, 1, 2, 2, 3, 0, 1, 2, 3, 1, 2, 3, 0}, 1, 2},
                {{2, 2, 2, 2}, 1, 0}};
    for (int row : {3, 0})
        for (const Run& run : runs) {
            ZemMp3HeaderRec h{};
            h.id = row / 3;
            h.sampling_frequency = row % 3;
            std::vector<int32_t> previous(576, 0), overlap(576, 0), last(576, 0);
            int32_t prevCount = 0, worst = 0;
            for (std::size_t g = 0; g < run.types.size(); ++g) {
                std::vector<int32_t> sub(576, 0), spec(576, 1), y(576);
                for (int32_t& s : sub)
                    s = g == 0 ? 0 : int32_t(rng() % 2000001) - 1000000;
                const int type = run.types[g], mix = type == 2 ? run.mixed : 0;
                ASSERT_EQ(
                    zemsMDCTFwd_MP3_32s(sub.data(), spec.data(), type, mix, &h, previous.data()),
                    zemStatusOk);
                ASSERT_EQ(previous, sub);
                if (g == 0) { // silence after silence
                    ASSERT_EQ(spec, sub);
                }
                if (type == 2)
                    zemtest::mp3model::to_subband_order(spec.data(), zem::mp3::kSfbShort[row],
                                                        mix ? 3 : 0);
                ASSERT_EQ(zemsMDCTInv_MP3_32s(spec.data(), y.data(), overlap.data(), 576,
                                              &prevCount, type, mix),
                          zemStatusOk);
                for (int i = 0; g > 0 && i < 576; ++i)
                    if (i % 32 >= run.firstSubband)
                        worst = std::max(worst, std::abs(y[std::size_t(i)] - last[std::size_t(i)]));
                last = sub;
            }
            EXPECT_LE(worst, 2) << "row " << row << " mixed " << run.mixed;
        }
}

struct Stereo {
    std::vector<int32_t> l = std::vector<int32_t>(576, 0), r = std::vector<int32_t>(576, 0);
    uint8_t pos[39];
    int32_t start[3] = {0, 0, 0};
    ZemMp3HeaderRec h{};
    ZemMp3GranuleRec g[2] = {};
    Stereo(int modeExtension, int blockType) {
        h.id = 1;
        h.mode = 1;
        h.mode_extension = modeExtension;
        g[0].block_type = g[1].block_type = blockType;
        std::memset(pos, 0xEE, sizeof pos);
    }
    ZemStatus run() {
        return zemsJointStereoEncode_MP3_32s_I(l.data(), r.data(), pos, &h, g, start);
    }
};

TEST(Mp3JointStereoEncode, MidSideAndTheDecoderSideInverse) {
    Stereo s(2, 0);
    std::mt19937 rng(zemtest::seed());
    for (int i = 0; i < 576; ++i) {
        s.l[std::size_t(i)] = int32_t(rng() % 2000001) - 1000000;
        s.r[std::size_t(i)] = i < 8 ? s.l[std::size_t(i)] : int32_t(rng() % 2000001) - 1000000;
    }
    const std::vector<int32_t> l0 = s.l, r0 = s.r;
    ASSERT_EQ(s.run(), zemStatusOk);
    EXPECT_EQ(s.start[0], 22);
    for (std::size_t i = 0; i < 576; ++i) {
        if (i < 8) { // L = R = x: M = x sqrt(2), S = 0
            EXPECT_NEAR(s.l[i], l0[i] * std::sqrt(2.0), 1.0);
            EXPECT_EQ(s.r[i], 0);
        }
        EXPECT_NEAR((s.l[i] + double(s.r[i])) / std::sqrt(2.0), l0[i], 2.0) << i;
        EXPECT_NEAR((s.l[i] - double(s.r[i])) / std::sqrt(2.0), r0[i], 2.0) << i;
    }
    // Another mode: nothing changes but the start record.
    Stereo plain(3, 2);
    plain.h.mode = 0;
    plain.l[5] = 9;
    ASSERT_EQ(plain.run(), zemStatusOk);
    EXPECT_EQ(plain.l[5], 9);
    EXPECT_EQ(plain.start[0], 13);
    EXPECT_EQ(plain.start[2], 13);
    EXPECT_EQ(plain.pos[0], 0xEE);
    // M/S with different block types is refused before anything is written.
    Stereo bad(2, 0);
    bad.g[1].block_type = 2;
    bad.start[0] = 5;
    EXPECT_EQ(bad.run(), zemStatusMp3BadSideInfo);
    EXPECT_EQ(bad.start[0], 5);
}

TEST(Mp3JointStereoEncode, IntensityPositionsAndDownMix) {
    // Long blocks from band 20 (44.1 kHz: lines 342..417, then 418..575).
    Stereo s(1, 0);
    s.start[0] = 20;
    for (int i = 342; i < 418; ++i) {
        s.l[std::size_t(i)] = 1000 + i;
        s.r[std::size_t(i)] = -(1000 + i); // equal energies: position 3
    }
    s.l[418] = 5;
    s.r[418] = -7; // band 21: -12 and 0
    s.l[0] = 77;   // below the region: untouched, no M/S
    ASSERT_EQ(s.run(), zemStatusOk);
    EXPECT_EQ(s.pos[20], 3);
    EXPECT_EQ(s.l[342], -(2 * 1342)); // a tie takes the right one's sign
    EXPECT_EQ(s.l[418], -12);
    EXPECT_EQ(s.r[418], 0);
    EXPECT_EQ(s.l[0], 77);
    EXPECT_EQ(s.pos[19], 0xEE);
    // Silent right channel: position 6, left values unchanged. Short blocks, window 1 from band
    // 11 (44.1 kHz short bands 11 and 12: lines 3 * 136 + 1 * 38 ...).
    Stereo t(1, 2);
    t.start[0] = t.start[1] = t.start[2] = 13;
    t.start[1] = 12;
    const int16_t* b = zem::mp3::kSfbShort[3];
    const int width = b[13] - b[12], from = 3 * b[12] + width;
    for (int k = 0; k < width; ++k)
        t.l[std::size_t(from + k)] = -3 - k;
    ASSERT_EQ(t.run(), zemStatusOk);
    EXPECT_EQ(t.pos[3 * 12 + 1], 6);
    EXPECT_EQ(t.pos[3 * 12 + 0], 0xEE);
    EXPECT_EQ(t.l[std::size_t(from + 2)], -5);
    // Each threshold decides: a ratio just below and just above 2^15 tan^2((2p+1) pi/24).
    for (int p = 0; p < 6; ++p) {
        const double threshold = 32768.0 * std::pow(std::tan((2 * p + 1) * kPi / 24), 2);
        for (const double f : {0.99, 1.01}) {
            Stereo u(1, 0);
            u.start[0] = 21;
            for (int i = 418; i < 576; ++i) {
                u.l[std::size_t(i)] = int32_t(std::lround(1000.0 * std::sqrt(f * threshold)));
                u.r[std::size_t(i)] = int32_t(std::lround(1000.0 * std::sqrt(32768.0)));
            }
            ASSERT_EQ(u.run(), zemStatusOk);
            EXPECT_EQ(u.pos[21], f < 1 ? p : p + 1) << p << " " << f;
        }
    }
}

TEST(Mp3BitReservoir, CapacityFromTheFrameSize) {
    struct Case {
        int rate, index, capacity;
    } cases[] = {{0, 9, 4088}, {1, 14, 0}, {2, 14, 0}, {0, 13, 1000}, {0, 0, 4088}, {2, 1, 4088}};
    for (const Case& c : cases) {
        ZemMp3HeaderRec h{};
        h.id = 1;
        h.sampling_frequency = c.rate;
        h.bitrate_index = c.index;
        ZemMp3ReservoirRec r{123, 456};
        ASSERT_EQ(zemsBitReservoirInit_MP3(&r, &h), zemStatusOk);
        EXPECT_EQ(r.bitsInReservoir, 0);
        EXPECT_EQ(r.maxReservoirBits, c.capacity) << c.rate << " " << c.index;
    }
}

// One granule through the quantiser and the real bit-stream primitives: scale factors and
// Huffman codes packed, unpacked and requantised by the decoder's exports.
struct Quantised {
    ZemMp3HeaderRec h{};
    ZemMp3GranuleRec g{};
    std::vector<int32_t> x;
    int8_t sf[39];
    int32_t count1Len = 0, hufSize = 0;
    std::vector<uint8_t> work = std::vector<uint8_t>(ZEM_MP3_QUANTIZE_WORK_BYTES);
    Quantised(const std::vector<int32_t>& spectrum, int blockType) : x(spectrum) {
        h.id = 1;
        h.layer = 1;
        h.mode = 3;
        g.block_type = blockType;
        g.window_switching_flag = blockType != 0;
    }
    ZemStatus run(const std::vector<float>& ratio, int32_t maxBits, const uint8_t* isPos = nullptr,
                  const int32_t* isStart = nullptr) {
        return zemsQuantize_MP3_32s_I(x.data(), sf, &g, &count1Len, &hufSize, ratio.data(), isPos,
                                      isStart, &h, maxBits, work.data());
    }
    // Packs, unpacks and requantises; returns the bits written and fills the decoded values.
    int round_trip(std::vector<int32_t>& requantised) {
        std::vector<uint8_t> stream(2048, 0);
        uint8_t* p = stream.data();
        int32_t bit = 0, scfsi[4] = {};
        EXPECT_EQ(zemsPackScaleFactors_MP3_8s1u(sf, &p, &bit, &h, &g, scfsi, 0, 0), zemStatusOk);
        EXPECT_EQ(zemsHuffmanEncode_MP3_32s1u(x.data(), &p, &bit, &h, &g, count1Len, hufSize),
                  zemStatusOk);
        const int written = int(p - stream.data()) * 8 + bit;
        p = stream.data();
        bit = 0;
        int8_t sf2[39];
        ZemMp3GranuleRec g2 = g;
        EXPECT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &bit, sf2, &g2, scfsi, &h, 0, 0),
                  zemStatusOk);
        EXPECT_TRUE(std::equal(sf, sf + (g.block_type == 2 ? 36 : 21), sf2));
        requantised.assign(1152, 0);
        int32_t bound[2] = {0, 0};
        EXPECT_EQ(
            zemsHuffmanDecode_MP3_1u32s(&p, &bit, requantised.data(), bound, &g2, &h, hufSize),
            zemStatusOk);
        EXPECT_TRUE(std::equal(x.begin(), x.end(), requantised.begin()));
        ZemMp3GranuleRec side[2] = {g2, g2};
        int32_t workBuf[576];
        EXPECT_EQ(zemsReQuantize_MP3_32s_I(requantised.data(), bound, sf2, side, &h, workBuf),
                  zemStatusOk);
        return written;
    }
};

std::vector<int32_t> music_spectrum(uint32_t seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> n(0.0, 1.0);
    std::vector<int32_t> x(576);
    for (int i = 0; i < 576; ++i) // falling with frequency, a few tonal peaks
        x[std::size_t(i)] = int32_t(n(rng) * 4e6 / (1.0 + i / 20.0) * (i % 37 == 5 ? 20.0 : 1.0));
    return x;
}

// Noise and energy of lines [from, to) of x against the decoder's reconstruction y, Q26 back to
// the standard's scale (sub-band order is line order for long blocks).
std::pair<double, double> noise_and_energy(const std::vector<int32_t>& x,
                                           const std::vector<int32_t>& y, int from, int to) {
    double noise = 0.0, energy = 0.0;
    for (std::size_t i = std::size_t(from); i < std::size_t(to); ++i) {
        noise += std::pow((x[i] - y[i]) / 67108864.0, 2);
        energy += std::pow(x[i] / 67108864.0, 2);
    }
    return {noise, energy};
}

// The quantiser's reconstruction is the decoder's: values, bits and scale factors survive the
// bit stream, part2_3_length counts exactly the bits written, and the budget holds at every size.
// With room enough every long band's noise stays within the allowed ratio of its energy.
TEST(Mp3Quantize, CodesWhatTheDecoderReadsWithinTheBudgetAndTheNoise) {
    struct Case {
        int blockType, budget;
        float ratio;
    } const cases[] = {{0, 0, 1e-2f},    {0, 60, 1e-2f},   {0, 300, 1e-2f}, {0, 1200, 1e-2f},
                       {0, 4095, 1e-2f}, {0, 4095, 1e-3f}, {2, 0, 1e-2f},   {2, 60, 1e-2f},
                       {2, 300, 1e-2f},  {2, 1200, 1e-2f}, {2, 4095, 1e-2f}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.blockType << " " << c.budget << " " << c.ratio);
        const std::vector<int32_t> x = music_spectrum(zemtest::seed() + uint32_t(c.budget));
        Quantised q(x, c.blockType);
        ASSERT_EQ(q.run(std::vector<float>(39, c.ratio), c.budget), zemStatusOk);
        EXPECT_LE(q.g.part2_3_length, c.budget);
        std::vector<int32_t> y;
        EXPECT_EQ(q.round_trip(y), q.g.part2_3_length);
        const int16_t* edges = zem::mp3::kSfbLong[3];
        for (int b = 0; c.blockType == 0 && c.budget == 4095 && b < 21; ++b) {
            const auto [noise, energy] = noise_and_energy(x, y, edges[b], edges[b + 1]);
            EXPECT_LE(noise, 1.001 * c.ratio * energy + 1e-12) << "band " << b;
        }
    }
}

// Upper bands far below the lower ones need more amplification than their 3-bit factors hold
// even in coarse steps: the pre-emphasis is switched on, and the decoder reads what was meant;
// its noise in the emphasised bands is what the pre-emphasis made room for.
TEST(Mp3Quantize, PreEmphasisWhenTheUpperBandsNeedIt) {
    std::vector<int32_t> x = music_spectrum(zemtest::seed());
    for (int i = 110; i < 418; ++i) // long bands 13-20 at 44.1 kHz, 60 dB down
        x[std::size_t(i)] /= 1000;
    Quantised q(x, 0);
    ASSERT_EQ(q.run(std::vector<float>(39, 0.01f), 2500), zemStatusOk);
    EXPECT_EQ(q.g.preflag, 1);
    EXPECT_EQ(q.g.scalefac_scale, 1);
    std::vector<int32_t> y;
    EXPECT_EQ(q.round_trip(y), q.g.part2_3_length);
    const auto [noise, energy] = noise_and_energy(x, y, 110, 418);
    EXPECT_LT(noise, 0.1 * energy);
}

// Under intensity stereo the right channel's intensity bands carry their positions, and bands
// below the start that quantise to nothing carry 7.
TEST(Mp3Quantize, IntensityPositionsAsScaleFactors) {
    std::vector<int32_t> right(576, 0);
    for (int i = 0; i < 30; ++i) // long bands 0-6 at 44.1 kHz: lines 0..29 carry sound
        right[std::size_t(i)] = 3000000 * (i % 3 == 0 ? 1 : -1);
    Quantised q(right, 0);
    uint8_t pos[22];
    for (int b = 0; b < 22; ++b)
        pos[b] = uint8_t(b % 7);
    const int32_t start[3] = {12, 0, 0};
    const std::vector<float> ratio(39, 0.01f);
    ASSERT_EQ(q.run(ratio, 2000, pos, start), zemStatusOk);
    for (int b = 12; b < 21; ++b)
        EXPECT_EQ(q.sf[b], b % 7) << b;
    for (int b = 7; b < 12; ++b)
        EXPECT_EQ(q.sf[b], 7) << b;
    EXPECT_NE(q.sf[0], 7);
    std::vector<int32_t> y;
    EXPECT_EQ(q.round_trip(y), q.g.part2_3_length);
}

struct Model {
    std::unique_ptr<ZemMp3PsyStateRec> state = std::make_unique<ZemMp3PsyStateRec>();
    std::vector<uint8_t> work = std::vector<uint8_t>(ZEM_MP3_PSY_WORK_BYTES);
    ZemMp3HeaderRec h{};
    Model() {
        *state = {};
        h.id = 1;
    }
    ZemMp3PsyResultRec run(const int16_t* window) {
        ZemMp3PsyResultRec r{};
        EXPECT_EQ(zemsPsychoacousticModelTwo_MP3_16s(window, 1, &h, state.get(), &r, work.data()),
                  zemStatusOk);
        return r;
    }
    // Granules 0 .. count - 1 of x in turn; the last one's result.
    ZemMp3PsyResultRec run(const std::vector<int16_t>& x, int count) {
        ZemMp3PsyResultRec r{};
        for (int g = 0; g < count; ++g)
            r = run(x.data() + 576 * g);
        return r;
    }
};

std::vector<int16_t> granules_of(int count, const std::function<double(int)>& sample) {
    std::vector<int16_t> x(std::size_t(576 * count + 1024));
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = int16_t(std::clamp(std::lround(sample(int(i))), -32768L, 32767L));
    return x;
}

// A steady tone masks far less than noise of the same energy in its band (tonality from the
// two previous spectra), its masking falls off with distance, silence leaves only the
// threshold in quiet, and a click after silence, and only that granule, is an attack.
TEST(Mp3PsychoacousticModel, TonalityMaskingQuietAndAttacks) {
    std::mt19937 rng(zemtest::seed());
    std::normal_distribution<double> n(0.0, 1.0);
    // 1 kHz: MDCT line 26, long band 6 at 44.1 kHz.
    const auto tone =
        granules_of(6, [&](int i) { return 8000 * std::sin(2 * kPi * 1000.0 * i / 44100); });
    const ZemMp3PsyResultRec t = Model().run(tone, 6);
    const ZemMp3PsyResultRec z = Model().run(granules_of(6, [&](int) { return 2000 * n(rng); }), 6);
    EXPECT_GT(t.energyLong[6], 1e3 * t.energyLong[15]);
    EXPECT_LT(t.ratioLong[6], 0.2 * z.ratioLong[6]);
    EXPECT_GT(t.allowedLong[7], 10.0 * t.allowedLong[12]); // masking spreads to the neighbours
    for (int u = 6; u < 33; ++u) // short bands 2-10: noise masks 6 dB below its energy
        EXPECT_NEAR(z.ratioShort[u], 0.25, 0.01) << u;
    EXPECT_EQ(t.attack + z.attack, 0);

    Model ms;
    const auto click =
        granules_of(8, [](int i) { return i >= 576 * 5 + 600 && i < 576 * 5 + 620 ? 20000 : 0; });
    for (int g = 0; g < 8; ++g) {
        const ZemMp3PsyResultRec r = ms.run(click.data() + 576 * g);
        if (g < 4) {
            EXPECT_EQ(r.pe, 0.0f);
            EXPECT_EQ(r.ratioLong[10], 0.0f);
            EXPECT_GT(r.allowedLong[10], 0.0f); // the threshold in quiet
        }
        EXPECT_EQ(r.attack, g == 5 ? 1 : 0) << g;
    }
}

// The state may be copied or moved between calls: the copy carries on as the original does.
TEST(Mp3PsychoacousticModel, CopiedStateCarriesOn) {
    const auto x =
        granules_of(5, [](int i) { return 6000 * std::sin(0.05 * i) + 3000 * std::sin(0.31 * i); });
    Model a;
    a.h.sampling_frequency = 1;
    a.run(x, 3);
    Model b;
    b.h = a.h;
    *b.state = *a.state;
    const ZemMp3PsyResultRec ra = a.run(x.data() + 576 * 3), rb = b.run(x.data() + 576 * 3);
    EXPECT_EQ(std::memcmp(&ra, &rb, sizeof ra), 0);
}

} // namespace
