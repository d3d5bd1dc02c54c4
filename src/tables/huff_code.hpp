// A codeword of a Huffman code table.
#pragma once

#include <cstdint>

namespace zem {

struct HuffCode {
    uint32_t code; // right-aligned, first transmitted bit most significant
    uint8_t length;
};

} // namespace zem
