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
        for (int j = i; j > 0 && detail::left_aligned(codes[b.order[j - 1]]) >
                                     detail::left_aligned(codes[b.order[j]]);
             --j) {
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

// A tree with a first-level table over the next 8 bits: each entry holds either the leaf and
// the length of a codeword of at most 8 bits, or the node reached after 8 bits.
template <class Node, int Count> struct HuffDecoder {
    HuffTree<Node, Count> tree;
    uint32_t first[256]; // leaf: 1 << 31 | length << 16 | leaf; otherwise the node index
};

inline constexpr uint32_t kFirstLeaf = 1u << 31;

template <class Node, int Count>
constexpr HuffDecoder<Node, Count> make_decoder(const HuffTree<Node, Count>& tree) {
    HuffDecoder<Node, Count> d{tree, {}};
    for (uint32_t prefix = 0; prefix < 256; ++prefix) {
        int i = 0, depth = 0;
        while ((tree.node[i] & 1) == 0 && depth < 8) {
            i += ((prefix >> (7 - depth)) & 1) ? tree.node[i] >> 1 : 1;
            ++depth;
        }
        d.first[prefix] =
            (tree.node[i] & 1) ? kFirstLeaf | uint32_t(depth) << 16 | tree.node[i] : uint32_t(i);
    }
    return d;
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

// Decodes one codeword at the left-aligned bits of `window` with the first-level table.
template <class Node>
inline uint32_t decode_codeword(const uint32_t* first, const Node* tree, uint32_t window,
                                int& bits) {
    const uint32_t e = first[window >> 24];
    if (e & kFirstLeaf) {
        bits = int(e >> 16) & 0xFF;
        return e & 0xFFFF;
    }
    int rest = 0;
    const uint32_t leaf = walk_tree(tree + e, window << 8, rest); // links are relative
    bits = 8 + rest;
    return leaf;
}

} // namespace zem::aac
