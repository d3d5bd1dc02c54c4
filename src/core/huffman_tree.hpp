// Binary decoding trees built at compile time from a code table. Nodes are laid out depth
// first with the 0 branch first: at an inner node a 0 bit moves to the next node and a 1 bit
// moves forward by (node >> 1) nodes; a node with its lowest bit set is a leaf, whose other
// bits the code table's owner chooses.
#pragma once

#include <cstdint>

#include "tables/huff_code.hpp"

namespace zem {

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

} // namespace zem
