#include "huffman_tree.hpp"

namespace zemdec {

HuffmanTree::HuffmanTree(const HuffmanCode* codes, int count, int firstValue)
    : nodes_(2, 0), firstValue_(firstValue) {
    // The tables are complete prefix codes: every child is set once the last code is in.
    for (int i = 0; i < count; ++i) {
        int node = 0;
        for (int b = codes[i].length - 1; b >= 0; --b) {
            const std::size_t slot = std::size_t(node) * 2 + ((codes[i].bits >> b) & 1u);
            if (b == 0) {
                nodes_[slot] = int16_t(-i);
            } else {
                if (nodes_[slot] <= 0) {
                    nodes_[slot] = int16_t(nodes_.size() / 2);
                    nodes_.resize(nodes_.size() + 2, 0);
                }
                node = nodes_[slot];
            }
        }
    }
}

} // namespace zemdec
