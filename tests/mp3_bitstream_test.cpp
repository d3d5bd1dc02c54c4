// Layer III frame header, side information, scale factors and Huffman coding.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "mp3/huffman_tables.hpp"
#include "support/bit_builder.hpp"
#include "support/seed.hpp"
#include "zemac.h"

namespace {

ZemMp3HeaderRec header(int id, int mode, int protection = 1) {
    ZemMp3HeaderRec h{};
    h.id = id;
    h.layer = 1;
    h.protection_bit = protection;
    h.bitrate_index = 9;
    h.mode = mode;
    h.crc_check = 0x1234;
    return h;
}

TEST(Mp3Header, RoundTripAndCrc) {
    std::mt19937 rng(zemtest::seed());
    for (int i = 0; i < 200; ++i) {
        ZemMp3HeaderRec h;
        int32_t* f = &h.id;
        const int widths[13] = {1, 2, 1, 4, 2, 1, 1, 2, 2, 1, 1, 2, 16};
        for (int k = 0; k < 13; ++k)
            f[k] = int32_t(rng() & ((1u << widths[k]) - 1));
        uint8_t buf[8] = {};
        uint8_t* p = buf;
        ASSERT_EQ(zemsPackFrameHeader_MP3(&h, &p), zemStatusOk);
        EXPECT_EQ(p - buf, h.protection_bit ? 4 : 6);
        EXPECT_EQ(buf[0], 0xFF);
        ZemMp3HeaderRec back;
        std::memset(&back, 0x55, sizeof back);
        p = buf;
        ASSERT_EQ(zemsUnpackFrameHeader_MP3(&p, &back), zemStatusOk);
        EXPECT_EQ(p - buf, h.protection_bit ? 4 : 6);
        if (h.protection_bit)
            back.crc_check = h.crc_check; // left untouched
        EXPECT_EQ(std::memcmp(&back, &h, sizeof h), 0);
    }
    uint8_t* p = nullptr;
    ZemMp3HeaderRec h{};
    EXPECT_EQ(zemsUnpackFrameHeader_MP3(&p, &h), zemStatusNullPointer);
}

ZemMp3GranuleRec random_granule(std::mt19937& rng, bool mpeg1) {
    auto bits = [&](int n) { return int32_t(rng() & ((1u << n) - 1)); };
    ZemMp3GranuleRec g{};
    g.part2_3_length = bits(12);
    g.big_values = bits(9);
    g.global_gain = bits(8);
    g.scalefac_compress = bits(mpeg1 ? 4 : 9);
    g.window_switching_flag = bits(1);
    if (g.window_switching_flag) {
        g.block_type = 1 + int32_t(rng() % 3);
        g.mixed_block_flag = bits(1);
        g.table_select[0] = bits(5);
        g.table_select[1] = bits(5);
        for (int32_t& s : g.subblock_gain)
            s = bits(3);
        g.region0_count = g.block_type == 2 && g.mixed_block_flag == 0 ? 8 : 7;
        g.region1_count = 20 - g.region0_count;
    } else {
        for (int32_t& t : g.table_select)
            t = bits(5);
        g.region0_count = bits(4);
        g.region1_count = bits(3);
    }
    g.preflag = mpeg1 ? bits(1) : 0;
    g.scalefac_scale = bits(1);
    g.count1table_select = bits(1);
    return g;
}

TEST(Mp3SideInfo, RoundTripsEveryLayout) {
    std::mt19937 rng(zemtest::seed());
    struct Case {
        int id, mode, bytes, records;
    } cases[] = {{1, 3, 17, 2}, {1, 1, 32, 4}, {0, 3, 9, 1}, {0, 0, 17, 2}};
    for (const Case& k : cases)
        for (int it = 0; it < 50; ++it) {
            const ZemMp3HeaderRec h = header(k.id, k.mode);
            ZemMp3GranuleRec in[4], out[4];
            for (int r = 0; r < k.records; ++r)
                in[r] = random_granule(rng, k.id == 1);
            int32_t scfsi[8], back[8] = {};
            for (int32_t& s : scfsi)
                s = int32_t(rng() & 1);
            uint8_t buf[40] = {};
            uint8_t* p = buf;
            const int32_t mdb = int32_t(rng() % (k.id ? 512 : 256)), priv = 1;
            ASSERT_EQ(zemsPackSideInfo_MP3(in, &p, mdb, priv, scfsi, &h), zemStatusOk);
            EXPECT_EQ(p - buf, k.bytes);
            std::memcpy(out, in, sizeof out); // fields that are not transmitted keep their values
            for (int r = 0; r < k.records; ++r)
                for (int32_t* f = &out[r].part2_3_length; f <= &out[r].count1table_select; ++f)
                    if (!(k.id == 0 && f == &out[r].preflag) &&
                        !(in[r].window_switching_flag && f == &out[r].table_select[2]) &&
                        !(!in[r].window_switching_flag && f >= &out[r].subblock_gain[0] &&
                          f <= &out[r].subblock_gain[2]))
                        *f = -1;
            int32_t mdbBack = -1, privBack = -1;
            p = buf;
            ASSERT_EQ(zemsUnpackSideInfo_MP3(&p, out, &mdbBack, &privBack, back, &h), zemStatusOk);
            EXPECT_EQ(p - buf, k.bytes);
            EXPECT_EQ(mdbBack, mdb);
            EXPECT_EQ(privBack, priv);
            EXPECT_EQ(std::memcmp(out, in, sizeof(ZemMp3GranuleRec) * std::size_t(k.records)), 0);
            if (k.id == 1) {
                EXPECT_EQ(
                    std::memcmp(back, scfsi, sizeof(int32_t) * 4 * std::size_t(k.records / 2)), 0);
            }
            uint8_t again[40] = {};
            p = again;
            ASSERT_EQ(zemsPackSideInfo_MP3(out, &p, mdb, priv, back, &h), zemStatusOk);
            EXPECT_EQ(std::memcmp(buf, again, std::size_t(k.bytes)), 0);
        }
}

TEST(Mp3SideInfo, Failures) {
    ZemMp3HeaderRec h = header(1, 3);
    ZemMp3GranuleRec g[2]{};
    g[0].window_switching_flag = 1; // block type 0 with window switching
    int32_t scfsi[4] = {};
    uint8_t buf[40] = {};
    uint8_t* p = buf;
    EXPECT_EQ(zemsPackSideInfo_MP3(g, &p, 0, 0, scfsi, &h), zemStatusMp3BadSideInfo);
    zemtest::BitBuilder b;
    b.put(0, 9)
        .put(0, 5)
        .put(0, 4)
        .put(100, 12)
        .put(0, 9)
        .put(0, 8)
        .put(0, 4)
        .put(1, 1)
        .put(0, 2)
        .put(0, 20);
    std::vector<uint8_t> bytes = b.bytes(16);
    p = bytes.data();
    int32_t mdb, priv;
    ZemMp3GranuleRec out[2];
    EXPECT_EQ(zemsUnpackSideInfo_MP3(&p, out, &mdb, &priv, scfsi, &h), zemStatusMp3BadSideInfo);
    EXPECT_EQ(out[0].part2_3_length, 100);
    h.layer = 2;
    EXPECT_EQ(zemsUnpackSideInfo_MP3(&p, out, &mdb, &priv, scfsi, &h), zemStatusMp3BadFrameHeader);
}

// Scale factors written by the packer read back unchanged, for every block type and version.
TEST(Mp3ScaleFactors, RoundTrips) {
    std::mt19937 rng(zemtest::seed());
    for (int it = 0; it < 300; ++it) {
        const int id = int(rng() & 1);
        ZemMp3HeaderRec h = header(id, 1);
        h.mode_extension = int32_t(rng() % 3); // no intensity marks: they do not pack back
        ZemMp3GranuleRec g{};
        g.scalefac_compress = id ? int32_t(rng() % 16) : int32_t(rng() % 512);
        g.block_type = int32_t(rng() % 4);
        g.mixed_block_flag = g.block_type == 2 ? int32_t(rng() & 1) : 0;
        int32_t scfsi[4] = {0, 0, 0, 0};
        int8_t sf[40], back[40];
        for (int8_t& v : sf)
            v = int8_t(rng() % 16);
        // Values must fit their widths: unpack a random stream, then pack it again.
        std::vector<uint8_t> random(64);
        for (uint8_t& v : random)
            v = uint8_t(rng());
        uint8_t* p = random.data();
        int32_t pos = 0;
        ZemMp3GranuleRec g2 = g;
        ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g2, scfsi, &h, 0, 0), zemStatusOk);
        const long used = (p - random.data()) * 8 + pos;
        std::vector<uint8_t> packed(64, 0);
        p = packed.data();
        pos = 0;
        ASSERT_EQ(zemsPackScaleFactors_MP3_8s1u(sf, &p, &pos, &h, &g2, scfsi, 0, 0), zemStatusOk);
        EXPECT_EQ((p - packed.data()) * 8 + pos, used);
        for (long i = 0; i < used; ++i)
            ASSERT_EQ(zemtest::bit_at(packed.data(), std::size_t(i)),
                      zemtest::bit_at(random.data(), std::size_t(i)));
        p = packed.data();
        pos = 0;
        ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, back, &g2, scfsi, &h, 0, 0),
                  zemStatusOk);
        const bool isShort = g2.block_type == 2, mixed = isShort && g2.mixed_block_flag;
        const std::size_t entries = isShort ? (mixed ? (id ? 38 : 36) : 39) : (id ? 22 : 24);
        EXPECT_EQ(std::memcmp(back, sf, entries), 0);
    }
}

