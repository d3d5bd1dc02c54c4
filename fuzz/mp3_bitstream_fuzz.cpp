// The Layer III bit-stream readers on arbitrary bits: frame header, side information, scale
// factors and the three Huffman decoders. The first byte picks the reader and its arguments;
// records come from the data too, so that out-of-range side information is exercised.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "padded_input.hpp"
#include "zemac.h"

namespace {

constexpr int16_t kMbp[12] = {6, 3, 6, 3, 6, 3, 8, 3, 8, 3, 8, 3};

// A record from 18 bytes: each field taken small, some of them out of range on purpose.
ZemMp3GranuleRec record_from(const uint8_t* b) {
    ZemMp3GranuleRec g;
    int32_t* f = &g.part2_3_length;
    for (int i = 0; i < 18; ++i)
        f[i] = b[i];
    g.part2_3_length = b[0] * 16;
    g.big_values = b[1] + (b[2] & 1) * 256;
    g.scalefac_compress = b[3] + (b[4] & 1) * 256;
    g.window_switching_flag &= 1;
    g.block_type &= 3;
    g.mixed_block_flag &= 1;
    for (int r = 0; r < 3; ++r)
        g.table_select[r] &= 31;
    g.region0_count &= 15;
    g.region1_count &= 7;
    g.count1table_select &= 1;
    g.preflag &= 1;
    g.scalefac_scale &= 1;
    return g;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 24)
        return 0;
    const uint8_t pick = data[0];
    ZemMp3HeaderRec h{};
    h.id = (pick >> 3) & 1;
    h.layer = 1;
    h.sampling_frequency = data[1] % 3;
    h.mode = data[1] >> 6;
    h.mode_extension = (data[1] >> 4) & 3;
    ZemMp3GranuleRec g = record_from(data + 2);
    zemfuzz::PaddedInput in(data + 20, size - 20, 1024);
    uint8_t* p = in.data();
    int32_t pos = (pick >> 4) & 7;
    ZemMp3GranuleRec side[4];
    int32_t mdb = 0, priv = 0, scfsi[8] = {}, bound = 0, spec[576];
    int8_t sf[40] = {};
    switch (pick & 7) {
    case 0:
        zemsUnpackFrameHeader_MP3(&p, &h);
        break;
    case 1:
        zemsUnpackSideInfo_MP3(&p, side, &mdb, &priv, scfsi, &h);
        break;
    case 2:
        zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, scfsi, &h, pick >> 7, (pick >> 6) & 1);
        break;
    case 3:
        zemsHuffmanDecode_MP3_1u32s(&p, &pos, spec, &bound, &g, &h, g.part2_3_length);
        break;
    default: {
        int16_t longB[6][23], shortB[6][14];
        for (int r = 0; r < 6; ++r) { // tables from the data: boundaries need not be sane
            for (int b = 0; b < 23; ++b)
                longB[r][b] = int16_t(b * 25 + (data[(r + b) % 20] & 3));
            longB[r][22] = 576;
            for (int b = 0; b < 14; ++b)
                shortB[r][b] = int16_t(b * 14 + (data[(r + b) % 20] & 1));
            shortB[r][13] = 192;
        }
        if (pick & 4)
            zemsHuffmanDecodeSfbMbp_MP3_1u32s(&p, &pos, spec, &bound, &g, &h, g.part2_3_length,
                                              &longB[0][0], &shortB[0][0], kMbp);
        else
            zemsHuffmanDecodeSfb_MP3_1u32s(&p, &pos, spec, &bound, &g, &h, g.part2_3_length,
                                           &longB[0][0]);
    }
    }
    return 0;
}
