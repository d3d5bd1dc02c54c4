// Layer III Huffman decoders on arbitrary bytes, and encoder-decoder round trips of arbitrary
// spectra. The first 8 bytes pick the granule's side information and the decoder.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "padded_input.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "zemac.h"

namespace {

// A broken stream may be read one pair (at most 47 bits) past its budget, plus the 3 bytes the
// readers fetch ahead.
constexpr std::size_t kPadding = 12;

const int16_t kMbp[12] = {6, 2, 6, 2, 6, 2, 8, 3, 8, 3, 8, 3};

struct Setup {
    ZemMp3HeaderRec h;
    ZemMp3GranuleRec g;
    int32_t bitPos;
    int which;
};

Setup setup(const uint8_t* d) {
    Setup s;
    std::memset(&s, 0, sizeof s);
    s.h.id = d[0] & 1;
    s.h.layer = 1;
    s.h.sampling_frequency = (d[0] >> 1) % 3;
    s.g.window_switching_flag = (d[0] >> 3) & 1;
    s.g.block_type = s.g.window_switching_flag ? 1 + (d[0] >> 4) % 3 : 0;
    s.g.mixed_block_flag = (d[0] >> 6) & 1;
    s.g.count1table_select = d[0] >> 7;
    s.g.big_values = ((d[1] << 8) | d[2]) % 289;
    s.g.table_select[0] = d[3] & 31;
    s.g.table_select[1] = d[4] & 31;
    s.g.table_select[2] = d[5] & 31;
    s.g.region0_count = d[6] & 15;
    s.g.region1_count = (d[6] >> 4) & 7;
    s.bitPos = d[7] & 7;
    s.which = (d[7] >> 3) % 4;
    return s;
}

void check_zeros_after_bound(const int32_t* spec, int32_t bound) {
    if (bound < 0 || bound > 576 || (bound > 0 && spec[bound - 1] == 0))
        __builtin_trap();
    for (int i = bound; i < 576; ++i)
        if (spec[i] != 0)
            __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 9)
        return 0;
    Setup s = setup(data);
    data += 8;
    size -= 8;
    int32_t spec[576];
    int32_t bound = -1;

    if (s.which == 3) {
        // Encode a spectrum that fits the tables, decode it back, compare.
        s.h.id = 1;
        if (s.g.region0_count + s.g.region1_count > 20)
            return 0;
        std::memset(spec, 0, sizeof spec);
        const int bv2 = 2 * s.g.big_values;
        for (int i = 0; i < bv2; ++i)
            spec[i] = int8_t(data[std::size_t(i) % size]) / 5; // within 15 + 15 of table 24
        const int room = (576 - bv2) / 4 * 4;
        const int wanted = 4 * (data[size - 1] % 145);
        const int count1 = wanted < room ? wanted : room;
        for (int i = bv2; i < bv2 + count1; ++i)
            spec[i] = int(data[std::size_t(i) % size] % 3) - 1;
        // Every region uses a table wide enough for its values.
        for (int r = 0; r < 3; ++r)
            s.g.table_select[r] = 24 + (s.g.table_select[r] & 7);
        std::vector<uint8_t> bits(576 * 8 + kPadding, 0);
        uint8_t* p = bits.data();
        int32_t pos = s.bitPos;
        if (zemsHuffmanEncode_MP3_32s1u(spec, &p, &pos, &s.h, &s.g, count1, 0) != zemStatusOk)
            __builtin_trap();
        const int32_t used = int32_t((p - bits.data()) * 8 + pos - s.bitPos);
        s.g.part2_3_length = used;
        int32_t out[576];
        p = bits.data();
        pos = s.bitPos;
        if (zemsHuffmanDecode_MP3_1u32s(&p, &pos, out, &bound, &s.g, &s.h, used) != zemStatusOk ||
            (p - bits.data()) * 8 + pos - s.bitPos != used)
            __builtin_trap();
        // An all-zero tail of the count1 region costs bits, so it is decoded back exactly too.
        for (int i = 0; i < 576; ++i)
            if (out[i] != spec[i])
                __builtin_trap();
        check_zeros_after_bound(out, bound);
        return 0;
    }

    const int64_t available = int64_t(size) * 8 - s.bitPos;
    const int32_t hufSize = int32_t(available < 4095 ? available : 4095);
    s.g.part2_3_length = hufSize;
    // The documented bound: one pair of 47 bits past the budget, and the look-ahead.
    zemfuzz::PaddedInput bytes(data, size, std::size_t(s.bitPos + hufSize + 46) / 8 + 4);
    uint8_t* p = bytes.data();
    int32_t pos = s.bitPos;
    ZemStatus st;
    if (s.which == 0) {
        st = zemsHuffmanDecode_MP3_1u32s(&p, &pos, spec, &bound, &s.g, &s.h, hufSize);
    } else {
        const int16_t* longTable = &zem::mp3::kSfbLong[0][0];
        const int16_t* shortTable = &zem::mp3::kSfbShort[0][0];
        st = s.which == 1 ? zemsHuffmanDecodeSfb_MP3_1u32s(&p, &pos, spec, &bound, &s.g, &s.h,
                                                           hufSize, longTable)
                          : zemsHuffmanDecodeSfbMbp_MP3_1u32s(&p, &pos, spec, &bound, &s.g, &s.h,
                                                              hufSize, longTable, shortTable, kMbp);
    }
    if (st == zemStatusOk) {
        if ((p - bytes.data()) * 8 + pos - s.bitPos != hufSize)
            __builtin_trap();
        check_zeros_after_bound(spec, bound);
    } else if (st != zemStatusFailed && st != zemStatusMp3BadSideInfo) {
        __builtin_trap();
    }
    return 0;
}