TEST(Mp3ScaleFactors, ReuseAndIntensityMarks) {
    ZemMp3HeaderRec h = header(1, 0);
    ZemMp3GranuleRec g{};
    g.scalefac_compress = 15;
    int32_t all[4] = {1, 1, 1, 1};
    int8_t sf[40];
    std::memset(sf, 9, sizeof sf);
    uint8_t data[8] = {0xFF, 0xFF, 0xFF, 0xFF};
    uint8_t* p = data;
    int32_t pos = 3;
    ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, all, &h, 1, 0), zemStatusOk);
    EXPECT_EQ(p, data); // granule 1 with every group reused reads nothing
    EXPECT_EQ(pos, 3);
    EXPECT_EQ(sf[0], 9);
    EXPECT_EQ(sf[21], 0);

    ZemMp3HeaderRec h2 = header(0, 1);
    h2.mode_extension = 1;
    g.scalefac_compress = 511; // i = 255: row 5, widths 3, 2, 0, 0
    g.preflag = 1;
    zemtest::BitBuilder b;
    b.put(7, 3).put(3, 3);
    for (int i = 2; i < 8; ++i)
        b.put(1, 3);
    for (int i = 0; i < 8; ++i)
        b.put(3, 2);
    std::vector<uint8_t> bytes = b.bytes(4);
    p = bytes.data();
    pos = 0;
    ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, all, &h2, 0, 1), zemStatusOk);
    EXPECT_EQ(sf[0], -7); // the largest value of its width marks an illegal position
    EXPECT_EQ(sf[1], 3);
    EXPECT_EQ(sf[8], -3);
    EXPECT_EQ(g.preflag, 0);
    EXPECT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, all, &h2, 2, 1),
              zemStatusBadArgument);
    g.scalefac_compress = 512;
    EXPECT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, all, &h2, 0, 1),
              zemStatusMp3BadSideInfo);
}

