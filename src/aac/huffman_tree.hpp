// Binary decoding trees of the AAC codebooks, built at compile time from the code tables.
// Nodes are laid out depth first with the 0 branch first: at an inner node a 0 bit moves to
// the next node and a 1 bit moves forward by (node >> 1) nodes; a node with its lowest bit set
// is a leaf. Scale-factor leaves hold (index << 1) | 1; spectral leaves hold the decoded values
// as 3-bit (4-tuples) or 6-bit (pairs) two's-complement fields from bit 2 up, in output order.
#pragma once

#include "tables/aac_huffman.hpp"

#include <cstdint>

namespace zem::aac {

template <class Node, int Count> struct HuffTree {
    static constexpr int kNodes = 2 * Count - 1;
    Node node[kNodes];
    bool fits; // every branch offset fits the node width
};

namespace detail {

constexpr uint32_t left_aligned(const HuffCode& c) { return c.code << (32 - c.length); }

template <class Node, int Count> struct TreeBuilder {
    const HuffCode* codes;
    uint32_t (*leaf)(int index);
    int order[Count];
    HuffTree<Node, Count> tree;

    // Writes the subtree of the codes order[lo..hi) that share their first `depth` bits at
    // node `pos`; returns the node after it.
    constexpr int build(int lo, int hi, int depth, int pos) {
        if (hi - lo == 1 && codes[order[lo]].length == depth) {
            tree.node[pos] = Node(leaf(order[lo]));
            return pos + 1;
        }
        int split = lo;
        while (split < hi && ((left_aligned(codes[order[split]]) >> (31 - depth)) & 1) == 0)
            ++split;
        const int end0 = build(lo, split, depth + 1, pos + 1);
        const uint32_t jump = uint32_t(end0 - pos) << 1;
        if (jump != Node(jump))
            tree.fits = false;
        tree.node[pos] = Node(jump);
        return build(split, hi, depth + 1, end0);
    }
};

} // namespace detail

template <class Node, int Count>
constexpr HuffTree<Node, Count> make_tree(const HuffCode (&codes)[Count], uint32_t (*leaf)(int)) {
    detail::TreeBuilder<Node, Count> b{codes, leaf, {}, {}};
    b.tree.fits = true;
    for (int i = 0; i < Count; ++i)
        b.order[i] = i;
    for (int i = 1; i < Count; ++i) // insertion sort by left-aligned codeword
        for (int j = i; j > 0 && detail::left_aligned(codes[b.order[j - 1]]) > detail::left_aligned(codes[b.order[j]]); --j) {
            const int t = b.order[j];
            b.order[j] = b.order[j - 1];
            b.order[j - 1] = t;
        }
    if (b.build(0, Count, 0, 0) != HuffTree<Node, Count>::kNodes)
        b.tree.fits = false;
    return b.tree;
}

// Codebook shapes: 4-tuples or pairs, signed values or magnitudes with sign bits, and the
// radix of the codeword index.
struct SpectralBook {
    int dim;
    bool hasSigns;
    int radix;
    int offset; // added to a value to form its index digit
};

inline constexpr SpectralBook kSpectralBooks[12] = {
    {0, false, 0, 0}, {4, false, 3, 1},  {4, false, 3, 1},  {4, true, 3, 0},
    {4, true, 3, 0},  {2, false, 9, 4},  {2, false, 9, 4},  {2, true, 8, 0},
    {2, true, 8, 0},  {2, true, 13, 0},  {2, true, 13, 0},  {2, true, 17, 0},
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
inline constexpr auto kSpectralTree1 = make_tree<uint16_t>(kSpectralCodes1, spectral_leaf<1>);
inline constexpr auto kSpectralTree2 = make_tree<uint16_t>(kSpectralCodes2, spectral_leaf<2>);
inline constexpr auto kSpectralTree3 = make_tree<uint16_t>(kSpectralCodes3, spectral_leaf<3>);
inline constexpr auto kSpectralTree4 = make_tree<uint16_t>(kSpectralCodes4, spectral_leaf<4>);
inline constexpr auto kSpectralTree5 = make_tree<uint16_t>(kSpectralCodes5, spectral_leaf<5>);
inline constexpr auto kSpectralTree6 = make_tree<uint16_t>(kSpectralCodes6, spectral_leaf<6>);
inline constexpr auto kSpectralTree7 = make_tree<uint16_t>(kSpectralCodes7, spectral_leaf<7>);
inline constexpr auto kSpectralTree8 = make_tree<uint16_t>(kSpectralCodes8, spectral_leaf<8>);
inline constexpr auto kSpectralTree9 = make_tree<uint16_t>(kSpectralCodes9, spectral_leaf<9>);
inline constexpr auto kSpectralTree10 = make_tree<uint16_t>(kSpectralCodes10, spectral_leaf<10>);
inline constexpr auto kSpectralTree11 = make_tree<uint16_t>(kSpectralCodes11, spectral_leaf<11>);

static_assert(kSfTree.fits && kSpectralTree1.fits && kSpectralTree2.fits && kSpectralTree3.fits &&
              kSpectralTree4.fits && kSpectralTree5.fits && kSpectralTree6.fits && kSpectralTree7.fits &&
              kSpectralTree8.fits && kSpectralTree9.fits && kSpectralTree10.fits && kSpectralTree11.fits);

// Tree of spectral codebook 1..11.
inline const uint16_t* spectral_tree(int book) {
    static constexpr const uint16_t* kTrees[12] = {
        nullptr,
        kSpectralTree1.node,
        kSpectralTree2.node,
        kSpectralTree3.node,
        kSpectralTree4.node,
        kSpectralTree5.node,
        kSpectralTree6.node,
        kSpectralTree7.node,
        kSpectralTree8.node,
        kSpectralTree9.node,
        kSpectralTree10.node,
        kSpectralTree11.node,
    };
    return kTrees[book];
}

// Walks a tree over the left-aligned bits of `window`; returns the leaf and the bits used.
template <class Node> inline uint32_t walk_tree(const Node* tree, uint32_t window, int& bits) {
    int i = 0;
    int n = 0;
    while ((tree[i] & 1) == 0) {
        i += (window & 0x80000000u) ? tree[i] >> 1 : 1;
        window <<= 1;
        ++n;
    }
    bits = n;
    return tree[i];
}

} // namespace zem::aac
