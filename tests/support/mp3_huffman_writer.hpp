// Layer III Huffman-coded values written bit by bit from the code tables, for building test
// granules of either version independently of the library's encoder.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "support/bit_builder.hpp"
#include "tables/mp3_huffman.hpp"

namespace zemtest {

// One pair with table t (1-3, 5-13, 15-31): code, then linbits and sign of x, then of y.
inline void put_pair(BitBuilder& b, int t, int x, int y) {
    const zem::mp3::PairTable& table = zem::mp3::kPairTables[t];
    const int ax = std::abs(x), ay = std::abs(y);
    const int cx = ax < 15 ? ax : 15, cy = ay < 15 ? ay : 15;
    const zem::HuffCode c = table.codes[cx * table.width + cy];
    b.put(c.code, c.length);
    if (table.linbits > 0 && cx == 15)
        b.put(unsigned(ax - 15), table.linbits);
    if (x != 0)
        b.put(x < 0, 1);
    if (table.linbits > 0 && cy == 15)
        b.put(unsigned(ay - 15), table.linbits);
    if (y != 0)
        b.put(y < 0, 1);
}

// One count1 quadruple v, w, x, y (each -1, 0 or 1) with table A or B.
inline void put_quad(BitBuilder& b, bool tableB, const int32_t* v) {
    unsigned index = 0;
    for (int k = 0; k < 4; ++k)
        index = (index << 1) | (v[k] != 0);
    if (tableB)
        b.put(15 - index, 4);
    else
        b.put(zem::mp3::kQuadCodesA[index].code, zem::mp3::kQuadCodesA[index].length);
    for (int k = 0; k < 4; ++k)
        if (v[k] != 0)
            b.put(v[k] < 0, 1);
}

} // namespace zemtest