// Every codeword of every pair table and of the quadruple table decodes through its tree.
TEST(Mp3Huffman, TreesDecodeEveryCodeword) {
    using namespace zem;
    using namespace zem::mp3;
    for (int t = 1; t < 32; ++t) {
        const PairTable& table = kPairTables[t];
        if (table.codes == 0 || table.codes != t)
            continue;
        const PairCodeTable c = pair_code_table(table.codes);
        for (int i = 0; i < table.size * table.size; ++i) {
            int bits = 0;
            const uint32_t window =
                c.codes[i].code << (32 - c.codes[i].length) | (0x33333333u >> c.codes[i].length);
            EXPECT_EQ(int(decode_codeword(c.first, c.tree, window, bits) >> 1), i) << "table " << t;
            EXPECT_EQ(bits, c.codes[i].length);
        }
    }
    for (int i = 0; i < 16; ++i) {
        int bits = 0;
        const uint32_t window = kQuadCodesA[i].code << (32 - kQuadCodesA[i].length);
        EXPECT_EQ(
            int(decode_codeword(kQuadDecoderA.first, kQuadDecoderA.tree.node, window, bits) >> 1),
            i);
        EXPECT_EQ(bits, kQuadCodesA[i].length);
    }
}

// Random spectra encoded with every table and both count1 tables decode back exactly, with the
// cursor exactly huffmanBits further on.
TEST(Mp3Huffman, EncodeDecodeRoundTrips) {
    std::mt19937 rng(zemtest::seed());
    const ZemMp3HeaderRec h = header(1, 1);
    for (int t = 0; t < 32; ++t) {
        if (t == 4 || t == 14)
            continue;
        for (int ws = 0; ws < 2; ++ws) {
            const zem::mp3::PairTable& table = zem::mp3::kPairTables[t];
            ZemMp3GranuleRec g{};
            g.window_switching_flag = ws;
            g.block_type = ws ? 2 : 0;
            g.big_values = int32_t(rng() % 200);
            g.region0_count = ws ? 8 : int32_t(rng() % 10);
            g.region1_count = ws ? 12 : int32_t(rng() % 8);
            g.table_select[0] = g.table_select[1] = g.table_select[2] = t;
            g.count1table_select = int32_t(rng() & 1);
            std::vector<int32_t> x(576, 0);
            const int maxMag = t == 0          ? 0
                               : table.linbits ? 15 + (1 << table.linbits) - 1
                                               : table.size - 1;
            for (int i = 0; i < 2 * g.big_values; ++i) {
                const int m = int(rng() % uint32_t(maxMag + 1));
                x[std::size_t(i)] = rng() & 1 ? -m : m;
            }
            const int count1 = 4 * int(rng() % ((576 - 2 * g.big_values) / 4 / 2 + 1));
            for (int i = 2 * g.big_values; i < 2 * g.big_values + count1; ++i)
                x[std::size_t(i)] = int(rng() % 3) - 1;
            std::vector<uint8_t> buf(4096, 0);
            uint8_t* p = buf.data();
            int32_t pos = 5;
            ASSERT_EQ(zemsHuffmanEncode_MP3_32s1u(x.data(), &p, &pos, &h, &g, count1, 0),
                      zemStatusOk);
            const int32_t bits = int32_t((p - buf.data()) * 8 + pos - 5);
            g.part2_3_length = bits + 10;
            std::vector<int32_t> y(576, 99);
            int32_t bound = -1;
            p = buf.data();
            pos = 5;
            ASSERT_EQ(zemsHuffmanDecode_MP3_1u32s(&p, &pos, y.data(), &bound, &g, &h, bits),
                      zemStatusOk)
                << "table " << t;
            EXPECT_EQ((p - buf.data()) * 8 + pos - 5, bits);
            // Zeros at the end of the count1 region are not distinguishable from the zero tail.
            EXPECT_EQ(y, x) << "table " << t << " ws " << ws;
            int want = 576;
            while (want > 0 && x[std::size_t(want - 1)] == 0)
                --want;
            EXPECT_EQ(bound, want);
        }
    }
}

