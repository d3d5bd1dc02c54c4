// Noiseless decoding: round trips of synthesised channel streams through both decoders, the
// codebook trees, and every failure status on crafted streams.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "aac/huffman_tree.hpp"
#include "support/aac_ics_writer.hpp"
#include "support/seed.hpp"
#include "tables/aac_swb.hpp"
#include "zemac.h"

namespace {

using zemtest::AacChannel;
using zemtest::BitBuilder;

struct Outputs {
    ZemAacIcsRec ics{};
    ZemAacChanRec chan{};
    ZemAacLayerMainRec main{};
    int16_t sf[8 * 51] = {};
    int32_t coef[1024] = {};
    uint8_t sfbCb[8 * 51] = {};
    int8_t tnsCoef[64] = {};
    Outputs(int sfIndex) {
        chan.sampling_frequency_index = sfIndex;
        chan.pIcsOfChan = &ics;
    }
};

// Runs a decoder on the stream in an exactly sized buffer (3 readable bytes after the data) and
// returns its status; consumed receives the bits the cursor moved.
enum class Which { Lc, General };

ZemStatus run(Which which, const BitBuilder& b, Outputs& o, long& consumed, int startBit = 0) {
    std::vector<uint8_t> bytes = b.bytes(3);
    uint8_t* p = bytes.data();
    int32_t pos = startBit;
    const ZemStatus st =
        which == Which::Lc
            ? zemsNoiselessDecoder_LC_AAC(&p, &pos, 0, &o.chan, o.sf, o.coef, o.sfbCb, o.tnsCoef)
            : zemsNoiselessDecode_AAC(&p, &pos, &o.main, o.sf, o.coef, o.sfbCb, o.tnsCoef, &o.chan,
                                      0, 0, 0, 0, 2);
    consumed = long(p - bytes.data()) * 8 + pos - startBit;
    return st;
}

std::vector<int32_t> with_pulses(const AacChannel& ch) {
    std::vector<int32_t> c = ch.coef;
    if (!ch.pulsesPresent)
        return c;
    int k = zem::aac::swb_long(ch.sfIndex).offset[ch.pulses.startBand];
    for (std::size_t i = 0; i < ch.pulses.offset.size(); ++i) {
        k += ch.pulses.offset[i];
        if (k < 1024)
            c[std::size_t(k)] = c[std::size_t(k)] > 0 ? c[std::size_t(k)] + ch.pulses.amplitude[i]
                                                      : c[std::size_t(k)] - ch.pulses.amplitude[i];
    }
    return c;
}

bool pulses_reach_past_frame(const AacChannel& ch) {
    if (!ch.pulsesPresent)
        return false;
    int k = zem::aac::swb_long(ch.sfIndex).offset[ch.pulses.startBand];
    for (int off : ch.pulses.offset)
        k += off;
    return k >= 1024;
}

void expect_decoded(const AacChannel& ch, const Outputs& o, long consumed, long written) {
    ASSERT_EQ(consumed, written);
    EXPECT_EQ(o.chan.global_gain, ch.globalGain);
    EXPECT_EQ(o.chan.frame_length, ch.windowSequence == 2 ? 128 : 1024);
    const std::vector<int> groups = zemtest::aac_group_lengths(ch);
    ASSERT_EQ(o.ics.num_window_groups, int(groups.size()));
    int section = 0;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        ASSERT_EQ(o.chan.num_sec[g], int(ch.sections[g].size()));
        int end = 0;
        for (const zemtest::AacSection& s : ch.sections[g]) {
            end += s.length;
            EXPECT_EQ(o.chan.sect_cb[section], s.cb);
            EXPECT_EQ(o.chan.sect_end[section], end);
            ++section;
        }
    }
    for (std::size_t i = 0; i < ch.sf.size(); ++i)
        ASSERT_EQ(o.sf[i], ch.sf[i]) << "band " << i;
    const std::vector<int32_t> want = with_pulses(ch);
    for (int i = 0; i < 1024; ++i)
        ASSERT_EQ(o.coef[i], want[std::size_t(i)]) << "value " << i;
    EXPECT_EQ(o.chan.pulse_data_present, ch.pulsesPresent);
    EXPECT_EQ(o.chan.tns_data_present, ch.tnsPresent);
    if (!ch.tnsPresent)
        return;
    int filter = 0, coef = 0;
    for (std::size_t w = 0; w < ch.tns.size(); ++w) {
        EXPECT_EQ(o.chan.n_filt[w], int(ch.tns[w].size()));
        for (const zemtest::AacTnsFilter& f : ch.tns[w]) {
            EXPECT_EQ(o.chan.length[filter], f.length);
            EXPECT_EQ(o.chan.order[filter], f.order);
            ++filter;
            for (int c : f.coef)
                EXPECT_EQ(o.tnsCoef[coef++], c);
        }
    }
}

