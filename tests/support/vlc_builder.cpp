#include "support/vlc_builder.hpp"

#include <algorithm>
#include <cstring>

#include "tables/aac_huffman.hpp"
#include "tables/mp3_huffman.hpp"

namespace zemtest {
namespace {

// A code with its decoded pair, as the decoding table sees it.
struct Leaf {
    uint32_t code;
    int length;
    int x, y;
};

// Appends a level for the leaves sharing their first `depth` bits; returns its position.
// Plain leaves put x above bit L + 9 and y + 128 in bits L + 1..L + 8; tuple leaves put x at
// bit L + 6 and y at bit L + 1 (V = 5, S = 10).
int build_level(std::vector<int32_t>& table, const std::vector<Leaf>& leaves, int depth,
                int firstWidth, bool tuple, int lengthBits) {
    int longest = 0;
    for (const Leaf& l : leaves)
        longest = std::max(longest, l.length - depth);
    const int width = std::min(longest, depth == 0 ? firstWidth : 3);
    const int at = int(table.size());
    table.push_back(width);
    table.resize(table.size() + (std::size_t(1) << width), 0);
    std::vector<std::vector<Leaf>> deeper(std::size_t(1) << width);
    for (const Leaf& l : leaves) {
        const int rest = l.length - depth;
        const uint32_t bits =
            l.code & ((rest >= 32 ? 0u : (1u << rest)) - 1); // the bits after depth
        if (rest <= width) {
            const uint32_t first = bits << (width - rest);
            const int32_t value = tuple ? (l.x << (lengthBits + 6)) | (l.y << (lengthBits + 1))
                                        : int32_t(uint32_t(l.x) << (lengthBits + 9)) |
                                              ((l.y + 128) << (lengthBits + 1));
            for (uint32_t k = 0; k < (1u << (width - rest)); ++k)
                table[std::size_t(at + 1) + first + k] = value | (rest << 1) | 1;
        } else {
            deeper[bits >> (rest - width)].push_back(l);
        }
    }
    for (std::size_t i = 0; i < deeper.size(); ++i)
        if (!deeper[i].empty()) { // a link counts elements from the start of the table
            const int child =
                build_level(table, deeper[i], depth + width, firstWidth, tuple, lengthBits);
            table[std::size_t(at + 1) + i] = child << 1;
        }
    return at;
}

template <typename T>
std::size_t place(std::vector<uint8_t>& memory, std::size_t at, const T& spec) {
    std::memcpy(memory.data() + at, &spec, sizeof spec);
    return at;
}

// A book the tables can hold: codes of 1..21 bits (23 with their two sign bits, the longest
// window) that form a complete prefix code, so that every bit pattern decodes.
bool complete_code(const PairBook& book) {
    uint64_t kraft = 0; // sum of 2^(32 - length): 2^32 for a complete code
    for (const PairCode& c : book.codes) {
        if (c.length < 1 || c.length > 21)
            return false;
        kraft += uint64_t(1) << (32 - c.length);
    }
    return kraft == (uint64_t(1) << 32);
}

} // namespace

VlcSpecs::VlcSpecs(const PairBook& book, Kind kind, int elementBits, int firstWidth) {
    if (!complete_code(book)) {
        status_ = zemStatusBadArgument;
        return;
    }
    const int limit = kind == Kind::Aac ? 16 : 15, stride = kind == Kind::Aac ? 64 : 32;
    const int base = stride * limit;
    const int k = kind == Kind::Aac ? 12 : 11;
    encTable_.assign(std::size_t(2) << k, 0);
    std::vector<Leaf> leaves[2]; // plain (with the sign bits), tuple
    int longest = 0;
    for (const PairCode& c : book.codes) {
        leaves[1].push_back({c.code, c.length, c.x, c.y});
        const int xs = book.hasSigns && c.x != 0 ? 2 : 1, ys = book.hasSigns && c.y != 0 ? 2 : 1;
        for (int sx = 0; sx < xs; ++sx)
            for (int sy = 0; sy < ys; ++sy) {
                const int x = sx ? -c.x : c.x, y = sy ? -c.y : c.y;
                const int signs = (xs - 1) + (ys - 1);
                uint32_t code = c.code;
                if (xs > 1)
                    code = (code << 1) | uint32_t(sx);
                if (ys > 1)
                    code = (code << 1) | uint32_t(sy);
                const int length = c.length + signs;
                longest = std::max(longest, length);
                leaves[0].push_back({code, length, x, y});
                const int index = base + limit + stride * x + y;
                encTable_[std::size_t(index)] = length;
                encTable_[(std::size_t(1) << k) + std::size_t(index)] = int32_t(code);
            }
    }
    // The length field holds a level's width: 3 bits for widths up to 7, which leaves 16-bit
    // elements room for small signed values.
    const int lengthBits = elementBits == 16 ? 3 : 4;
    memory_.assign(4 * 64 + 32, 0);
    const std::size_t start = (32 - reinterpret_cast<std::uintptr_t>(memory_.data()) % 32) % 32;
    ZemVlcEncSpec e{};
    e.pTable = encTable_.data();
    e.base = base;
    e.indexBits = k;
    e.tag = 0x434D415F;
    encAt_ = place(memory_, start, e);
    ZemVlcDecSpec d{};
    d.tag = 0x434D4160;
    d.windowBits = longest;
    d.elementBits = elementBits;
    d.lengthBits = lengthBits;
    d.valueBits = 5;
    d.valuesBits = 10;
    for (int t = 0; t < 2; ++t) {
        build_level(tables32_[t], leaves[t], 0, firstWidth, t == 1, lengthBits);
        tables16_[t].assign(tables32_[t].begin(), tables32_[t].end());
        d.pTable =
            elementBits == 16 ? static_cast<const void*>(tables16_[t].data()) : tables32_[t].data();
        decAt_[t] = place(memory_, start + 64 * std::size_t(t + 1), d);
    }
}

// A misaligned address still rounds up to the record: step back 32 and forward by misalign.
const uint8_t* VlcSpecs::at(std::size_t offset, int misalign) const {
    if (status_ != zemStatusOk)
        return nullptr;
    return memory_.data() + offset - (misalign ? 32 - misalign : 0);
}
const ZemVlcEncSpec* VlcSpecs::enc(int misalign) const {
    return reinterpret_cast<const ZemVlcEncSpec*>(at(encAt_, misalign));
}
const ZemVlcDecSpec* VlcSpecs::plain(int misalign) const {
    return reinterpret_cast<const ZemVlcDecSpec*>(at(decAt_[0], misalign));
}
const ZemVlcDecSpec* VlcSpecs::tuple(int misalign) const {
    return reinterpret_cast<const ZemVlcDecSpec*>(at(decAt_[1], misalign));
}

PairBook aac_pair_book(int book) {
    using namespace zem;
    using namespace zem::aac;
    const SpectralBook& b = kSpectralBooks[book];
    const HuffCode* codes = b.codes.codes;
    PairBook out{{}, b.hasSigns, book == 11 ? 16 : b.hasSigns ? b.radix - 1 : b.offset};
    for (int i = 0; i < b.radix * b.radix; ++i)
        out.codes.push_back(
            {i / b.radix - b.offset, i % b.radix - b.offset, codes[i].code, codes[i].length});
    return out;
}

PairBook mp3_pair_book(int table) {
    const zem::mp3::PairTable& t = zem::mp3::kPairTables[table];
    PairBook out{{}, true, 15};
    for (int i = 0; t.codes && i < t.width * t.width; ++i)
        out.codes.push_back({i / t.width, i % t.width, t.codes[i].code, t.codes[i].length});
    return out;
}

} // namespace zemtest
