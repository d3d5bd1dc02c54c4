// Decoding trees of the Layer III code tables, built at compile time: pair tables with leaves
// (index << 1) | 1 for index = size x + y, the count1 table A with (8v + 4w + 2x + y) << 1 | 1.
#pragma once

#include "core/huffman_tree.hpp"
#include "tables/mp3_huffman.hpp"

namespace zem::mp3 {

constexpr uint32_t index_leaf(int index) { return (uint32_t(index) << 1) | 1u; }

template <int Count> constexpr auto make_pair_decoder(const HuffCode (&codes)[Count]) {
    return make_decoder(make_tree<uint16_t>(codes, index_leaf));
}

inline constexpr auto kPairDecoder1 = make_pair_decoder(kPairCodes1);
inline constexpr auto kPairDecoder2 = make_pair_decoder(kPairCodes2);
inline constexpr auto kPairDecoder3 = make_pair_decoder(kPairCodes3);
inline constexpr auto kPairDecoder5 = make_pair_decoder(kPairCodes5);
inline constexpr auto kPairDecoder6 = make_pair_decoder(kPairCodes6);
inline constexpr auto kPairDecoder7 = make_pair_decoder(kPairCodes7);
inline constexpr auto kPairDecoder8 = make_pair_decoder(kPairCodes8);
inline constexpr auto kPairDecoder9 = make_pair_decoder(kPairCodes9);
inline constexpr auto kPairDecoder10 = make_pair_decoder(kPairCodes10);
inline constexpr auto kPairDecoder11 = make_pair_decoder(kPairCodes11);
inline constexpr auto kPairDecoder12 = make_pair_decoder(kPairCodes12);
inline constexpr auto kPairDecoder13 = make_pair_decoder(kPairCodes13);
inline constexpr auto kPairDecoder15 = make_pair_decoder(kPairCodes15);
inline constexpr auto kPairDecoder16 = make_pair_decoder(kPairCodes16);
inline constexpr auto kPairDecoder24 = make_pair_decoder(kPairCodes24);
inline constexpr auto kQuadDecoderA = make_decoder(make_tree<uint8_t>(kQuadCodesA, index_leaf));

// First-level table, tree and codes of a code table (by its number in kPairTables).
struct PairCodeTable {
    const uint32_t* first;
    const uint16_t* tree;
    const HuffCode* codes;
};

inline PairCodeTable pair_code_table(int codes) {
    static constexpr PairCodeTable kTables[25] = {
        {},
        {kPairDecoder1.first, kPairDecoder1.tree.node, kPairCodes1},
        {kPairDecoder2.first, kPairDecoder2.tree.node, kPairCodes2},
        {kPairDecoder3.first, kPairDecoder3.tree.node, kPairCodes3},
        {},
        {kPairDecoder5.first, kPairDecoder5.tree.node, kPairCodes5},
        {kPairDecoder6.first, kPairDecoder6.tree.node, kPairCodes6},
        {kPairDecoder7.first, kPairDecoder7.tree.node, kPairCodes7},
        {kPairDecoder8.first, kPairDecoder8.tree.node, kPairCodes8},
        {kPairDecoder9.first, kPairDecoder9.tree.node, kPairCodes9},
        {kPairDecoder10.first, kPairDecoder10.tree.node, kPairCodes10},
        {kPairDecoder11.first, kPairDecoder11.tree.node, kPairCodes11},
        {kPairDecoder12.first, kPairDecoder12.tree.node, kPairCodes12},
        {kPairDecoder13.first, kPairDecoder13.tree.node, kPairCodes13},
        {},
        {kPairDecoder15.first, kPairDecoder15.tree.node, kPairCodes15},
        {kPairDecoder16.first, kPairDecoder16.tree.node, kPairCodes16},
        {},
        {},
        {},
        {},
        {},
        {},
        {},
        {kPairDecoder24.first, kPairDecoder24.tree.node, kPairCodes24},
    };
    return kTables[codes];
}

static_assert(kPairDecoder16.tree.fits && kPairDecoder24.tree.fits && kPairDecoder13.tree.fits &&
              kPairDecoder15.tree.fits && kQuadDecoderA.tree.fits);

} // namespace zem::mp3