void round_trips(Which which, const std::vector<int>& books, int iterations) {
    std::mt19937 rng(zemtest::seed());
    for (int it = 0; it < iterations; ++it) {
        const int sfIndex = int(rng() % 12);
        const bool eightShort = rng() % 3 == 0;
        const AacChannel ch = zemtest::random_aac_channel(rng, sfIndex, eightShort, books, true);
        if (pulses_reach_past_frame(ch))
            continue;
        BitBuilder b;
        zemtest::write_aac_channel(b, ch);
        Outputs o(sfIndex);
        long consumed = 0;
        ASSERT_EQ(run(which, b, o, consumed), zemStatusOk) << "iteration " << it;
        expect_decoded(ch, o, consumed, long(b.bit_count()));
        if (testing::Test::HasFailure())
            return;
    }
}

TEST(AacNoiseless, LowComplexityRoundTrips) {
    round_trips(Which::Lc, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 11, 14, 15}, 400);
}

TEST(AacNoiseless, GeneralRoundTripsWithNoiseAndIntensity) {
    round_trips(Which::General, {0, 1, 4, 7, 10, 11, 13, 13, 14, 15}, 400);
}

// Every codeword of every codebook walks its tree, and decodes through the first-level table,
// to the leaf of its own index in exactly its length.
TEST(AacNoiseless, TreesDecodeEveryCodeword) {
    using namespace zem;
    using namespace zem::aac;
    for (int i = 0; i < 121; ++i) {
        int bits = 0;
        const uint32_t leaf =
            walk_tree(kSfTree.node, kSfCodes[i].code << (32 - kSfCodes[i].length), bits);
        EXPECT_EQ(bits, kSfCodes[i].length);
        EXPECT_EQ(int(leaf >> 1), i);
        int fastBits = 0;
        const uint32_t window =
            kSfCodes[i].code << (32 - kSfCodes[i].length) | (0xFFFFFFFFu >> kSfCodes[i].length);
        EXPECT_EQ(decode_codeword(kSfDecoder.first, kSfTree.node, window, fastBits), leaf);
        EXPECT_EQ(fastBits, bits);
    }
    const HuffCode* books[12] = {nullptr,         kSpectralCodes1,  kSpectralCodes2,
                                 kSpectralCodes3, kSpectralCodes4,  kSpectralCodes5,
                                 kSpectralCodes6, kSpectralCodes7,  kSpectralCodes8,
                                 kSpectralCodes9, kSpectralCodes10, kSpectralCodes11};
    const int sizes[12] = {0, 81, 81, 81, 81, 81, 81, 64, 64, 169, 169, 289};
    for (int cb = 1; cb <= 11; ++cb)
        for (int i = 0; i < sizes[cb]; ++i) {
            const HuffCode c = books[cb][i];
            int bits = 0;
            const uint32_t leaf = walk_tree(spectral_tree(cb), c.code << (32 - c.length), bits);
            EXPECT_EQ(bits, c.length) << "book " << cb << " index " << i;
            int fastBits = 0;
            const uint32_t window = c.code << (32 - c.length) | (0x5A5A5A5Au >> c.length);
            EXPECT_EQ(
                decode_codeword(spectral_decoder(cb).first, spectral_tree(cb), window, fastBits),
                leaf);
            EXPECT_EQ(fastBits, bits);
            const SpectralBook& book = kSpectralBooks[cb];
            const int width = book.dim == 4 ? 3 : 6;
            int index = 0;
            for (int j = 0; j < book.dim; ++j) {
                const int field = int((leaf >> (2 + width * j)) & ((1u << width) - 1));
                const int v = field >= (1 << (width - 1)) ? field - (1 << width) : field;
                index = index * book.radix + v + book.offset;
            }
            EXPECT_EQ(index, i) << "book " << cb;
        }
}

// A long channel with one section of the given codebook over the first `bands` bands, its
// scale factors all equal to the global gain.
BitBuilder one_section(int cb, int bands, int maxSfb = -1) {
    BitBuilder b;
    b.put(100, 8).put(0, 1).put(0, 2).put(0, 1).put(maxSfb < 0 ? bands : maxSfb, 6).put(0, 1);
    b.put(cb, 4).put(bands, 5);
    return b;
}

