// Decoding trees of the AAC codebooks, built at compile time from the code tables.
// Scale-factor leaves hold (index << 1) | 1; spectral leaves hold the decoded values as 3-bit
// (4-tuples) or 6-bit (pairs) two's-complement fields from bit 2 up, in output order.
#pragma once

#include "core/huffman_tree.hpp"
#include "tables/aac_huffman.hpp"

#include <cstdint>

namespace zem::aac {

// Codebook shapes: 4-tuples or pairs, signed values or magnitudes with sign bits, and the
// radix of the codeword index.
struct SpectralBook {
    int dim;
    bool hasSigns;
    int radix;
    int offset; // added to a value to form its index digit
};

inline constexpr SpectralBook kSpectralBooks[12] = {
    {0, false, 0, 0}, {4, false, 3, 1}, {4, false, 3, 1}, {4, true, 3, 0},
    {4, true, 3, 0},  {2, false, 9, 4}, {2, false, 9, 4}, {2, true, 8, 0},
    {2, true, 8, 0},  {2, true, 13, 0}, {2, true, 13, 0}, {2, true, 17, 0},
};

constexpr uint32_t sf_leaf(int index) { return (uint32_t(index) << 1) | 1u; }

template <int Book> constexpr uint32_t spectral_leaf(int index) {
    constexpr SpectralBook b = kSpectralBooks[Book];
    const int bits = b.dim == 4 ? 3 : 6;
    uint32_t leaf = 1;
    for (int i = b.dim - 1; i >= 0; --i) {
        const int v = index % b.radix - b.offset;
        index /= b.radix;
        leaf |= (uint32_t(v) & ((1u << bits) - 1)) << (2 + bits * i);
    }
    return leaf;
}

inline constexpr auto kSfTree = make_tree<uint8_t>(kSfCodes, sf_leaf);
inline constexpr auto kSfDecoder = make_decoder(kSfTree);
inline constexpr auto kSpectralTree1 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes1, spectral_leaf<1>));
inline constexpr auto kSpectralTree2 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes2, spectral_leaf<2>));
inline constexpr auto kSpectralTree3 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes3, spectral_leaf<3>));
inline constexpr auto kSpectralTree4 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes4, spectral_leaf<4>));
inline constexpr auto kSpectralTree5 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes5, spectral_leaf<5>));
inline constexpr auto kSpectralTree6 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes6, spectral_leaf<6>));
inline constexpr auto kSpectralTree7 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes7, spectral_leaf<7>));
inline constexpr auto kSpectralTree8 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes8, spectral_leaf<8>));
inline constexpr auto kSpectralTree9 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes9, spectral_leaf<9>));
inline constexpr auto kSpectralTree10 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes10, spectral_leaf<10>));
inline constexpr auto kSpectralTree11 =
    make_decoder(make_tree<uint16_t>(kSpectralCodes11, spectral_leaf<11>));

static_assert(kSfTree.fits && kSpectralTree1.tree.fits && kSpectralTree2.tree.fits &&
              kSpectralTree3.tree.fits && kSpectralTree4.tree.fits && kSpectralTree5.tree.fits &&
              kSpectralTree6.tree.fits && kSpectralTree7.tree.fits && kSpectralTree8.tree.fits &&
              kSpectralTree9.tree.fits && kSpectralTree10.tree.fits && kSpectralTree11.tree.fits);

// Decoder of spectral codebook 1..11 (the first-level table, then the tree).
struct SpectralLookup {
    const uint32_t* first;
    const uint16_t* tree;
};

inline SpectralLookup spectral_decoder(int book) {
    static constexpr SpectralLookup kBooks[12] = {
        {nullptr, nullptr},
        {kSpectralTree1.first, kSpectralTree1.tree.node},
        {kSpectralTree2.first, kSpectralTree2.tree.node},
        {kSpectralTree3.first, kSpectralTree3.tree.node},
        {kSpectralTree4.first, kSpectralTree4.tree.node},
        {kSpectralTree5.first, kSpectralTree5.tree.node},
        {kSpectralTree6.first, kSpectralTree6.tree.node},
        {kSpectralTree7.first, kSpectralTree7.tree.node},
        {kSpectralTree8.first, kSpectralTree8.tree.node},
        {kSpectralTree9.first, kSpectralTree9.tree.node},
        {kSpectralTree10.first, kSpectralTree10.tree.node},
        {kSpectralTree11.first, kSpectralTree11.tree.node},
    };
    return kBooks[book];
}

// Tree of spectral codebook 1..11.
inline const uint16_t* spectral_tree(int book) { return spectral_decoder(book).tree; }

} // namespace zem::aac
