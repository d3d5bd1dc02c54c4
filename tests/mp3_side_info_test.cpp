// Layer III frame header and side information: unpacking hand-built streams, packing back
// and partial results of a bad block type.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/seed.hpp"
#include "support/stream.hpp"
#include "zemac.h"

namespace {

using zemtest::BitBuilder;
using zemtest::mp3_header;

bool same(const ZemMp3GranuleRec& a, const ZemMp3GranuleRec& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(Mp3FrameHeader, UnpacksFieldsAndCrcWord) {
    // 1111 1111 | 1111 1 01 0 | 1001 01 1 0 | 01 10 1 0 11 | CRC 0xBEEF
    uint8_t bytes[] = {0xFF, 0xFA, 0x96, 0x6B, 0xBE, 0xEF, 0, 0, 0};
    ZemMp3HeaderRec h = zemtest::filled<ZemMp3HeaderRec>(0x55);
    uint8_t* p = bytes;
    ASSERT_EQ(zemsUnpackFrameHeader_MP3(&p, &h), zemStatusOk);
    EXPECT_EQ(p, bytes + 6);
    const int32_t want[13] = {1, 1, 0, 9, 1, 1, 0, 1, 2, 1, 0, 3, 0xBEEF}; // in record order
    int32_t got[13];
    static_assert(sizeof got == sizeof h);
    std::memcpy(got, &h, sizeof got);
    for (int i = 0; i < 13; ++i)
        EXPECT_EQ(got[i], want[i]) << i;

    // Without a CRC: 4 bytes, crc_check untouched; a broken sync word goes unnoticed.
    bytes[0] = 0x12;
    bytes[1] = 0x1B;
    h.crc_check = -7;
    p = bytes;
    ASSERT_EQ(zemsUnpackFrameHeader_MP3(&p, &h), zemStatusOk);
    EXPECT_EQ(p, bytes + 4);
    EXPECT_EQ(h.protection_bit, 1);
    EXPECT_EQ(h.crc_check, -7);
}

TEST(Mp3FrameHeader, PackUnpackRoundTripCutsFieldsToWidth) {
    std::mt19937 rng(zemtest::seed());
    for (int iter = 0; iter < 200; ++iter) {
        int32_t f[13];
        for (int32_t& v : f)
            v = int32_t(rng() % 0x30000) - 0x8000; // often wider than the field
        ZemMp3HeaderRec in;
        std::memcpy(&in, f, sizeof in);
        uint8_t bytes[10] = {};
        uint8_t* p = bytes;
        ASSERT_EQ(zemsPackFrameHeader_MP3(&in, &p), zemStatusOk);
        const bool crc = (in.protection_bit & 1) == 0;
        ASSERT_EQ(p - bytes, crc ? 6 : 4);
        EXPECT_EQ(zemtest::bits_at(bytes, 0, 12), 0xFFFu);
        ZemMp3HeaderRec out;
        out.crc_check = 12345;
        p = bytes;
        ASSERT_EQ(zemsUnpackFrameHeader_MP3(&p, &out), zemStatusOk);
        const int widths[13] = {1, 2, 1, 4, 2, 1, 1, 2, 2, 1, 1, 2, 16};
        int32_t g[13];
        std::memcpy(g, &out, sizeof g);
        for (int i = 0; i < 12; ++i)
            EXPECT_EQ(g[i], f[i] & ((1 << widths[i]) - 1)) << i;
        EXPECT_EQ(out.crc_check, crc ? (f[12] & 0xFFFF) : 12345);
    }
}

// Stream and records of one frame's side information, built field by field.
struct SideInfo {
    int32_t mainDataBegin = 0, privateBits = 0;
    int32_t scfsi[8] = {};
    ZemMp3GranuleRec g[4] = {};
    std::vector<uint8_t> bytes;
    std::size_t bits = 0;
};

SideInfo random_side_info(std::mt19937& rng, const ZemMp3HeaderRec& h) {
    const bool mpeg1 = h.id == 1;
    const int nch = h.mode == 3 ? 1 : 2;
    auto rnd = [&](int bits) { return int32_t(rng() & ((1u << bits) - 1)); };
    SideInfo s;
    BitBuilder b;
    s.mainDataBegin = rnd(mpeg1 ? 9 : 8);
    s.privateBits = rnd(mpeg1 ? (nch == 1 ? 5 : 3) : (nch == 1 ? 1 : 2));
    b.put(s.mainDataBegin, mpeg1 ? 9 : 8)
        .put(s.privateBits, mpeg1 ? (nch == 1 ? 5 : 3) : (nch == 1 ? 1 : 2));
    if (mpeg1)
        for (int i = 0; i < 4 * nch; ++i)
            b.put(s.scfsi[i] = rnd(1), 1);
    for (int i = 0; i < (mpeg1 ? 2 : 1) * nch; ++i) {
        ZemMp3GranuleRec& g = s.g[i];
        b.put(g.part2_3_length = rnd(12), 12).put(g.big_values = rnd(9), 9);
        b.put(g.global_gain = rnd(8), 8);
        b.put(g.scalefac_compress = rnd(mpeg1 ? 4 : 9), mpeg1 ? 4 : 9);
        b.put(g.window_switching_flag = rnd(1), 1);
        if (g.window_switching_flag) {
            b.put(g.block_type = 1 + int32_t(rng() % 3), 2).put(g.mixed_block_flag = rnd(1), 1);
            b.put(g.table_select[0] = rnd(5), 5).put(g.table_select[1] = rnd(5), 5);
            for (int w = 0; w < 3; ++w)
                b.put(g.subblock_gain[w] = rnd(3), 3);
            g.table_select[2] = 77; // not transmitted: must survive unpacking
            const bool pureShort = g.block_type == 2 && !g.mixed_block_flag;
            g.region0_count = pureShort ? 8 : 7;
            g.region1_count = pureShort ? 12 : 13;
        } else {
            for (int r = 0; r < 3; ++r)
                b.put(g.table_select[r] = rnd(5), 5);
            b.put(g.region0_count = rnd(4), 4).put(g.region1_count = rnd(3), 3);
            g.subblock_gain[0] = g.subblock_gain[1] = g.subblock_gain[2] = 66;
        }
        if (mpeg1)
            b.put(g.preflag = rnd(1), 1);
        else
            g.preflag = 55;
        b.put(g.scalefac_scale = rnd(1), 1).put(g.count1table_select = rnd(1), 1);
    }
    s.bits = b.bit_count();
    s.bytes = b.bytes(3);
    return s;
}

TEST(Mp3SideInfo, UnpackAndPackEveryVersionAndChannelCount) {
    std::mt19937 rng(zemtest::seed());
    struct Case {
        int id, mode, bytes;
    } const cases[] = {{1, 3, 17}, {1, 0, 32}, {1, 1, 32}, {0, 3, 9}, {0, 2, 17}};
    for (const Case& c : cases) {
        for (int iter = 0; iter < 50; ++iter) {
            ZemMp3HeaderRec h = mp3_header(c.id, c.mode);
            h.mode_extension = 3; // mode alone decides the channel count
            const SideInfo s = random_side_info(rng, h);
            ASSERT_EQ(s.bits, std::size_t(c.bytes) * 8);
            // Fields the stream does not carry keep what the records held: start from the
            // expected records, with block_type and friends scrambled where the stream sets them.
            ZemMp3GranuleRec got[4];
            std::memcpy(got, s.g, sizeof got);
            for (ZemMp3GranuleRec& g : got) {
                g.block_type = g.mixed_block_flag = g.region0_count = g.region1_count = 99;
                g.part2_3_length = -1;
            }
            int32_t mdb = -1, priv = -1, scfsi[8];
            std::memset(scfsi, 0x7E, sizeof scfsi);
            std::vector<uint8_t> in = s.bytes;
            uint8_t* p = in.data();
            ASSERT_EQ(zemsUnpackSideInfo_MP3(&p, got, &mdb, &priv, scfsi, &h), zemStatusOk);
            EXPECT_EQ(p - in.data(), c.bytes);
            EXPECT_EQ(mdb, s.mainDataBegin);
            EXPECT_EQ(priv, s.privateBits);
            const int nch = c.mode == 3 ? 1 : 2;
            for (int i = 0; i < 8; ++i)
                EXPECT_EQ(scfsi[i], c.id == 1 && i < 4 * nch ? s.scfsi[i] : 0x7E7E7E7E) << i;
            const int records = (c.id == 1 ? 2 : 1) * nch;
            for (int i = 0; i < 4; ++i)
                if (i < records)
                    EXPECT_TRUE(same(got[i], s.g[i])) << "record " << i;
                else
                    EXPECT_EQ(got[i].part2_3_length, -1) << "record " << i;

            std::vector<uint8_t> out(s.bytes.size(), 0xA5);
            p = out.data();
            ASSERT_EQ(zemsPackSideInfo_MP3(s.g, &p, s.mainDataBegin, s.privateBits, s.scfsi, &h),
                      zemStatusOk);
            EXPECT_EQ(p - out.data(), c.bytes);
            EXPECT_TRUE(std::equal(out.begin(), out.begin() + c.bytes, s.bytes.begin()));
        }
    }
}

// Window switching with block type 0 in the second record of a stereo MPEG-1 frame: what came
// before it is stored or written, and the cursor stops on the byte it had reached.
TEST(Mp3SideInfo, BlockTypeZeroStopsPartway) {
    std::mt19937 rng(zemtest::seed());
    const ZemMp3HeaderRec h = mp3_header(1, 0);
    SideInfo s = random_side_info(rng, h);
    // Rebuild record 1 as a window-switching record with block type 0 (bits 20 + 59 + 39 on).
    BitBuilder b;
    for (std::size_t i = 0; i < 20 + 59; ++i)
        b.put(zemtest::bit_at(s.bytes.data(), i), 1);
    b.put(300, 12).put(17, 9).put(200, 8).put(9, 4).put(1, 1); // ... window_switching_flag
    b.put(0, 2).put(1, 1).put(21, 5).put(6, 5).put(1, 3).put(2, 3).put(3, 3);
    std::vector<uint8_t> bytes = b.bytes(40);
    ZemMp3GranuleRec got[4];
    std::memcpy(got, s.g, sizeof got); // keeps what the stream does not carry
    got[1].region0_count = -4;
    got[2].part2_3_length = -4;
    int32_t mdb, priv, scfsi[8];
    uint8_t* p = bytes.data();
    ASSERT_EQ(zemsUnpackSideInfo_MP3(&p, got, &mdb, &priv, scfsi, &h), zemStatusMp3BadSideInfo);
    EXPECT_EQ(p - bytes.data(), (20 + 59 + 33 + 1 + 3 + 10 + 9) / 8);
    EXPECT_EQ(mdb, s.mainDataBegin);
    EXPECT_TRUE(same(got[0], s.g[0]));
    EXPECT_EQ(got[1].part2_3_length, 300);
    EXPECT_EQ(got[1].mixed_block_flag, 1);
    EXPECT_EQ(got[1].table_select[0], 21);
    EXPECT_EQ(got[1].subblock_gain[2], 3);
    EXPECT_EQ(got[1].region0_count, -4); // not derived for a rejected record
    EXPECT_EQ(got[2].part2_3_length, -4);

    // Packing writes through record 1's window_switching_flag and stops there.
    s.g[1] = got[1];
    std::vector<uint8_t> out(40, 0);
    p = out.data();
    ASSERT_EQ(zemsPackSideInfo_MP3(s.g, &p, s.mainDataBegin, s.privateBits, s.scfsi, &h),
              zemStatusMp3BadSideInfo);
    const std::size_t written = 20 + 59 + 33 + 1;
    EXPECT_EQ(std::size_t(p - out.data()), written / 8);
    EXPECT_TRUE(zemtest::same_bits(out.data(), 0, bytes.data(), 0, written));
}

} // namespace
