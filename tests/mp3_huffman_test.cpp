// Layer III Huffman coding: every value and sign of every pair table through the encoder and the
// three decoders, count1 and budget edges, and region layouts of the three decoders.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/mp3_huffman_writer.hpp"
#include "support/seed.hpp"
#include "support/stream.hpp"
#include "tables/mp3_huffman.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "zemac.h"

namespace {

using zemtest::all_equal;
using zemtest::BitBuilder;

ZemMp3HeaderRec header(int id, int sf = 0) { return zemtest::mp3_header(id, 0, 0, sf); }

ZemMp3GranuleRec long_granule(int bigValues, int t0, int t1, int t2, int r0 = 7, int r1 = 7) {
    ZemMp3GranuleRec g{};
    g.big_values = bigValues;
    g.table_select[0] = t0;
    g.table_select[1] = t1;
    g.table_select[2] = t2;
    g.region0_count = r0;
    g.region1_count = r1;
    return g;
}

// A granule's Huffman bits after a few leading bits, and its expected spectrum.
struct Granule {
    BitBuilder b;
    int lead = 0;
    int32_t spec[576] = {};
    int hufSize() const { return int(b.bit_count()) - lead; }
};

struct Decoded {
    ZemStatus status;
    int32_t spec[576];
    int32_t nonZero;
    long advanced; // bits the cursor moved
};

enum class Which { Plain, Sfb, Mbp };

const int16_t kMbpDefault[12] = {6, 0, 6, 0, 6, 0, 8, 0, 8, 0, 8, 0};
const int16_t* const kLong = &zem::mp3::kSfbLong[0][0];
const int16_t* const kShort = &zem::mp3::kSfbShort[0][0];

Decoded decode(const Granule& gr, ZemMp3GranuleRec g, const ZemMp3HeaderRec& h, int hufSize,
               Which which = Which::Plain, const int16_t* mbp = kMbpDefault) {
    zemtest::Cursor c(gr.b, gr.lead, 16);
    g.part2_3_length = std::max(g.part2_3_length, hufSize);
    Decoded d;
    std::fill(std::begin(d.spec), std::end(d.spec), 0x5A5A);
    d.nonZero = -1;
    d.status = which == Which::Plain
                   ? zemsHuffmanDecode_MP3_1u32s(&c.p, &c.pos, d.spec, &d.nonZero, &g, &h, hufSize)
               : which == Which::Sfb
                   ? zemsHuffmanDecodeSfb_MP3_1u32s(&c.p, &c.pos, d.spec, &d.nonZero, &g, &h,
                                                    hufSize, kLong)
                   : zemsHuffmanDecodeSfbMbp_MP3_1u32s(&c.p, &c.pos, d.spec, &d.nonZero, &g, &h,
                                                       hufSize, kLong, kShort, mbp);
    d.advanced = c.used() - gr.lead;
    return d;
}

// Decodes with a budget (by default the granule's bits) and expects the cursor to end on it
// and the spectrum, with its non-zero bound, to be the granule's.
void expect_decodes(const Granule& gr, const ZemMp3GranuleRec& g, const ZemMp3HeaderRec& h,
                    Which which = Which::Plain, int budget = -1, const int16_t* mbp = kMbpDefault) {
    if (budget < 0)
        budget = gr.hufSize();
    const Decoded d = decode(gr, g, h, budget, which, mbp);
    ASSERT_EQ(d.status, zemStatusOk);
    EXPECT_EQ(d.advanced, budget);
    int bound = 576;
    while (bound > 0 && gr.spec[bound - 1] == 0)
        --bound;
    EXPECT_EQ(d.nonZero, bound);
    for (int i = 0; i < 576; ++i)
        ASSERT_EQ(d.spec[i], gr.spec[i]) << "line " << i;
}

// Every value and sign of every table, escapes at 0, at the largest value and at a random one,
// through the encoder and back through the three decoders (the codes themselves are compared
// with the standard's listing in the tables test).
TEST(Mp3Huffman, EveryValueAndSignOfEveryTableRoundTrips) {
    std::mt19937 rng(zemtest::seed());
    const ZemMp3HeaderRec h = header(1, 0);
    for (int t = 1; t < 32; ++t) {
        const zem::mp3::PairTable& table = zem::mp3::kPairTables[t];
        if (table.codes == nullptr)
            continue;
        SCOPED_TRACE(testing::Message() << "table " << t);
        const int maxEscape = (1 << table.linbits) - 1;
        std::vector<std::pair<int, int>> pairs;
        int n = 0;
        auto value = [&](int m) {
            if (m != 15 || table.linbits == 0)
                return m;
            const int k = n++ % 3;
            return 15 + (k == 0 ? 0 : k == 1 ? maxEscape : int(rng() % (maxEscape + 1)));
        };
        for (int x = 0; x < table.width; ++x)
            for (int y = 0; y < table.width; ++y)
                for (int sx : {1, -1})
                    for (int sy : {1, -1})
                        if ((x != 0 || sx > 0) && (y != 0 || sy > 0))
                            pairs.push_back({sx * value(x), sy * value(y)});
        for (std::size_t at = 0; at < pairs.size(); at += 288) {
            const int count = int(std::min<std::size_t>(288, pairs.size() - at));
            Granule gr;
            for (int i = 0; i < count; ++i) {
                gr.spec[2 * i] = pairs[at + i].first;
                gr.spec[2 * i + 1] = pairs[at + i].second;
            }
            const ZemMp3GranuleRec g =
                long_granule(count, t, t, t, int(rng() % 16), int(rng() % 5));
            std::vector<uint8_t> bytes(8192);
            uint8_t* p = bytes.data();
            int32_t pos = 0;
            ASSERT_EQ(zemsHuffmanEncode_MP3_32s1u(gr.spec, &p, &pos, &h, &g, 0, 0), zemStatusOk);
            gr.lead = int(rng() % 8);
            gr.b.put(rng(), gr.lead);
            for (std::size_t i = 0; i < std::size_t((p - bytes.data()) * 8 + pos); ++i)
                gr.b.put(zemtest::bit_at(bytes.data(), i), 1);
            for (Which which : {Which::Plain, Which::Sfb, Which::Mbp})
                expect_decodes(gr, g, h, which);
        }
    }
}

// Count1 edges: zero budget, leftover bits, a quadruple past the budget, the last index,
// regions with table 0 or no lines. (Every count1 quadruple of both tables and the region splits
// of window switching are decoded in the whole-stream tests, and re-encoded in Mp3Stream.)
TEST(Mp3Huffman, BudgetAndRegionEdges) {
    const ZemMp3HeaderRec h1 = header(1, 1);
    const int32_t ones[4] = {1, -1, 1, 1};
    { // zero budget reads nothing and clears the spectrum, but tables are checked even now
        Granule gr;
        gr.lead = 5;
        gr.b.put(0x1F, 5).put(0xFFFF, 16);
        ZemMp3GranuleRec g = long_granule(100, 32, 5, 5);
        EXPECT_EQ(decode(gr, g, h1, 0).status, zemStatusMp3BadSideInfo);
        g.table_select[0] = 5;
        expect_decodes(gr, g, h1, Which::Plain, 0);
    }
    { // big_values 288: no count1 region; 13 leftover bits are passed over.
        Granule gr;
        for (int i = 0; i < 576; i += 2) {
            gr.spec[i] = i == 574 ? 7 : i % 3 - 1; // region 2 at 44.1 kHz: 418-575, table 13
            zemtest::put_pair(gr.b, i < 342 ? 2 : i < 418 ? 7 : 13, gr.spec[i], 0);
        }
        const int bits = gr.hufSize();
        gr.b.put(0x1ABC, 13);
        expect_decodes(gr, long_granule(288, 2, 7, 13, 19, 0), header(1, 0), Which::Plain,
                       bits + 13);
    }
    { // The last quadruple runs one bit past the budget: dropped, cursor back at the end.
        Granule gr;
        for (int k = 0; k < 3; ++k)
            zemtest::put_quad(gr.b, false, ones);
        std::copy(ones, ones + 4, gr.spec);
        std::copy(ones, ones + 4, gr.spec + 4);
        expect_decodes(gr, long_granule(0, 0, 0, 0), h1, Which::Plain, gr.hufSize() - 1);
    }
    { // big_values 285: one quadruple at 570; none may start at 574, the rest is skipped.
        Granule gr;
        for (int i = 0; i < 570; i += 2)
            zemtest::put_pair(gr.b, 1, 0, 0);
        std::copy(ones, ones + 4, gr.spec + 570);
        zemtest::put_quad(gr.b, true, ones);
        zemtest::put_quad(gr.b, true, ones);
        ZemMp3GranuleRec g = long_granule(285, 1, 1, 1);
        g.count1table_select = 1;
        expect_decodes(gr, g, h1);
    }
    { // Regions 0 and 1 with table 0 read nothing; region 2 (from line 12) carries pairs.
        Granule gr;
        for (int i = 12; i < 60; i += 2) {
            gr.spec[i + 1] = 3;
            zemtest::put_pair(gr.b, 6, 0, 3);
        }
        expect_decodes(gr, long_granule(30, 0, 0, 6, 1, 0), h1);
    }
    { // Big values that need more bits than the budget fail.
        Granule gr;
        for (int i = 0; i < 20; i += 2)
            zemtest::put_pair(gr.b, 24, 30, -2);
        const Decoded d = decode(gr, long_granule(10, 24, 24, 24), h1, gr.hufSize() - 1);
        EXPECT_EQ(d.status, zemStatusFailed);
    }
}

TEST(Mp3Huffman, KnownEscapeAndStuffingBits) {
    // Table 24, pair (20, -3): code of (15, 3), four linbits of 5, sign of x, sign of y.
    int32_t spec[576] = {20, -3};
    const ZemMp3HeaderRec h = header(1, 0);
    const ZemMp3GranuleRec g = long_granule(1, 24, 0, 0);
    uint8_t bytes[16] = {};
    uint8_t* p = bytes;
    int32_t pos = 2;
    ASSERT_EQ(zemsHuffmanEncode_MP3_32s1u(spec, &p, &pos, &h, &g, 0, 40), zemStatusOk);
    const zem::HuffCode c = zem::mp3::kHuffCodes24[15 * 16 + 3];
    EXPECT_EQ(zemtest::bits_at(bytes, 2, c.length), c.code);
    EXPECT_EQ(zemtest::bits_at(bytes, 2 + c.length, 6), 0x15u); // 0101, +, -
    for (int i = 2 + c.length + 6; i < 42; ++i)
        EXPECT_EQ(zemtest::bit_at(bytes, std::size_t(i)), 1u) << i;
    EXPECT_EQ(p - bytes, 5);
    EXPECT_EQ(pos, 2);
    EXPECT_EQ(bytes[5], 0xC0); // the partial stuffing byte is stored whole
}

// Region 0 of window-switching granules in the Mbp decoder, from the caller's tables.
TEST(Mp3Huffman, MbpRegionLayouts) {
    struct Case {
        int id, sf, blockType, mixed, L, S, split;
    } const cases[] = {
        {1, 0, 1, 0, 8, 0, 36}, {0, 0, 3, 0, 6, 0, 54}, {0, 1, 2, 0, 6, 0, 36},
        {1, 0, 2, 1, 8, 0, 36}, {1, 0, 2, 1, 8, 2, 44}, {1, 0, 2, 1, 8, 3, 50},
        {1, 0, 2, 1, 8, 5, 62}, {0, 0, 2, 1, 6, 0, 36}, {1, 2, 2, 1, 6, 0, 24},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "split " << c.split);
        int16_t mbp[12] = {};
        const int row = c.id * 3 + c.sf;
        mbp[2 * row] = int16_t(c.L);
        mbp[2 * row + 1] = int16_t(c.S);
        Granule gr;
        for (int i = 0; i < 100; i += 2) {
            gr.spec[i + 1] = i < c.split ? -1 : 2;
            zemtest::put_pair(gr.b, i < c.split ? 1 : 5, 0, gr.spec[i + 1]);
        }
        ZemMp3GranuleRec g = long_granule(50, 1, 5, 0);
        g.window_switching_flag = 1;
        g.block_type = c.blockType;
        g.mixed_block_flag = c.mixed;
        expect_decodes(gr, g, header(c.id, c.sf), Which::Mbp, -1, mbp);
    }
}

