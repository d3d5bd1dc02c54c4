// The raw data block element parsers on arbitrary bits: the first byte picks the parser and
// its scalar arguments, the rest is the stream.
#include <cstddef>
#include <cstdint>

#include "padded_input.hpp"
#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const uint8_t pick = data[0];
    const int parser = (pick >> 3) & 7;
    constexpr std::size_t kBound[6] = {
        zemReadMaxDecodeChanPairElt, zemReadMaxDecodeChanPairEltMP4,
        zemReadMaxDecodeDatStrElt,   zemReadMaxDecodeFillElt,
        zemReadMaxDecodeMainHeader,  zemReadMaxDecodeExtensionHeader};
    zemfuzz::PaddedInput in(data + 1, size - 1, kBound[parser < 5 ? parser : 5]);
    uint8_t* p = in.data();
    int32_t pos = pick & 7;
    ZemAacIcsRec ics{};
    ZemAacCpeRec cpe{};
    static ZemAacLayerMainRec main;
    static ZemAacLayerExtRec ext;
    uint8_t ms[8 * 60] = {};
    uint8_t bytes[512];
    int32_t tag = 0, count = 0;
    main = ZemAacLayerMainRec{};
    ext = ZemAacLayerExtRec{};
    main.pMsUsed = ms;
    ext.pMsUsed = ms;
    const int arg = pick >> 6;
    switch (parser) {
    case 0:
        zemsDecodeChanPairElt_AAC(&p, &pos, &ics, &cpe, arg * 20);
        break;
    case 1:
        zemsDecodeChanPairElt_MP4_AAC(&p, &pos, &ics, &cpe, &main, arg * 17, arg == 3 ? 1 : 4);
        break;
    case 2:
        zemsDecodeDatStrElt_AAC(&p, &pos, &tag, &count, bytes);
        break;
    case 3:
        zemsDecodeFillElt_AAC(&p, &pos, &count, bytes);
        break;
    case 4:
        zemsDecodeMainHeader_AAC(&p, &pos, &main, 1 + (arg & 1), arg >> 1);
        break;
    default:
        zemsDecodeExtensionHeader_AAC(&p, &pos, &ext, arg & 1, arg >> 1, 1, pick & 7, 51, pick & 3);
        break;
    }
    return 0;
}
