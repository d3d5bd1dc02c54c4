#include "core/bitstream.hpp"

namespace zem {

void write_bits(uint8_t*& stream, int32_t& bitPos, uint32_t value, int n) {
    if (n <= 0)
        return;
    const int p = bitPos;
    uint32_t v = value & (0xFFFFFFFFu >> (32 - n));
    if (p + n <= 7) {
        // The field ends inside the current byte without filling it.
        const auto bits = uint8_t(v << (8 - p - n));
        *stream = p == 0 ? bits : uint8_t(*stream | bits);
        bitPos = p + n;
        return;
    }
    // First byte: the part of the field that completes the current byte.
    int left = p + n - 8; // bits of the field still to place after this byte
    const auto head = uint8_t(v >> left);
    *stream = p == 0 ? head : uint8_t(*stream | head);
    ++stream;
    while (left >= 8) {
        left -= 8;
        *stream++ = uint8_t(v >> left);
    }
    if (left > 0)
        *stream = uint8_t(v << (8 - left));
    bitPos = left;
}

} // namespace zem
