// ADTS and ADIF headers and the program config element.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/stream.hpp"
#include "zemac.h"

namespace {

using zemtest::BitBuilder;
using zemtest::filled;

struct AdtsFields {
    int id, layer, protection_absent, profile, sfi, private_bit, chan, orig, home, cib, cis, length,
        fullness, blocks, crc;
};

std::vector<uint8_t> adts_bytes(const AdtsFields& f, unsigned syncword = 0xFFF) {
    BitBuilder b;
    b.put(syncword, 12).put(f.id, 1).put(f.layer, 2).put(f.protection_absent, 1);
    b.put(f.profile, 2).put(f.sfi, 4).put(f.private_bit, 1).put(f.chan, 3).put(f.orig, 1);
    b.put(f.home, 1).put(f.cib, 1).put(f.cis, 1).put(f.length, 13).put(f.fullness, 11);
    b.put(f.blocks, 2);
    if (f.protection_absent == 0)
        b.put(f.crc, 16);
    return b.bytes();
}

TEST(AdtsHeader, UnpacksEveryFieldWithAndWithoutCrc) {
    const AdtsFields cases[] = {
        {0, 0, 1, 1, 4, 0, 2, 0, 0, 0, 0, 371, 0x7FF, 0, 0},
        {1, 3, 0, 3, 15, 1, 7, 1, 1, 1, 1, 8191, 0x155, 3, 0xBEEF},
        {0, 1, 0, 0, 11, 1, 1, 0, 1, 0, 1, 9, 0, 2, 0x0001},
    };
    for (const AdtsFields& f : cases) {
        std::vector<uint8_t> bytes = adts_bytes(f, f.id ? 0x123 : 0xFFF); // sync not compared
        ZemAacAdtsRec h = filled<ZemAacAdtsRec>(0x77);
        uint8_t* p = bytes.data();
        ASSERT_EQ(zemsUnpackADTSFrameHeader_AAC(&p, &h), zemStatusOk);
        EXPECT_EQ(p - bytes.data(), f.protection_absent ? 7 : 9);
        // The record is 16 words in stream order, with `reserved` never written after `home`
        // and the CRC word only when present.
        const int32_t keep = 0x77777777;
        const int32_t crc = f.protection_absent ? keep : f.crc;
        const int32_t want[16] = {f.id,      f.layer,    f.protection_absent,
                                  f.profile, f.sfi,      f.private_bit,
                                  f.chan,    f.orig,     f.home,
                                  keep,      f.cib,      f.cis,
                                  f.length,  f.fullness, f.blocks + 1,
                                  crc};
        int32_t got[16];
        static_assert(sizeof got == sizeof h);
        std::memcpy(got, &h, sizeof got);
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(got[i], want[i]) << "field " << i;
    }
}

// A PCE with every list populated as the counts say, optional mixdowns, and comment bytes.
struct PceSpec {
    int front, side, back, lfe, assoc, cc;
    bool mono, stereo, matrix;
    int comments;
};

void put_pce(BitBuilder& b, const PceSpec& s) {
    b.put(5, 4).put(1, 2).put(3, 4);
    b.put(s.front, 4).put(s.side, 4).put(s.back, 4).put(s.lfe, 2).put(s.assoc, 3).put(s.cc, 4);
    b.put(s.mono, 1);
    if (s.mono)
        b.put(9, 4);
    b.put(s.stereo, 1);
    if (s.stereo)
        b.put(10, 4);
    b.put(s.matrix, 1);
    if (s.matrix)
        b.put(2, 2).put(1, 1);
    int k = 0;
    for (int n : {s.front, s.side, s.back})
        for (int i = 0; i < n; ++i, ++k)
            b.put(k & 1, 1).put(k & 15, 4);
    for (int i = 0; i < s.lfe + s.assoc; ++i, ++k)
        b.put(k & 15, 4);
    for (int i = 0; i < s.cc; ++i, ++k)
        b.put(k & 1, 1).put(k & 15, 4);
    b.align();
    b.put(s.comments, 8);
    for (int i = 0; i < s.comments; ++i)
        b.put('a' + i % 26, 8);
}

void expect_pce(const ZemAacPceRec& p, const PceSpec& s) {
    EXPECT_EQ(p.element_instance_tag, 5);
    EXPECT_EQ(p.object_type, 1);
    EXPECT_EQ(p.sampling_frequency_index, 3);
    EXPECT_EQ(p.num_front_channel_elements, s.front);
    EXPECT_EQ(p.num_side_channel_elements, s.side);
    EXPECT_EQ(p.num_back_channel_elements, s.back);
    EXPECT_EQ(p.num_lfe_channel_elements, s.lfe);
    EXPECT_EQ(p.num_assoc_data_elements, s.assoc);
    EXPECT_EQ(p.num_valid_cc_elements, s.cc);
    EXPECT_EQ(p.mono_mixdown_element_number, s.mono ? 9 : 0);
    EXPECT_EQ(p.stereo_mixdown_element_number, s.stereo ? 10 : 0);
    EXPECT_EQ(p.matrix_mixdown_idx, s.matrix ? 2 : 0);
    EXPECT_EQ(p.pseudo_surround_enable, s.matrix ? 1 : 0);
    int k = 0;
    const int32_t* isCpe[] = {p.front_element_is_cpe, p.side_element_is_cpe, p.back_element_is_cpe};
    const int32_t* tags[] = {p.front_element_tag_select, p.side_element_tag_select,
                             p.back_element_tag_select};
    const int counts[] = {s.front, s.side, s.back};
    for (int list = 0; list < 3; ++list)
        for (int i = 0; i < counts[list]; ++i, ++k) {
            EXPECT_EQ(isCpe[list][i], k & 1);
            EXPECT_EQ(tags[list][i], k & 15);
        }
    for (int i = 0; i < s.lfe; ++i, ++k)
        EXPECT_EQ(p.lfe_element_tag_select[i], k & 15);
    for (int i = 0; i < s.assoc; ++i, ++k)
        EXPECT_EQ(p.assoc_data_element_tag_select[i], k & 15);
    for (int i = 0; i < s.cc; ++i, ++k) {
        EXPECT_EQ(p.cc_element_is_ind_sw[i], k & 1);
        EXPECT_EQ(p.valid_cc_element_tag_select[i], k & 15);
    }
    EXPECT_EQ(p.comment_field_bytes, s.comments);
    for (int i = 0; i < s.comments; ++i)
        EXPECT_EQ(p.comment_field_data[i], 'a' + i % 26);
}

const PceSpec kPces[] = {
    {1, 0, 0, 0, 0, 0, false, false, false, 0},
    {3, 2, 1, 1, 0, 0, true, true, true, 5},
    {15, 15, 15, 3, 7, 15, true, false, true, 255},
    {0, 0, 0, 0, 0, 0, false, true, false, 1},
};

TEST(ProgramConfig, EveryStartPositionAndShape) {
    for (const PceSpec& spec : kPces) {
        for (int startPos = 0; startPos < 8; ++startPos) {
            BitBuilder b;
            b.put(0x3F, startPos); // whatever precedes the element in the raw data block
            put_pce(b, spec);
            const std::size_t endBits = b.bit_count();
            std::vector<uint8_t> bytes = b.bytes();
            ZemAacPceRec pce = filled<ZemAacPceRec>(0x55);
            uint8_t* p = bytes.data();
            int32_t pos = startPos;
            ASSERT_EQ(zemsDecodePrgCfgElt_AAC(&p, &pos, &pce), zemStatusOk);
            expect_pce(pce, spec);
            EXPECT_EQ(pos, 0) << "the element ends with whole comment bytes";
            EXPECT_EQ(std::size_t(p - bytes.data()) * 8, endBits);
            if (spec.front < 16) {
                EXPECT_EQ(pce.front_element_is_cpe[spec.front], 0x55555555) << "past the count";
            }
        }
    }
}

std::vector<uint8_t> adif_bytes(bool copyright, int bitstreamType, int pceCount,
                                const PceSpec& spec) {
    BitBuilder b;
    b.put(0x41444946, 32).put(copyright, 1);
    if (copyright)
        for (int i = 0; i < 9; ++i)
            b.put(0xC0 + i, 8);
    b.put(1, 1).put(0, 1).put(bitstreamType, 1).put(0x7ABCDE, 23).put(pceCount - 1, 4);
    for (int i = 0; i < pceCount; ++i) {
        if (bitstreamType == 0)
            b.put(0xF0000 + i, 20);
        put_pce(b, spec);
    }
    return b.bytes();
}

TEST(AdifHeader, HeaderWithProgramConfigElements) {
    for (bool copyright : {false, true}) {
        for (int type : {0, 1}) {
            for (int count : {1, 3, 16}) {
                const PceSpec& spec = kPces[1];
                std::vector<uint8_t> bytes = adif_bytes(copyright, type, count, spec);
                ZemAacAdifRec adif = filled<ZemAacAdifRec>(0x33);
                std::vector<ZemAacPceRec> pces(16);
                uint8_t* p = bytes.data();
                ASSERT_EQ(zemsUnpackADIFHeader_AAC(&p, &adif, pces.data(), 16), zemStatusOk);
                EXPECT_EQ(p, bytes.data() + bytes.size() - 4)
                    << "ends on the byte after the header";
                EXPECT_EQ(adif.adif_id, 0x41444946);
                EXPECT_EQ(adif.copyright_id_present, int(copyright));
                EXPECT_EQ(adif.copyright_id[8], copyright ? 0xC8 : 0x33);
                EXPECT_EQ(adif.original_copy, 1);
                EXPECT_EQ(adif.home, 0);
                EXPECT_EQ(adif.bitstream_type, type);
                EXPECT_EQ(adif.bitrate, 0x7ABCDE);
                EXPECT_EQ(adif.pce_count, count);
                for (int i = 0; i < 16; ++i)
                    EXPECT_EQ(adif.adif_buffer_fullness[i],
                              type == 0 && i < count ? 0xF0000 + i : 0x33333333);
                for (int i = 0; i < count; ++i)
                    expect_pce(pces[std::size_t(i)], spec);
            }
        }
    }
}

// Three declared, room for two: the fields up to pce_count are written, no PCE is read.
TEST(AdifHeader, MorePcesThanRoom) {
    std::vector<uint8_t> bytes = adif_bytes(false, 0, 3, kPces[0]);
    ZemAacAdifRec adif;
    std::vector<ZemAacPceRec> pces(2);
    std::memset(&adif, 0x33, sizeof adif);
    std::memset(pces.data(), 0x44, sizeof(ZemAacPceRec) * 2);
    uint8_t* p = bytes.data();
    EXPECT_EQ(zemsUnpackADIFHeader_AAC(&p, &adif, pces.data(), 2), zemStatusAacBadPceCount);
    EXPECT_EQ(adif.pce_count, 3);
    EXPECT_EQ(adif.bitrate, 0x7ABCDE);
    EXPECT_EQ(adif.adif_buffer_fullness[0], 0x33333333);
    EXPECT_EQ(pces[0].element_instance_tag, 0x44444444);
    EXPECT_EQ(p, bytes.data() + 7) << "past the 60 bits read";
}

} // namespace
