// Element parsers of the raw data block, and whole real frames through the general decoder.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/stream.hpp"
#include "zemac.h"

namespace {

using zemtest::BitBuilder;
using zemtest::Cursor;
using zemtest::filled;

// A pair without a common window reads one bit; with one, the eight-short ICS info and the M/S
// mask of every window group (flags alternating between groups).
TEST(AacElements, PairGroupingAndMsMask) {
    struct Case {
        int grouping; // -1: no common window
        std::vector<int> lengths;
    } const cases[] = {
        {-1, {}}, {0x7F, {8}}, {0x00, {1, 1, 1, 1, 1, 1, 1, 1}}, {0x35, {1, 3, 2, 2}}};
    for (const Case& k : cases) {
        BitBuilder b;
        if (k.grouping < 0)
            b.put(0, 1).put(0x7FFF, 15);
        else
            b.put(1, 1).put(0, 1).put(2, 2).put(1, 1).put(3, 4).put(k.grouping, 7).put(1, 2);
        for (std::size_t g = 0; g < k.lengths.size(); ++g)
            b.put(g & 1 ? 0b101 : 0b011, 3);
        Cursor c(b);
        ZemAacIcsRec ics = filled<ZemAacIcsRec>(0x11);
        ZemAacCpeRec cpe = filled<ZemAacCpeRec>(0x11);
        ASSERT_EQ(zemsDecodeChanPairElt_AAC(&c.p, &c.pos, &ics, &cpe, 0), zemStatusOk);
        EXPECT_EQ(cpe.common_window, k.grouping >= 0);
        if (k.grouping < 0) {
            EXPECT_EQ(c.used(), 1);
            EXPECT_EQ(cpe.ms_mask_present, 0x11111111);
            EXPECT_EQ(ics.window_sequence, 0x11111111);
            continue;
        }
        EXPECT_EQ(c.used(), long(b.bit_count()));
        ASSERT_EQ(ics.num_window_groups, int(k.lengths.size()));
        for (std::size_t g = 0; g < k.lengths.size(); ++g) {
            EXPECT_EQ(ics.window_group_length[g], k.lengths[g]);
            EXPECT_EQ(cpe.ms_used[g][0], g & 1 ? 1 : 0);
            EXPECT_EQ(cpe.ms_used[g][2], 1);
        }
        for (std::size_t g = k.lengths.size(); g < 8; ++g)
            EXPECT_EQ(ics.window_group_length[g], 0x11111111); // untouched
        EXPECT_EQ(ics.predictor_data_present, 0);
        EXPECT_EQ(ics.predictor_reset, 0x11111111); // untouched for eight-short
    }
}

TEST(AacElements, PredictionFlagsUpToTheLimit) {
    BitBuilder b;
    b.put(1, 1).put(0, 1).put(0, 2).put(0, 1).put(20, 6).put(1, 1).put(1, 1).put(17, 5);
    for (int i = 0; i < 20; ++i)
        b.put(i & 1, 1);
    b.put(0, 2);
    Cursor c(b);
    ZemAacIcsRec ics = filled<ZemAacIcsRec>(0x33);
    ZemAacCpeRec cpe{};
    ASSERT_EQ(zemsDecodeChanPairElt_AAC(&c.p, &c.pos, &ics, &cpe, 41), zemStatusOk);
    EXPECT_EQ(c.used(), long(b.bit_count()));
    EXPECT_EQ(ics.predictor_reset_group_number, 17);
    for (int i = 0; i < 41; ++i)
        EXPECT_EQ(ics.prediction_used[i], i < 20 ? i & 1 : 0) << i;
}

TEST(AacElements, Mp4PairWithLtpForBothChannels) {
    BitBuilder b;
    b.put(1, 1).put(0, 1).put(0, 2).put(0, 1).put(5, 6).put(1, 1);
    b.put(1, 1).put(1000, 11).put(7, 3).put(0b10110, 5); // channel 0: long LTP, 5 band flags
    b.put(0, 1);                                         // channel 1: none
    b.put(2, 2);
    Cursor c(b);
    ZemAacIcsRec ics;
    ZemAacCpeRec cpe{};
    ZemAacLayerMainRec main = filled<ZemAacLayerMainRec>(0x44);
    ASSERT_EQ(zemsDecodeChanPairElt_MP4_AAC(&c.p, &c.pos, &ics, &cpe, &main, 0, 2), zemStatusOk);
    EXPECT_EQ(c.used(), long(b.bit_count()));
    EXPECT_EQ(main.ltp[0].ltp_data_present, 1);
    EXPECT_EQ(main.ltp[0].ltp_lag, 1000);
    EXPECT_EQ(main.ltp[0].ltp_coef, 22438);
    const int flags[41] = {1, 1, 0, 1, 1, 0};
    for (int i = 0; i < 41; ++i)
        EXPECT_EQ(main.ltp[0].ltp_long_used[i], flags[i]) << i;
    EXPECT_EQ(main.ltp[1].ltp_data_present, 0);
    EXPECT_EQ(cpe.ms_mask_present, 2);
}

TEST(AacElements, DataStreamAndFill) {
    {
        BitBuilder b;
        b.put(0, 3).put(9, 4).put(1, 1).put(255, 8).put(255, 8).align();
        for (int i = 0; i < 510; ++i)
            b.put(i & 0xFF, 8);
        Cursor c(b, 3);
        int32_t tag = 0, count = 0;
        uint8_t data[510];
        ASSERT_EQ(zemsDecodeDatStrElt_AAC(&c.p, &c.pos, &tag, &count, data), zemStatusOk);
        EXPECT_EQ(tag, 9);
        EXPECT_EQ(count, 510);
        EXPECT_EQ(data[509], 509 & 0xFF);
        EXPECT_EQ(c.used(), long(b.bit_count()));
    }
    {
        BitBuilder b;
        b.put(15, 4).put(0, 8);
        for (int i = 0; i < 14; ++i)
            b.put(0xA0 + i, 8);
        Cursor c(b);
        int32_t count = 0;
        uint8_t data[269];
        ASSERT_EQ(zemsDecodeFillElt_AAC(&c.p, &c.pos, &count, data), zemStatusOk);
        EXPECT_EQ(count, 14);
        EXPECT_EQ(data[13], 0xAD);
        EXPECT_EQ(c.used(), long(b.bit_count()));
    }
}

// Main header of a scalable layer: eight-short LTP with windows 2 and 5 used, window 5 with a
// short lag of 20; the same fields with modeFlag 1, which then reports the mode.
TEST(AacElements, MainHeaderWithShortLtp) {
    BitBuilder b;
    b.put(2, 2).put(1, 1).put(4, 4).put(0x7F, 7).put(2, 2); // one group of 8; M/S all on
    for (int ch = 0; ch < 2; ++ch) {
        b.put(0, 1); // no TNS
        b.put(1, 1).put(600, 11).put(0, 3);
        for (int w = 0; w < 8; ++w) {
            b.put(w == 2 || w == 5, 1);
            if (w == 5)
                b.put(1, 1).put(20, 5);
        }
    }
    for (int mode : {0, 1}) {
        Cursor c(b);
        uint8_t ms[8 * 60] = {};
        ZemAacLayerMainRec m = filled<ZemAacLayerMainRec>(0x66);
        m.pMsUsed = ms;
        EXPECT_EQ(zemsDecodeMainHeader_AAC(&c.p, &c.pos, &m, 2, mode),
                  mode ? zemStatusModeUnsupported : zemStatusOk);
        EXPECT_EQ(c.used(), long(b.bit_count()));
        EXPECT_EQ(m.num_window_groups, 1);
        EXPECT_EQ(m.window_group_length[0], 8);
        EXPECT_EQ(ms[3], 1);
        EXPECT_EQ(ms[4], 0);
        for (int ch = 0; ch < 2; ++ch) {
            EXPECT_EQ(m.tns[ch].tns_data_present, 0);
            EXPECT_EQ(m.ltp[ch].ltp_coef, 9352);
            EXPECT_EQ(m.ltp[ch].ltp_window_lag[2], 600);
            EXPECT_EQ(m.ltp[ch].ltp_window_lag[5], 596);
            EXPECT_EQ(m.ltp[ch].ltp_short_lag_present[2], 0);
            EXPECT_EQ(m.ltp[ch].ltp_short_lag_present[5], 1);
            EXPECT_EQ(m.ltp[ch].ltp_short_used[3], 0);
        }
    }
}

TEST(AacElements, ExtensionHeader) {
    BitBuilder b;
    b.put(6, 4).put(1, 2);
    for (int g = 0; g < 4; ++g)
        for (int band = 2; band < 6; ++band)
            b.put((g + band) & 1, 1);
    b.put(1, 1).put(1, 1).put(1, 1).put(5, 4).put(2, 3).put(1, 1).put(0, 1).put(0b0111, 4).put(
        0b1000, 4);
    b.put(0, 7); // windows 1..7 without filters
    b.put(0, 1); // no TNS in the second channel
    Cursor c(b);
    uint8_t ms[4 * 60];
    std::memset(ms, 9, sizeof ms);
    ZemAacLayerExtRec x{};
    x.pMsUsed = ms;
    ASSERT_EQ(zemsDecodeExtensionHeader_AAC(&c.p, &c.pos, &x, 1, 1, 0, 2, 10, 2), zemStatusOk);
    EXPECT_EQ(c.used(), long(b.bit_count()));
    EXPECT_EQ(x.max_sfb, 6);
    EXPECT_EQ(ms[0], 9);
    EXPECT_EQ(ms[3 * 60 + 2], 1);
    EXPECT_EQ(x.tns[0].n_filt[0], 1);
    EXPECT_EQ(x.tns[0].length[0], 5);
    EXPECT_EQ(x.tns[0].coef[0], 7);
    EXPECT_EQ(x.tns[0].coef[1], -8);
}

// Real frames of an FFmpeg AAC-LC stream (noise substitution, intensity and M/S on, short
// windows): every element parses and the raw data block ends exactly at the frame's end.
void parse_every_frame(const char* name, bool lowComplexity) {
    std::vector<uint8_t> file = zemtest::read_file(std::string("aac/") + name);
    ASSERT_FALSE(file.empty()) << name;
    file.resize(file.size() + 3, 0);
    std::size_t at = 0;
    int frames = 0;
    int codebooks[16] = {};
    int eightShort = 0, tnsChannels = 0;
    while (at + 7 < file.size() - 3) {
        uint8_t* p = file.data() + at;
        ZemAacAdtsRec h;
        ASSERT_EQ(zemsUnpackADTSFrameHeader_AAC(&p, &h), zemStatusOk);
        const uint8_t* end = file.data() + at + h.aac_frame_length;
        int32_t pos = 0;
        auto skip = [&](int bits) {
            pos += bits;
            p += pos >> 3;
            pos &= 7;
        };
        for (;;) {
            const int id = int(zemtest::bits_at(p, std::size_t(pos), 3));
            skip(3);
            if (id == 7)
                break;
            if (id == 0 || id == 1 || id == 3) {
                skip(4); // instance tag
                ZemAacIcsRec ics{};
                ZemAacCpeRec cpe{};
                int channels = 1, common = 0;
                if (id == 1) {
                    ASSERT_EQ(zemsDecodeChanPairElt_AAC(&p, &pos, &ics, &cpe, 0), zemStatusOk);
                    channels = 2;
                    common = cpe.common_window;
                }
                for (int c = 0; c < channels; ++c) {
                    ZemAacChanRec chan{};
                    ZemAacLayerMainRec main{};
                    chan.sampling_frequency_index = h.sampling_frequency_index;
                    chan.pIcsOfChan = &ics;
                    int16_t sf[8 * 51];
                    int32_t coef[1024];
                    uint8_t cb[8 * 51];
                    int8_t tns[64];
                    const ZemStatus st =
                        lowComplexity ? zemsNoiselessDecoder_LC_AAC(&p, &pos, common, &chan, sf,
                                                                    coef, cb, tns)
                                      : zemsNoiselessDecode_AAC(&p, &pos, &main, sf, coef, cb, tns,
                                                                &chan, 0, 0, common, 0, 2);
                    ASSERT_EQ(st, zemStatusOk) << name << " frame " << frames;
                    eightShort += ics.window_sequence == 2;
                    tnsChannels += chan.tns_data_present;
                    for (int i = 0; i < ics.num_window_groups * ics.max_sfb; ++i)
                        ++codebooks[cb[i]];
                }
            } else if (id == 6) {
                int32_t count;
                uint8_t data[269];
                ASSERT_EQ(zemsDecodeFillElt_AAC(&p, &pos, &count, data), zemStatusOk);
            } else {
                FAIL() << name << ": unexpected element " << id << " in frame " << frames;
            }
        }
        skip((8 - pos) & 7);
        ASSERT_EQ(p, end) << name << " frame " << frames;
        at += std::size_t(h.aac_frame_length);
        ++frames;
    }
    EXPECT_GT(frames, 10);
    EXPECT_GT(eightShort, 0) << name << ": the clicks force short windows";
    EXPECT_GT(tnsChannels, 0) << name;
    if (!lowComplexity) { // the stream uses noise and intensity codebooks
        EXPECT_GT(codebooks[13], 0);
        EXPECT_GT(codebooks[14] + codebooks[15], 0);
    }
}

TEST(AacElements, RealFramesConsumeExactlyTheirBits) {
    parse_every_frame("stereo_44100.aac", false);
    parse_every_frame("stereo_32000.aac", false);
    parse_every_frame("surround_48000.aac", false);
    parse_every_frame("stereo_44100_nopns.aac", true);
}

} // namespace
