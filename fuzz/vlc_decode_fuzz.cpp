// The four escape-block VLC decoders on arbitrary bits, with specs built from the AAC escape
// codebook and an MP3 linbits table: the first byte picks the decoder, the linbits and the
// block length.
#include <cstddef>
#include <cstdint>

#include "padded_input.hpp"
#include "support/vlc_builder.hpp"

namespace {

const zemtest::VlcSpecs& aac_specs() {
    static const zemtest::VlcSpecs specs(zemtest::aac_pair_book(11), zemtest::VlcSpecs::Kind::Aac);
    return specs;
}

const zemtest::VlcSpecs& mp3_specs() {
    static const zemtest::VlcSpecs specs(zemtest::mp3_pair_book(24), zemtest::VlcSpecs::Kind::Mp3);
    return specs;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const uint8_t pick = data[0];
    const int len = 2 * (1 + (pick >> 3));
    int32_t pos = pick & 7;
    // The documented bound: 107 bits a pair for AAC, 91 for MP3.
    const int perPair = ((pick >> 2) & 3) < 2 ? 107 : 91;
    zemfuzz::PaddedInput in(data + 1, size - 1, std::size_t(pos + len / 2 * perPair - 1) / 8 + 4);
    uint8_t* p = in.data();
    int16_t out[64];
    const int linbits = pick >> 4;
    switch ((pick >> 2) & 3) {
    case 0:
        zemsVLCDecodeEscBlock_AAC_1u16s(&p, &pos, out, len, aac_specs().plain());
        break;
    case 1:
        zemsVLCDecodeUTupleEscBlock_AAC_1u16s(&p, &pos, out, len, aac_specs().tuple());
        break;
    case 2:
        zemsVLCDecodeEscBlock_MP3_1u16s(&p, &pos, linbits, out, len, mp3_specs().plain());
        break;
    default:
        zemsVLCDecodeUTupleEscBlock_MP3_1u16s(&p, &pos, linbits, out, len, mp3_specs().tuple());
        break;
    }
    return 0;
}
