// Real Layer III streams made by LAME (scripts/make_mp3_bitstream_vectors.sh), walked frame by
// frame through the bit-stream exports: every header, side information, scale-factor set and
// Huffman granule must unpack, use exactly its part2_3_length, and pack or encode back to the
// encoder's own bits.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/stream.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "zemac.h"

namespace {

using zemtest::same_bits;

int frame_bytes(const ZemMp3HeaderRec& h) {
    static const int kbps[2][15] = {
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}};
    static const int rate[2][3] = {{22050, 24000, 16000}, {44100, 48000, 32000}};
    return (h.id ? 144000 : 72000) * kbps[h.id][h.bitrate_index] /
               rate[h.id][h.sampling_frequency] +
           h.padding_bit;
}

struct Counts {
    int frames = 0, granules = 0, shortBlocks = 0, switched = 0, encodedBack = 0;
};

// Decodes one granule and channel at bit `start` of the main data.
void granule(std::vector<uint8_t>& main, std::size_t start, const ZemMp3HeaderRec& h,
             ZemMp3GranuleRec g, const int32_t* scfsi, int8_t* sf, int gr, int ch, Counts& n) {
    uint8_t* p = main.data() + start / 8;
    int32_t pos = int32_t(start % 8);
    ZemMp3GranuleRec packed = g;
    ASSERT_EQ(zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, scfsi, &h, gr, ch), zemStatusOk);
    const std::size_t hufStart = std::size_t(p - main.data()) * 8 + std::size_t(pos);
    const int sfBits = int(hufStart - start);
    ASSERT_LE(sfBits, g.part2_3_length);

    if (h.id == 1 || !((h.mode_extension & 1) && ch == 1)) { // intensity marks pack differently
        std::vector<uint8_t> out(64, 0);
        out[0] = uint8_t(main[start / 8] & (0xFF00 >> (start % 8)));
        uint8_t* q = out.data();
        int32_t qpos = int32_t(start % 8);
        ASSERT_EQ(zemsPackScaleFactors_MP3_8s1u(sf, &q, &qpos, &h, &packed, scfsi, gr, ch),
                  zemStatusOk);
        ASSERT_EQ(std::size_t(q - out.data()) * 8 + std::size_t(qpos) - start % 8,
                  std::size_t(sfBits));
        ASSERT_TRUE(same_bits(out.data(), start % 8, main.data(), start, std::size_t(sfBits)));
    }

    int32_t spec[576], nz;
    const int32_t hufSize = g.part2_3_length - sfBits;
    ASSERT_EQ(zemsHuffmanDecode_MP3_1u32s(&p, &pos, spec, &nz, &g, &h, hufSize), zemStatusOk);
    ASSERT_EQ(std::size_t(p - main.data()) * 8 + std::size_t(pos),
              start + std::size_t(g.part2_3_length));
    // The band-table variants agree on streams without mixed blocks.
    for (int variant = 0; variant < 2; ++variant) {
        static const int16_t mbp[12] = {6, 0, 6, 0, 6, 0, 8, 0, 8, 0, 8, 0};
        uint8_t* p2 = main.data() + hufStart / 8;
        int32_t pos2 = int32_t(hufStart % 8), spec2[576], nz2;
        const int16_t* lt = &zem::mp3::kSfbLong[0][0];
        const ZemStatus st =
            variant == 0
                ? zemsHuffmanDecodeSfb_MP3_1u32s(&p2, &pos2, spec2, &nz2, &g, &h, hufSize, lt)
                : zemsHuffmanDecodeSfbMbp_MP3_1u32s(&p2, &pos2, spec2, &nz2, &g, &h, hufSize, lt,
                                                    &zem::mp3::kSfbShort[0][0], mbp);
        ASSERT_EQ(st, zemStatusOk) << variant;
        ASSERT_EQ(p2, p);
        ASSERT_EQ(nz2, nz);
        ASSERT_EQ(0, std::memcmp(spec, spec2, sizeof spec)) << variant;
    }
    ++n.granules;
    n.switched += g.window_switching_flag;
    n.shortBlocks += g.block_type == 2;

    // The encoder writes the same bits for the decoded values, up to the last non-zero quadruple
    // (what follows, zero quadruples or stuffing, is the encoder's choice).
    if (h.id == 1) {
        const int bv2 = 2 * g.big_values;
        const int count1 = nz > bv2 ? (nz - bv2 + 3) / 4 * 4 : 0;
        std::vector<uint8_t> out(1024, 0);
        uint8_t* q = out.data();
        int32_t qpos = 0;
        ASSERT_EQ(zemsHuffmanEncode_MP3_32s1u(spec, &q, &qpos, &h, &g, count1, 0), zemStatusOk);
        const std::size_t bits = std::size_t(q - out.data()) * 8 + std::size_t(qpos);
        ASSERT_LE(bits, std::size_t(hufSize));
        ASSERT_TRUE(same_bits(out.data(), 0, main.data(), hufStart, bits));
        ++n.encodedBack;
    }
}

