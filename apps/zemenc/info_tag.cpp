#include "info_tag.hpp"

#include <cstring>

namespace zemenc {

uint16_t tag_crc(const uint8_t* data, std::size_t n, uint16_t crc) {
    for (std::size_t i = 0; i < n; ++i) {
        crc ^= data[i];
        for (int b = 0; b < 8; ++b)
            crc = (crc & 1) ? uint16_t((crc >> 1) ^ 0xA001) : uint16_t(crc >> 1);
    }
    return crc;
}

std::vector<uint8_t> info_frame(const ZemMp3HeaderRec& header, const StreamFacts& facts) {
    static constexpr int kKbps[15] = {0,   32,  40,  48,  56,  64,  80, 96,
                                      112, 128, 160, 192, 224, 256, 320};
    static constexpr int kRates[3] = {44100, 48000, 32000};
    ZemMp3HeaderRec h = header;
    h.protection_bit = 1;
    h.padding_bit = 0;
    h.mode_extension = 0;
    // At low rates the tag needs a larger frame than the stream's: the smallest that holds it.
    const int side = h.mode == 3 ? 17 : 32, need = 4 + side + 120 + 36;
    while (144000 * kKbps[h.bitrate_index] / kRates[h.sampling_frequency] < need)
        ++h.bitrate_index;
    const int bytes = 144000 * kKbps[h.bitrate_index] / kRates[h.sampling_frequency];
    std::vector<uint8_t> f(std::size_t(bytes) + 8, 0);
    uint8_t* p = f.data();
    zemsPackFrameHeader_MP3(&h, &p);
    f.resize(std::size_t(bytes));
    std::size_t at = std::size_t(4 + side); // side information all zero: a silent frame
    auto put = [&](uint32_t v, int n) {
        for (int i = n - 1; i >= 0; --i)
            f[at++] = uint8_t(v >> (8 * i));
    };
    const long total = facts.audioBytes + bytes;
    std::memcpy(&f[at], facts.vbr ? "Xing" : "Info", 4);
    at += 4;
    put(0x0F, 4); // frames, bytes, table of contents, quality
    put(uint32_t(facts.frames), 4);
    put(uint32_t(total), 4);
    for (int i = 0; i < 100; ++i) // where each hundredth of the frames starts in the file
        f[at++] = uint8_t(256 * (bytes + facts.start[i]) / total);
    put(uint32_t(facts.quality), 4);
    std::memcpy(&f[at], "zemenc1.0", 9);
    at += 9;
    f[at++] = facts.vbr ? 0x03 : 0x00; // tag revision 0; method: 3 iterated variable, 0 unknown
    f[at++] = 0;                       // low-pass unknown
    put(0, 4);                         // peak signal unknown
    put(0, 2);                         // radio replay gain unknown
    put(0, 2);                         // audiophile replay gain unknown
    f[at++] = 0;                       // encoding flags
    f[at++] = uint8_t(kKbps[h.bitrate_index] > 255 ? 255 : kKbps[h.bitrate_index]);
    f[at++] = uint8_t(facts.delay >> 4);
    f[at++] = uint8_t((facts.delay & 15) << 4 | (facts.padding >> 8 & 15));
    f[at++] = uint8_t(facts.padding);
    f[at++] = 0; // misc
    f[at++] = 0; // MP3 gain
    put(0, 2);   // preset and surround
    put(uint32_t(total), 4);
    put(facts.musicCrc, 2);
    put(tag_crc(f.data(), 190), 2);
    return f;
}

} // namespace zemenc