TEST(Mp3Huffman, BudgetEdges) {
    const ZemMp3HeaderRec h = header(1, 0);
    ZemMp3GranuleRec g{};
    g.part2_3_length = 100;
    std::vector<int32_t> y(576, 7);
    int32_t bound = -1;
    uint8_t data[64] = {};
    uint8_t* p = data;
    int32_t pos = 2;
    ASSERT_EQ(zemsHuffmanDecode_MP3_1u32s(&p, &pos, y.data(), &bound, &g, &h, 0), zemStatusOk);
    EXPECT_EQ(bound, 0);
    EXPECT_EQ(p, data);
    EXPECT_EQ(y[300], 0);
    // Count1 table B of all-ones quadruples: 4 + 4 sign bits each; a budget of 20 bits takes
    // two and discards the third, which runs past it.
    g.count1table_select = 1;
    std::memset(data, 0, sizeof data);
    p = data;
    pos = 0;
    ASSERT_EQ(zemsHuffmanDecode_MP3_1u32s(&p, &pos, y.data(), &bound, &g, &h, 20), zemStatusOk);
    EXPECT_EQ((p - data) * 8 + pos, 20);
    EXPECT_EQ(y[0], 1);
    EXPECT_EQ(y[7], 1);
    EXPECT_EQ(y[8], 0);
    EXPECT_EQ(bound, 8);
    EXPECT_EQ(zemsHuffmanDecode_MP3_1u32s(&p, &pos, y.data(), &bound, &g, &h, 101),
              zemStatusBadArgument);
    g.big_values = 289;
    EXPECT_EQ(zemsHuffmanDecode_MP3_1u32s(&p, &pos, y.data(), &bound, &g, &h, 10),
              zemStatusMp3BadSideInfo);
}

} // namespace