Counts walk(const std::string& name) {
    Counts n;
    std::vector<uint8_t> file = zemtest::read_file("mp3_bitstream/" + name);
    EXPECT_GT(file.size(), 1000u) << name;
    std::vector<uint8_t> main; // every frame's main data, in order (the bit reservoir)
    int8_t sf[2][40] = {};
    std::size_t off = 0;
    while (off + 4 <= file.size()) {
        if (file[off] != 0xFF || (file[off + 1] & 0xE0) != 0xE0) {
            ADD_FAILURE() << name << ": lost sync at byte " << off;
            break;
        }
        std::vector<uint8_t> frame(file.begin() + std::ptrdiff_t(off), file.end());
        frame.resize(frame.size() + 8, 0);
        ZemMp3HeaderRec h;
        uint8_t* p = frame.data();
        EXPECT_EQ(zemsUnpackFrameHeader_MP3(&p, &h), zemStatusOk);
        const int headerBytes = h.protection_bit ? 4 : 6;
        EXPECT_EQ(p - frame.data(), headerBytes);
        uint8_t packed[40] = {};
        uint8_t* q = packed;
        EXPECT_EQ(zemsPackFrameHeader_MP3(&h, &q), zemStatusOk);
        EXPECT_EQ(0, std::memcmp(packed, frame.data(), std::size_t(headerBytes)));

        const int nch = h.mode == 3 ? 1 : 2;
        ZemMp3GranuleRec side[4];
        int32_t mainDataBegin, privateBits, scfsi[8];
        uint8_t* s = p;
        EXPECT_EQ(zemsUnpackSideInfo_MP3(&p, side, &mainDataBegin, &privateBits, scfsi, &h),
                  zemStatusOk);
        const int sideBytes = int(p - s);
        q = packed;
        EXPECT_EQ(zemsPackSideInfo_MP3(side, &q, mainDataBegin, privateBits, scfsi, &h),
                  zemStatusOk);
        EXPECT_EQ(0, std::memcmp(packed, s, std::size_t(sideBytes)));

        const int length = frame_bytes(h);
        const int mainBytes = length - headerBytes - sideBytes;
        if (mainBytes < 0 || off + std::size_t(length) > file.size() ||
            std::size_t(mainDataBegin) > main.size()) {
            ADD_FAILURE() << name << ": bad frame at byte " << off;
            break;
        }
        const std::size_t start = main.size() - std::size_t(mainDataBegin);
        main.insert(main.end(), p, p + mainBytes);
        std::vector<uint8_t> padded = main;
        padded.resize(main.size() + 8, 0);
        std::size_t bit = start * 8;
        for (int gr = 0; gr < (h.id ? 2 : 1); ++gr)
            for (int ch = 0; ch < nch; ++ch) {
                SCOPED_TRACE(testing::Message()
                             << name << " frame " << n.frames << " gr " << gr << " ch " << ch);
                const ZemMp3GranuleRec& g = side[gr * nch + ch];
                granule(padded, bit, h, g, scfsi + 4 * ch, sf[ch], gr, ch, n);
                if (testing::Test::HasFatalFailure())
                    return n;
                bit += std::size_t(g.part2_3_length);
            }
        EXPECT_LE(bit, main.size() * 8);
        ++n.frames;
        off += std::size_t(length);
    }
    return n;
}

TEST(Mp3Stream, LameStreamsUnpackDecodeAndPackBack) {
    struct Case {
        const char* name;
        int granulesPerFrame;
    } const cases[] = {
        {"mpeg1_44k_joint.mp3", 4},     {"mpeg1_32k_mono.mp3", 2}, {"mpeg1_44k_vbr_crc.mp3", 4},
        {"mpeg2_22k_joint_crc.mp3", 2}, {"mpeg2_16k_mono.mp3", 1},
    };
    int shortBlocks = 0;
    for (const Case& c : cases) {
        const Counts n = walk(c.name);
        EXPECT_GT(n.frames, 10) << c.name;
        EXPECT_EQ(n.granules, n.frames * c.granulesPerFrame) << c.name;
        shortBlocks += n.shortBlocks;
        std::printf("%s: %d frames, %d granules, %d switched, %d short, %d re-encoded\n", c.name,
                    n.frames, n.granules, n.switched, n.shortBlocks, n.encodedBack);
    }
    EXPECT_GT(shortBlocks, 0);
}

} // namespace