// Whatever a caller's band tables hold, pairs stay inside the 576 values.
TEST(Mp3Huffman, CallerBandTablesCannotMovePairsPastTheSpectrum) {
    std::mt19937 rng(zemtest::seed());
    int16_t longTable[6 * 23], shortTable[6 * 14];
    const int16_t mbp[12] = {22, 40, 22, 40, 22, 40, 22, 40, 22, 40, 22, 40};
    std::vector<uint8_t> bytes(1024);
    for (int iter = 0; iter < 50; ++iter) {
        for (int16_t& v : longTable)
            v = int16_t(int(rng() % 1300) - 100);
        for (int16_t& v : shortTable)
            v = int16_t(int(rng() % 500) - 50);
        for (uint8_t& v : bytes)
            v = uint8_t(rng());
        int32_t spec[576 + 4];
        std::fill(std::begin(spec), std::end(spec), 0x77);
        ZemMp3GranuleRec g =
            long_granule(288, 1 + int(rng() % 13), 13, 15, int(rng() % 16), int(rng() % 5));
        g.part2_3_length = 4000;
        g.window_switching_flag = iter % 2;
        g.block_type = g.window_switching_flag ? 2 : 0;
        g.mixed_block_flag = 1;
        const ZemMp3HeaderRec h = header(iter % 2, 0);
        uint8_t* p = bytes.data();
        int32_t pos = 0, nz;
        const ZemStatus st =
            iter % 4 < 2
                ? zemsHuffmanDecodeSfb_MP3_1u32s(&p, &pos, spec, &nz, &g, &h, 4000, longTable)
                : zemsHuffmanDecodeSfbMbp_MP3_1u32s(&p, &pos, spec, &nz, &g, &h, 4000, longTable,
                                                    shortTable, mbp);
        EXPECT_TRUE(st == zemStatusOk || st == zemStatusFailed) << st;
        EXPECT_TRUE(all_equal(spec + 576, 4, 0x77));
    }
}

} // namespace
