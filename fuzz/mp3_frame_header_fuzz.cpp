// Layer III frame header unpacking on arbitrary bytes: the cursor moves by 4 or 6 bytes, and
// packing the record reproduces the input apart from the sync word.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "padded_input.hpp"
#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 6)
        return 0;
    zemfuzz::PaddedInput in(data, size, zemReadMaxUnpackFrameHeader_MP3);
    uint8_t* p = in.data();
    ZemMp3HeaderRec h;
    std::memset(&h, 0, sizeof h);
    if (zemsUnpackFrameHeader_MP3(&p, &h) != zemStatusOk)
        __builtin_trap();
    const std::size_t length = h.protection_bit == 0 ? 6 : 4;
    if (in.offset(p) != length)
        __builtin_trap();
    uint8_t out[6] = {};
    uint8_t* q = out;
    if (zemsPackFrameHeader_MP3(&h, &q) != zemStatusOk || std::size_t(q - out) != length)
        __builtin_trap();
    if (out[0] != 0xFF || (out[1] & 0xF0) != 0xF0 || (out[1] & 0x0F) != (data[1] & 0x0F) ||
        std::memcmp(out + 2, data + 2, length - 2) != 0)
        __builtin_trap();
    return 0;
}
