// Decoding with the small prefix codes of the SBR and PS tools: codewords (length, bits) in
// value order, walked bit by bit through a tree built once.
#pragma once

#include <cstdint>
#include <vector>

#include "bit_reader.hpp"

namespace zemdec {

struct HuffmanCode {
    uint8_t length;
    uint32_t bits; // first transmitted bit in the highest of `length` bits
};

class HuffmanTree {
  public:
    // Codeword i decodes to i + firstValue.
    HuffmanTree(const HuffmanCode* codes, int count, int firstValue);

    // The value of the next codeword; a reader that runs out yields firstValue with the reader
    // marked as overrun.
    int decode(BitReader& br) const {
        int node = 0;
        for (;;) {
            const int16_t next = nodes_[std::size_t(node) * 2 + br.bit()];
            if (next <= 0)
                return -next + firstValue_;
            node = next;
            if (br.overrun())
                return firstValue_;
        }
    }

  private:
    // Pairs of children: a positive entry is an inner node, zero or negative a leaf -index.
    std::vector<int16_t> nodes_;
    int firstValue_;
};

} // namespace zemdec
