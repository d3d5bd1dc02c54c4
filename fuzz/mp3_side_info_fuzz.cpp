// Layer III side information unpacking on arbitrary bytes; the first byte picks the version
// and channel count. A frame that unpacks packs back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "padded_input.hpp"
#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 1 + 32)
        return 0;
    ZemMp3HeaderRec h;
    std::memset(&h, 0, sizeof h);
    h.id = data[0] & 1;
    h.layer = 1;
    h.mode = (data[0] >> 1) & 3;
    const int nch = h.mode == 3 ? 1 : 2;
    const std::size_t length = h.id == 1 ? (nch == 1 ? 17 : 32) : (nch == 1 ? 9 : 17);
    zemfuzz::PaddedInput in(data + 1, length, zemReadMaxUnpackSideInfo_MP3);
    uint8_t* p = in.data();
    ZemMp3GranuleRec g[4];
    std::memset(g, 0, sizeof g);
    int32_t mainDataBegin = 0, privateBits = 0, scfsi[8] = {};
    const ZemStatus st = zemsUnpackSideInfo_MP3(&p, g, &mainDataBegin, &privateBits, scfsi, &h);
    if (st == zemStatusMp3BadSideInfo) {
        if (in.offset(p) >= length)
            __builtin_trap();
        return 0;
    }
    if (st != zemStatusOk || in.offset(p) != length)
        __builtin_trap();
    uint8_t out[32 + 3] = {};
    uint8_t* q = out;
    if (zemsPackSideInfo_MP3(g, &q, mainDataBegin, privateBits, scfsi, &h) != zemStatusOk ||
        std::size_t(q - out) != length || std::memcmp(out, data + 1, length) != 0)
        __builtin_trap();
    return 0;
}
