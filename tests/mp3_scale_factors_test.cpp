// Layer III scale factors: array layouts of every block type and version, scfsi reuse, the
// MPEG-2 width schemes, intensity marks and pack round trips.
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

ZemMp3GranuleRec granule_rec(int scalefacCompress, int blockType, int mixed) {
    ZemMp3GranuleRec g{};
    g.scalefac_compress = scalefacCompress;
    g.window_switching_flag = blockType != 0;
    g.block_type = blockType;
    g.mixed_block_flag = mixed;
    g.preflag = 9;
    return g;
}

// A run of `count` values of `width` bits expected at array index `at`.
struct Field {
    int at, count, width;
};

struct Decoded {
    std::vector<uint8_t> bytes;
    int startPos;
    std::size_t bits;
    int8_t expect[40];
};

// Random values for the runs, after a random bit offset; the expected array starts as `prior`.
Decoded build(std::mt19937& rng, const std::vector<Field>& runs, const int8_t* prior) {
    Decoded d;
    d.startPos = int(rng() % 8);
    std::memcpy(d.expect, prior, 40);
    BitBuilder b;
    b.put(rng(), d.startPos);
    for (const Field& r : runs)
        for (int i = 0; i < r.count; ++i) {
            const int v = r.width ? int(rng() & ((1u << r.width) - 1)) : 0;
            b.put(unsigned(v), r.width);
            d.expect[r.at + i] = int8_t(v);
        }
    d.bits = b.bit_count() - std::size_t(d.startPos);
    d.bytes = b.bytes(4);
    return d;
}

// Unpacks, compares the array and cursor when the build knows them, then packs the result from
// the same start and compares the bits (unless intensity marks make them differ).
void unpack_and_pack(const Decoded& d, const ZemMp3HeaderRec& h, ZemMp3GranuleRec g,
                     const int32_t* scfsi, int granule, int channel, const int8_t* prior,
                     bool known = true, bool sameBits = true) {
    std::vector<uint8_t> bytes = d.bytes;
    int8_t sf[40];
    std::memcpy(sf, prior, 40);
    uint8_t* p = bytes.data();
    int32_t pos = d.startPos;
    ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, scfsi, &h, granule, channel),
              zemStatusOk);
    const std::size_t bits = std::size_t((p - bytes.data()) * 8 + pos - d.startPos);
    if (known) {
        EXPECT_EQ(bits, d.bits);
        for (int i = 0; i < 40; ++i)
            ASSERT_EQ(sf[i], d.expect[i]) << "entry " << i;
    }
    std::vector<uint8_t> out(bytes.size(), 0);
    out[0] = uint8_t(bytes[0] & (0xFF00 >> d.startPos));
    p = out.data();
    pos = d.startPos;
    ASSERT_EQ(zemsPackScaleFactors_MP3_8s1u(sf, &p, &pos, &h, &g, scfsi, granule, channel),
              zemStatusOk);
    ASSERT_EQ(std::size_t((p - out.data()) * 8 + pos - d.startPos), bits);
    if (sameBits) {
        ASSERT_TRUE(
            zemtest::same_bits(out.data(), 0, bytes.data(), 0, bits + std::size_t(d.startPos)));
    }
}

constexpr int kSlen1[16] = {0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4};
constexpr int kSlen2[16] = {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3};

TEST(Mp3ScaleFactors, Mpeg1LayoutsOfEveryBlockType) {
    std::mt19937 rng(zemtest::seed());
    int8_t prior[40];
    std::memset(prior, 0x55, sizeof prior);
    const ZemMp3HeaderRec h = mp3_header(1, 1);
    const int32_t scfsiSet[4] = {1, 1, 1, 1};
    for (int sfc = 0; sfc < 16; ++sfc) {
        const int s1 = kSlen1[sfc], s2 = kSlen2[sfc];
        // Long blocks, granule 0 ignores scfsi; entry 21 is cleared.
        Decoded d = build(rng, {{0, 11, s1}, {11, 10, s2}, {21, 1, 0}}, prior);
        unpack_and_pack(d, h, granule_rec(sfc, 0, 0), scfsiSet, 0, 1, prior);
        d = build(rng, {{0, 11, s1}, {11, 10, s2}, {21, 1, 0}}, prior);
        unpack_and_pack(d, h, granule_rec(sfc, 3, 0), scfsiSet, 0, 0, prior);
        // Short: 12 bands of three windows, band 12 cleared; scfsi never applies.
        d = build(rng, {{0, 18, s1}, {18, 18, s2}, {36, 3, 0}}, prior);
        unpack_and_pack(d, h, granule_rec(sfc, 2, 0), scfsiSet, 1, 0, prior);
        // Mixed: 8 long bands and short bands 3-5 with slen1, short bands 6-11 with slen2.
        d = build(rng, {{0, 17, s1}, {17, 18, s2}, {35, 3, 0}}, prior);
        unpack_and_pack(d, h, granule_rec(sfc, 2, 1), scfsiSet, 1, 1, prior);
    }
}