TEST(AacNoiseless, StreamFailures) {
    Outputs o(4);
    long used = 0;
    { // codebook 13 is refused by the low-complexity decoder while decoding scale factors
        BitBuilder b = one_section(13, 2);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadCodebook);
        EXPECT_EQ(used, 8 + 11 + 9);
    }
    { // codebook 12 in either
        BitBuilder b = one_section(12, 2);
        EXPECT_EQ(run(Which::General, b, o, used), zemStatusAacBadCodebook);
    }
    { // sections beyond max_sfb: nothing written for the offending section's bands
        BitBuilder b = one_section(1, 9, 8);
        std::memset(o.sfbCb, 0xEE, sizeof o.sfbCb);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadSectionData);
        EXPECT_EQ(o.sfbCb[0], 0xEE);
    }
    { // an escaped section length: 31 then 0 makes 31 bands
        BitBuilder b;
        b.put(100, 8).put(0, 1).put(0, 2).put(0, 1).put(31, 6).put(0, 1).put(0, 4).put(31, 5).put(
            0, 5);
        b.put(0, 3); // no pulse, TNS, gain control
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusOk);
        EXPECT_EQ(o.chan.sect_end[0], 31);
        EXPECT_EQ(used, long(b.bit_count()));
    }
    { // scale factor leaving 0..255
        BitBuilder b;
        b.put(250, 8).put(0, 1).put(0, 2).put(0, 1).put(1, 6).put(0, 1).put(1, 4).put(1, 5);
        zemtest::write_aac_sf_difference(b, 10);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadScaleFactor);
        EXPECT_EQ(used, long(b.bit_count()));
    }
    { // max_sfb above the band count of the rate (LC), and 52 in the ICS info
        BitBuilder b = one_section(1, 50);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadMaxSfb);
        BitBuilder c;
        c.put(100, 8).put(0, 1).put(0, 2).put(0, 1).put(52, 6);
        EXPECT_EQ(run(Which::General, c, o, used), zemStatusAacBadMaxSfb);
        EXPECT_EQ(used, 18);
    }
}

// Pulse data, gain control, TNS order and escape failures after valid section data.
TEST(AacNoiseless, TailFailures) {
    Outputs o(4);
    long used = 0;
    auto zero_band = [] {
        BitBuilder b;
        b.put(100, 8).put(0, 1).put(0, 2).put(0, 1).put(1, 6).put(0, 1).put(0, 4).put(1, 5);
        return b;
    };
    {
        BitBuilder b = zero_band();
        b.put(1, 1).put(0, 2).put(52, 6);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadPulseData);
        EXPECT_EQ(used, long(b.bit_count()));
    }
    {
        BitBuilder b = zero_band();
        b.put(1, 1).put(0, 2).put(49, 6).put(3, 5).put(1, 4);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadPulseData);
        EXPECT_EQ(used, long(b.bit_count()));
    }
    { // pulses at band 48 (offset 928) walking past 1023
        BitBuilder b = zero_band();
        b.put(1, 1).put(3, 2).put(48, 6);
        for (int i = 0; i < 4; ++i)
            b.put(31, 5).put(2, 4);
        b.put(0, 2);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadPulseData);
        EXPECT_EQ(o.coef[928 + 31], -2); // a pulse on a zero value subtracts
        EXPECT_EQ(o.coef[928 + 62], -2);
        EXPECT_EQ(o.coef[928 + 93], -2);
    }
    {
        BitBuilder b = zero_band();
        b.put(0, 1).put(0, 1).put(1, 1);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacGainControlUnsupported);
    }
    {
        BitBuilder b = zero_band();
        b.put(0, 1).put(1, 1).put(1, 2).put(0, 1).put(10, 6).put(13, 5);
        EXPECT_EQ(run(Which::Lc, b, o, used), zemStatusAacBadTnsOrder);
        EXPECT_EQ(used, long(b.bit_count()));
    }
    for (int ones : {8, 9}) { // codebook 11 escape with eight (N = 12) and nine prefix ones
        BitBuilder b;
        b.put(100, 8).put(0, 1).put(0, 2).put(0, 1).put(1, 6).put(0, 1).put(11, 4).put(1, 5);
        zemtest::write_aac_sf_difference(b, 0);
        b.put(0, 3);
        const zem::HuffCode esc = zem::aac::kSpectralCodes11[16 * 17]; // (16, 0)
        b.put(esc.code, esc.length).put(1, 1).put((1u << ones) - 1, ones);
        if (ones == 8)
            b.put(0, 1).put(4095, 12);
        Outputs p(4);
        EXPECT_EQ(run(Which::Lc, b, p, used),
                  ones == 8 ? zemStatusOk : zemStatusAacBadSpectralValue);
        if (ones == 8) {
            EXPECT_EQ(p.coef[0], -8191);
        }
    }
}

