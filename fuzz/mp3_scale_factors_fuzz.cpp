// Layer III scale-factor unpacking on arbitrary bytes; the first four bytes pick version,
// block type, scalefac_compress, scfsi, granule, channel and bit offset. What unpacks packs
// back to the same number of bits, and to the same bits unless it holds intensity marks.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "padded_input.hpp"
#include "zemac.h"

namespace {
// The widest layout after a bit offset: 39 values of up to 5 bits (the MPEG-2 intensity-stereo
// right channel has partitions of 5-bit scale factors).
constexpr std::size_t kMaxBytes = 1 + (39 * 5 + 7) / 8;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 4 + kMaxBytes)
        return 0;
    ZemMp3HeaderRec h;
    std::memset(&h, 0, sizeof h);
    h.id = data[0] & 1;
    h.layer = 1;
    h.mode_extension = (data[0] >> 1) & 3;
    ZemMp3GranuleRec g;
    std::memset(&g, 0, sizeof g);
    g.block_type = (data[0] >> 3) & 3;
    g.mixed_block_flag = (data[0] >> 5) & 3;
    g.scalefac_compress = ((data[1] << 8) | data[2]) & (h.id ? 15 : 511);
    const int32_t scfsi[4] = {data[3] & 1, (data[3] >> 1) & 1, (data[3] >> 2) & 1,
                              (data[3] >> 3) & 1};
    const int32_t granule = (data[3] >> 4) & 1, channel = data[0] >> 7;
    const int32_t startPos = data[3] >> 5;

    zemfuzz::PaddedInput in(data + 4, size - 4, zemReadMaxUnpackScaleFactors_MP3);
    int8_t sf[40];
    std::memset(sf, 0, sizeof sf);
    uint8_t* p = in.data();
    int32_t pos = startPos;
    if (zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf, &g, scfsi, &h, granule, channel) !=
        zemStatusOk)
        __builtin_trap();
    const std::size_t bits = in.offset(p) * 8 + std::size_t(pos) - std::size_t(startPos);
    if (in.offset(p) > kMaxBytes)
        __builtin_trap();
    uint8_t out[kMaxBytes + 4] = {};
    out[0] = uint8_t(in.data()[0] & (0xFF00 >> startPos));
    uint8_t* q = out;
    int32_t qpos = startPos;
    if (zemsPackScaleFactors_MP3_8s1u(sf, &q, &qpos, &h, &g, scfsi, granule, channel) !=
            zemStatusOk ||
        q - out != p - in.data() || qpos != pos)
        __builtin_trap();
    // Intensity marks of the MPEG-2 right channel are stored negated and packed as their low
    // bits; everything else comes back bit for bit.
    if (h.id == 0 && (h.mode_extension & 1) && channel == 1)
        return 0;
    for (std::size_t i = std::size_t(startPos); i < std::size_t(startPos) + bits; ++i)
        if (((out[i / 8] ^ in.data()[i / 8]) >> (7 - i % 8)) & 1)
            __builtin_trap();
    return 0;
}