TEST(Mp3ScaleFactors, Mpeg1Granule1ReusesScfsiGroups) {
    std::mt19937 rng(zemtest::seed());
    int8_t granule0[40];
    for (int8_t& v : granule0)
        v = int8_t(rng() % 16);
    const ZemMp3HeaderRec h = mp3_header(1, 1);
    const Field groups[4] = {{0, 6, 4}, {6, 5, 4}, {11, 5, 3}, {16, 5, 3}}; // scalefac_compress 15
    for (int mask = 0; mask < 16; ++mask) {
        const int32_t scfsi[4] = {mask & 1, (mask >> 1) & 1, (mask >> 2) & 1, mask >> 3};
        std::vector<Field> runs;
        for (int k = 0; k < 4; ++k)
            if (!scfsi[k])
                runs.push_back(groups[k]);
        runs.push_back({21, 1, 0});
        const Decoded d = build(rng, runs, granule0);
        unpack_and_pack(d, h, granule_rec(15, 1, 0), scfsi, 1, 0, granule0);
    }
}

// MPEG-2 partition widths and counts of scalefac_compress values from every row, read from a
// stream of all ones so that every intensity-right value is the illegal-position mark.
TEST(Mp3ScaleFactors, Mpeg2WidthSchemesAndIntensityMarks) {
    struct Case {
        int sfc, modeExtension, channel, blockType, mixed;
        int slen[4], count[4], preflag;
    } const cases[] = {
        {511, 1, 1, 0, 0, {3, 2, 0, 0}, {8, 8, 5, 0}, 0},   // intensity right, row 5
        {400, 3, 1, 2, 0, {1, 1, 0, 0}, {12, 9, 9, 6}, 0},  // i = 200: row 4, short
        {201, 1, 1, 2, 1, {2, 4, 4, 0}, {6, 15, 12, 0}, 0}, // i = 100: row 3, mixed
        {511, 1, 0, 0, 0, {3, 2, 0, 0}, {11, 10, 0, 0}, 1}, // left channel: row 2
        {500, 2, 1, 0, 0, {0, 0, 0, 0}, {11, 10, 0, 0}, 1}, // no intensity: row 2
        {399, 0, 0, 2, 0, {4, 4, 3, 3}, {9, 9, 9, 9}, 0},   // row 0, short
        {450, 0, 1, 2, 3, {2, 2, 2, 0}, {6, 9, 12, 6}, 0},  // row 1, mixed (flag 3 -> 1)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.sfc);
        const ZemMp3HeaderRec h = mp3_header(0, 1, c.modeExtension);
        ZemMp3GranuleRec g = granule_rec(c.sfc, c.blockType, c.mixed);
        std::vector<uint8_t> ones(40, 0xFF);
        int8_t sf[40];
        std::memset(sf, 0x55, sizeof sf);
        uint8_t* p = ones.data();
        int32_t pos = 3;
        const int32_t scfsi[4] = {};
        ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, scfsi, &h, 0, c.channel),
                  zemStatusOk);
        EXPECT_EQ(g.preflag, c.preflag);
        EXPECT_EQ(g.mixed_block_flag, c.blockType == 2 ? (c.mixed & 1) : c.mixed);
        const bool right = (c.modeExtension & 1) && c.channel == 1;
        int n = 0, bits = 0;
        for (int part = 0; part < 4; ++part)
            for (int i = 0; i < c.count[part]; ++i, ++n) {
                const int top = (1 << c.slen[part]) - 1;
                EXPECT_EQ(sf[n], right && c.slen[part] ? -top : top) << n;
                bits += c.slen[part];
            }
        for (int i = n; i < n + 3; ++i)
            EXPECT_EQ(sf[i], 0) << i;
        EXPECT_EQ(sf[n + 3], 0x55);
        EXPECT_EQ((p - ones.data()) * 8 + pos - 3, bits);
    }
}

// Random streams with every MPEG-2 scalefac_compress, intensity setting and block layout.
// Intensity marks are stored negated and packed as their low bits, so only streams without them
// come back bit for bit.
TEST(Mp3ScaleFactors, Mpeg2PackUnpackForEveryScalefacCompress) {
    std::mt19937 rng(zemtest::seed());
    int8_t prior[40];
    std::memset(prior, 0x55, sizeof prior);
    const int32_t scfsi[4] = {};
    const int blocks[3][2] = {{0, 0}, {2, 0}, {2, 1}};
    for (int sfc = 0; sfc < 512; ++sfc)
        for (int ext = 0; ext < 4; ++ext)
            for (const auto& blk : blocks) {
                SCOPED_TRACE(testing::Message() << sfc << " " << ext << " " << blk[0] << blk[1]);
                Decoded d;
                d.startPos = int(rng() % 8);
                d.bytes.resize(44); // as many bits as the largest layout can take
                for (int i = 0; i < 40; ++i)
                    d.bytes[std::size_t(i)] = uint8_t(rng());
                const int ch = int(rng() & 1);
                unpack_and_pack(d, mp3_header(0, 1, ext), granule_rec(sfc, blk[0], blk[1]), scfsi,
                                0, ch, prior, false, !((ext & 1) && ch == 1));
                if (testing::Test::HasFatalFailure())
                    return;
            }
}

} // namespace
