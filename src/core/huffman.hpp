// Huffman codes and their decoding tables, built at compile time from a code table of
// (codeword, length) in index order. One builder serves every family: a family hands over a
// code table and says which symbol each codeword's leaf carries (by default its index).
//
// Decoding form: a first level indexed by the next eight stream bits, then a binary tree laid
// out depth first with the 0 branch first. At inner node i a 0 bit moves to node i + 1 and a 1
// bit to node tree[i]; a node with its top bit set is a leaf holding the symbol in the other
// bits (so that a step of the walk is a load and a select). A first-level entry holds either
// kFirstLeaf | length << 16 | symbol, for a codeword of at most eight bits, or the node i
// reached after eight bits as tree[i] << 15 | i, both of its branches without a load.
#pragma once

#include <cstdint>

namespace zem {

struct HuffCode {
    uint32_t code; // right-aligned, first transmitted bit most significant
    uint8_t length;
};

// A code table as the builder takes it: its codewords in index order.
struct HuffSource {
    const HuffCode* codes = nullptr;
    int count = 0;
    constexpr HuffSource() = default;
    template <int N> constexpr HuffSource(const HuffCode (&table)[N]) : codes(table), count(N) {}
};

// The symbol of a leaf when the family chooses none: the codeword's index in its table.
struct HuffIndex {
    constexpr uint32_t operator()(int index) const { return uint32_t(index); }
};

inline constexpr uint32_t kFirstLeaf = 1u << 31;

template <class Node> inline constexpr Node kHuffLeaf = Node(Node(1) << (8 * sizeof(Node) - 1));

// One decoding table as its users see it.
template <class Node> struct HuffTable {
    const uint32_t* first;
    const Node* tree;

    // The symbol of the codeword at the top of the left-aligned window, which must hold at
    // least as many valid bits as the longest codeword; `bits` receives its length.
    uint32_t decode(uint32_t window, int& bits) const {
        const uint32_t e = first[window >> 24];
        if (e & kFirstLeaf) {
            bits = int(e >> 16) & 0xFF;
            return e & 0xFFFF;
        }
        window <<= 8; // the ninth bit picks a child of the node the entry names
        uint32_t i = (window & 0x80000000u) ? e >> 15 : (e & 0x7FFF) + 1;
        uint32_t node = tree[i];
        window <<= 1;
        int n = 9;
        while ((node & kHuffLeaf<Node>) == 0) {
            i = (window & 0x80000000u) ? node : i + 1;
            node = tree[i];
            window <<= 1;
            ++n;
        }
        bits = n;
        return node & ~uint32_t(kHuffLeaf<Node>);
    }
};

// Room for a code table of up to Count codewords.
template <class Node, int Count> struct HuffDecoder {
    Node tree[2 * Count - 1];
    uint32_t first[256];
    // A complete prefix code whose symbols and node indices fit in 15 bits and below the
    // node's top bit.
    bool valid;

    constexpr HuffTable<Node> table() const { return {first, tree}; }
};

namespace detail {

constexpr uint32_t left_aligned(const HuffCode& c) { return c.code << (32 - c.length); }

template <class Node, int Count, class Symbol> struct HuffBuilder {
    const HuffCode* codes;
    Symbol symbol;
    int order[Count];
    HuffDecoder<Node, Count> d;

    // Writes the subtree of the codewords order[lo..hi), which share their first `depth` bits,
    // at node `pos`; returns the node after it.
    constexpr int build(int lo, int hi, int depth, int pos) {
        if (hi - lo == 1 && codes[order[lo]].length == depth) {
            const uint32_t s = symbol(order[lo]);
            if (s >= kHuffLeaf<Node> || s > 0x7FFF)
                d.valid = false;
            d.tree[pos] = Node(kHuffLeaf<Node> | s);
            return pos + 1;
        }
        if (hi - lo < 2 || depth >= 32) { // an incomplete code, or a prefix of another codeword
            d.valid = false;
            return pos + 1;
        }
        int split = lo;
        while (split < hi && ((left_aligned(codes[order[split]]) >> (31 - depth)) & 1) == 0)
            ++split;
        const int end0 = build(lo, split, depth + 1, pos + 1);
        if (uint32_t(end0) >= kHuffLeaf<Node> || end0 > 0x7FFF)
            d.valid = false;
        d.tree[pos] = Node(end0);
        return build(split, hi, depth + 1, end0);
    }

    constexpr void first_level() {
        for (uint32_t prefix = 0; prefix < 256; ++prefix) {
            int i = 0, depth = 0;
            while ((d.tree[i] & kHuffLeaf<Node>) == 0 && depth < 8) {
                i = ((prefix >> (7 - depth)) & 1) ? d.tree[i] : i + 1;
                ++depth;
            }
            const uint32_t symbol = d.tree[i] & ~uint32_t(kHuffLeaf<Node>);
            d.first[prefix] = (d.tree[i] & kHuffLeaf<Node>)
                                  ? kFirstLeaf | uint32_t(depth) << 16 | symbol
                                  : uint32_t(d.tree[i]) << 15 | uint32_t(i);
        }
    }
};

} // namespace detail

// Builds the decoding table of a code table of at most Count codewords; symbol(index) is the
// symbol of a codeword.
template <class Node, int Count, class Symbol = HuffIndex>
constexpr HuffDecoder<Node, Count> make_huff_decoder(HuffSource source, Symbol symbol = {}) {
    detail::HuffBuilder<Node, Count, Symbol> b{source.codes, symbol, {}, {}};
    const int n = source.count;
    b.d.valid = n >= 1 && n <= Count;
    if (!b.d.valid)
        return b.d;
    uint64_t kraft = 0; // sum of 2^(32 - length): 2^32 for a complete code
    for (int i = 0; i < n; ++i) {
        const HuffCode c = source.codes[i];
        if (c.length < 1 || c.length > 31 || (c.code >> c.length) != 0)
            b.d.valid = false;
        else
            kraft += uint64_t(1) << (32 - c.length);
        b.order[i] = i;
    }
    if (!b.d.valid || kraft != uint64_t(1) << 32) {
        b.d.valid = false;
        return b.d;
    }
    for (int i = 1; i < n; ++i) // insertion sort by left-aligned codeword
        for (int j = i; j > 0 && detail::left_aligned(source.codes[b.order[j - 1]]) >
                                     detail::left_aligned(source.codes[b.order[j]]);
             --j) {
            const int t = b.order[j];
            b.order[j] = b.order[j - 1];
            b.order[j - 1] = t;
        }
    if (b.build(0, n, 0, 0) != 2 * n - 1)
        b.d.valid = false;
    if (b.d.valid)
        b.first_level();
    return b.d;
}

template <class Node, int Count, class Symbol = HuffIndex>
constexpr HuffDecoder<Node, Count> make_huff_decoder(const HuffCode (&codes)[Count],
                                                     Symbol symbol = {}) {
    return make_huff_decoder<Node, Count>(HuffSource(codes), symbol);
}

// The longest codeword of a code table.
constexpr int huff_longest(HuffSource source) {
    int n = 0;
    for (int i = 0; i < source.count; ++i)
        n = source.codes[i].length > n ? source.codes[i].length : n;
    return n;
}

} // namespace zem