TEST(AacNoiseless, ArgumentChecksInOrder) {
    Outputs o(4);
    uint8_t data[8] = {};
    uint8_t* p = data;
    int32_t pos = 0;
    EXPECT_EQ(zemsNoiselessDecoder_LC_AAC(&p, &pos, 0, &o.chan, o.sf, o.coef, o.sfbCb, nullptr),
              zemStatusNullPointer);
    o.chan.pIcsOfChan = nullptr;
    EXPECT_EQ(zemsNoiselessDecoder_LC_AAC(&p, &pos, 5, &o.chan, o.sf, o.coef, o.sfbCb, o.tnsCoef),
              zemStatusNullPointer);
    o.chan.pIcsOfChan = &o.ics;
    pos = 8;
    EXPECT_EQ(zemsNoiselessDecoder_LC_AAC(&p, &pos, 5, &o.chan, o.sf, o.coef, o.sfbCb, o.tnsCoef),
              zemStatusAacBadBitOffset);
    pos = 0;
    EXPECT_EQ(zemsNoiselessDecoder_LC_AAC(&p, &pos, 5, &o.chan, o.sf, o.coef, o.sfbCb, o.tnsCoef),
              zemStatusAacBadCommonWindow);
    o.chan.sampling_frequency_index = 12;
    EXPECT_EQ(zemsNoiselessDecoder_LC_AAC(&p, &pos, 0, &o.chan, o.sf, o.coef, o.sfbCb, o.tnsCoef),
              zemStatusAacBadSampleRateIndex);
    o.chan.sampling_frequency_index = 4;
    o.chan.predSfbLimit = 1;
    EXPECT_EQ(zemsNoiselessDecoder_LC_AAC(&p, &pos, 0, &o.chan, o.sf, o.coef, o.sfbCb, o.tnsCoef),
              zemStatusAacBadPredictionLimit);
    EXPECT_EQ(p, data);

    auto general = [&](int ws, int maxSfb, int cw, int hs, int ot) {
        return zemsNoiselessDecode_AAC(&p, &pos, &o.main, o.sf, o.coef, o.sfbCb, o.tnsCoef, &o.chan,
                                       ws, maxSfb, cw, hs, ot);
    };
    EXPECT_EQ(general(0, 0, 2, 0, 2), zemStatusAacBadCommonWindow);
    EXPECT_EQ(general(4, 0, 0, 0, 2), zemStatusAacBadWindowSequence);
    EXPECT_EQ(general(0, 0, 0, 2, 2), zemStatusAacBadHeaderSourceFlag);
    EXPECT_EQ(general(0, 0, 0, 0, 17), zemStatusAacBadObjectType);
    EXPECT_EQ(general(0, 52, 0, 0, 2), zemStatusAacBadMaxSfb);
    EXPECT_EQ(zemsNoiselessDecode_AAC(&p, &pos, nullptr, o.sf, o.coef, o.sfbCb, o.tnsCoef, &o.chan,
                                      0, 0, 0, 0, 2),
              zemStatusNullPointer);
    EXPECT_EQ(p, data);
}

// The general decoder with the window information given by the caller (scalable layers): no
// ICS info, pulse, TNS or gain-control bits, and a section beyond the band table fails with -2.
TEST(AacNoiseless, HeaderFromCaller) {
    Outputs o(0); // 96 kHz: 41 long bands
    o.main.num_window_groups = 1;
    o.main.window_group_length[0] = 1;
    o.chan.pulse_data_present = 77;
    BitBuilder b;
    b.put(100, 8).put(0, 4).put(30, 5).put(0, 4).put(12, 5);
    uint8_t* p = nullptr;
    std::vector<uint8_t> bytes = b.bytes(3);
    p = bytes.data();
    int32_t pos = 0;
    EXPECT_EQ(zemsNoiselessDecode_AAC(&p, &pos, &o.main, o.sf, o.coef, o.sfbCb, o.tnsCoef, &o.chan,
                                      0, 42, 0, 1, 2),
              zemStatusFailed);
    EXPECT_EQ(o.chan.pulse_data_present, 77);
    b = BitBuilder();
    b.put(100, 8).put(0, 4).put(30, 5).put(0, 4).put(10, 5);
    bytes = b.bytes(3);
    p = bytes.data();
    pos = 0;
    EXPECT_EQ(zemsNoiselessDecode_AAC(&p, &pos, &o.main, o.sf, o.coef, o.sfbCb, o.tnsCoef, &o.chan,
                                      0, 40, 0, 1, 2),
              zemStatusOk);
    EXPECT_EQ((p - bytes.data()) * 8 + pos, long(b.bit_count()));
}

} // namespace
