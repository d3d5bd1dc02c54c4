// Layer III Huffman tables in the two forms the coder uses, both derived at compile time from the
// code tables of mp3_huffman_codes.hpp.
//
// Encoding form: per table number, the (code, length) array indexed by width * |x| + |y|, the
// width (values per coordinate) and linbits.
//
// Decoding form: per code table, a first level of 16 words indexed by the next four stream bits,
// then a binary tree. Word kinds, told apart by bit 0:
//   leaf (bit 0 set):     x in bits 12-15, y in bits 8-11, code bits still to consume in bits 1-3
//                         (1-4 at the first level, 0 inside the tree, where the walk consumed them)
//   node (bit 0 clear):   an even word w >= 2 naming an inner node, whose words for a next bit
//                         of 0 and 1 are tree[w - 2] and tree[w - 1]; 0 never occurs in a
//                         complete table.
// A first-level node word means the code is longer than four bits: the four bits are consumed
// and the walk continues one bit per node. (Count1 table A, whose codes have at most six bits,
// is decoded by a direct six-bit lookup instead.)
#pragma once

#include <cstdint>

#include "tables/mp3_huffman_codes.hpp"

namespace zem::mp3 {

struct PairTable {
    const HuffCode* codes; // null for tables 0, 4, 14
    int width;
    int linbits;
    int decoder; // index into kDecoders, -1 without codes
};

// Table numbers 0-31; 16-23 and 24-31 share their code tables with different linbits.
constexpr PairTable kPairTables[32] = {
    {nullptr, 1, 0, -1},        {kHuffCodes1, 2, 0, 0},     {kHuffCodes2, 3, 0, 1},
    {kHuffCodes3, 3, 0, 2},     {nullptr, 1, 0, -1},        {kHuffCodes5, 4, 0, 3},
    {kHuffCodes6, 4, 0, 4},     {kHuffCodes7, 6, 0, 5},     {kHuffCodes8, 6, 0, 6},
    {kHuffCodes9, 6, 0, 7},     {kHuffCodes10, 8, 0, 8},    {kHuffCodes11, 8, 0, 9},
    {kHuffCodes12, 8, 0, 10},   {kHuffCodes13, 16, 0, 11},  {nullptr, 1, 0, -1},
    {kHuffCodes15, 16, 0, 12},  {kHuffCodes16, 16, 1, 13},  {kHuffCodes16, 16, 2, 13},
    {kHuffCodes16, 16, 3, 13},  {kHuffCodes16, 16, 4, 13},  {kHuffCodes16, 16, 6, 13},
    {kHuffCodes16, 16, 8, 13},  {kHuffCodes16, 16, 10, 13}, {kHuffCodes16, 16, 13, 13},
    {kHuffCodes24, 16, 4, 14},  {kHuffCodes24, 16, 5, 14},  {kHuffCodes24, 16, 6, 14},
    {kHuffCodes24, 16, 7, 14},  {kHuffCodes24, 16, 8, 14},  {kHuffCodes24, 16, 9, 14},
    {kHuffCodes24, 16, 11, 14}, {kHuffCodes24, 16, 13, 14},
};

constexpr int kMaxTreeWords = 2 * 256; // a prefix code of n codes has n - 1 inner nodes

struct Decoder {
    uint16_t first[16];
    uint16_t tree[kMaxTreeWords];
};

// Builds the decoding form of a prefix code; symbol_bits(i) gives the value bits of code i.
// Codes are assumed complete and prefix-free; the tests check every code decodes back.
template <int N, typename Symbol>
constexpr Decoder build_decoder(const HuffCode (&codes)[N], Symbol symbol_bits) {
    Decoder d{};
    int nodes = 0;
    for (int i = 0; i < N; ++i) {
        const int len = codes[i].length;
        const unsigned code = codes[i].code;
        const uint16_t sym = symbol_bits(i);
        if (len <= 4) {
            const unsigned base = code << (4 - len);
            for (unsigned k = 0; k < (1u << (4 - len)); ++k)
                d.first[base + k] = uint16_t(sym | (len << 1) | 1);
            continue;
        }
        uint16_t* slot = &d.first[code >> (len - 4)];
        for (int b = len - 5; b >= 0; --b) {
            if (*slot == 0)
                *slot = uint16_t(2 * ++nodes);
            slot = &d.tree[*slot - 2 + ((code >> b) & 1)];
        }
        *slot = uint16_t(sym | 1);
    }
    return d;
}

template <int N> constexpr Decoder pair_decoder(const HuffCode (&codes)[N], int width) {
    return build_decoder(
        codes, [width](int i) { return uint16_t(((i / width) << 12) | ((i % width) << 8)); });
}

constexpr Decoder kDecoders[15] = {
    pair_decoder(kHuffCodes1, 2),   pair_decoder(kHuffCodes2, 3),   pair_decoder(kHuffCodes3, 3),
    pair_decoder(kHuffCodes5, 4),   pair_decoder(kHuffCodes6, 4),   pair_decoder(kHuffCodes7, 6),
    pair_decoder(kHuffCodes8, 6),   pair_decoder(kHuffCodes9, 6),   pair_decoder(kHuffCodes10, 8),
    pair_decoder(kHuffCodes11, 8),  pair_decoder(kHuffCodes12, 8),  pair_decoder(kHuffCodes13, 16),
    pair_decoder(kHuffCodes15, 16), pair_decoder(kHuffCodes16, 16), pair_decoder(kHuffCodes24, 16),
};

// A first step of eight bits derived from the decoding form, so that the common codes of up to
// eight bits take one lookup: a leaf word whose bits 1-4 give the code length, or the node word
// the walk reaches after eight bits.
struct FastDecoder {
    uint16_t entry[256];
};

constexpr FastDecoder fast_decoder(const Decoder& d) {
    FastDecoder f{};
    for (unsigned b = 0; b < 256; ++b) {
        uint16_t w = d.first[b >> 4];
        if (w & 1) {
            f.entry[b] = uint16_t((w & 0xFF00) | (((w >> 1) & 7) << 1) | 1);
            continue;
        }
        int n = 4;
        while ((w & 1) == 0 && n < 8)
            w = d.tree[w - 2 + ((b >> (7 - n++)) & 1)];
        f.entry[b] = (w & 1) ? uint16_t((w & 0xFF00) | (n << 1) | 1) : w;
    }
    return f;
}

constexpr FastDecoder kFastDecoders[15] = {
    fast_decoder(kDecoders[0]),  fast_decoder(kDecoders[1]),  fast_decoder(kDecoders[2]),
    fast_decoder(kDecoders[3]),  fast_decoder(kDecoders[4]),  fast_decoder(kDecoders[5]),
    fast_decoder(kDecoders[6]),  fast_decoder(kDecoders[7]),  fast_decoder(kDecoders[8]),
    fast_decoder(kDecoders[9]),  fast_decoder(kDecoders[10]), fast_decoder(kDecoders[11]),
    fast_decoder(kDecoders[12]), fast_decoder(kDecoders[13]), fast_decoder(kDecoders[14]),
};

// A ten-bit lookup that resolves a whole pair at once, its code and sign bits together: each
// entry holds the bits used (code and signs, at most ten) in bits 0-3, bits 4-5 clear, and the
// signed x and y as five-bit fields in bits 6-10 and 11-15; or it is 0 where the code with its
// signs takes more than ten bits or a value is escaped (15 in the tables with linbits), which
// the walk above then takes. Two bytes an entry keep a table in 2 KB of cache.
constexpr int kSignedPairBits = 10;

struct SignedPairLookup {
    uint16_t entry[1 << kSignedPairBits];
};

constexpr int32_t signed_pair_x(uint32_t e) { return int32_t(e << 21) >> 27; }
constexpr int32_t signed_pair_y(uint32_t e) { return int32_t(e << 16) >> 27; }

template <int N>
constexpr SignedPairLookup signed_pair_lookup(const HuffCode (&codes)[N], int width, bool escapes) {
    SignedPairLookup t{};
    for (int i = 0; i < N; ++i) {
        const int x = i / width, y = i % width;
        const int signs = (x != 0) + (y != 0);
        const int len = codes[i].length + signs;
        if (len > kSignedPairBits || (escapes && (x == 15 || y == 15)))
            continue;
        for (int s = 0; s < (1 << signs); ++s) {
            // The sign bits follow the code, x's first; a 1 means negative.
            const bool negX = x != 0 && ((s >> (signs - 1)) & 1) != 0;
            const bool negY = y != 0 && (s & 1) != 0;
            const uint16_t e =
                uint16_t(len | ((negX ? -x : x) & 31) << 6 | ((negY ? -y : y) & 31) << 11);
            const unsigned base = ((unsigned(codes[i].code) << signs) | unsigned(s))
                                  << (kSignedPairBits - len);
            for (unsigned k = 0; k < (1u << (kSignedPairBits - len)); ++k)
                t.entry[base + k] = e;
        }
    }
    return t;
}

// Indexed like kDecoders; the last two code tables are those with linbits.
constexpr SignedPairLookup kSignedPairLookups[15] = {
    signed_pair_lookup(kHuffCodes1, 2, false),   signed_pair_lookup(kHuffCodes2, 3, false),
    signed_pair_lookup(kHuffCodes3, 3, false),   signed_pair_lookup(kHuffCodes5, 4, false),
    signed_pair_lookup(kHuffCodes6, 4, false),   signed_pair_lookup(kHuffCodes7, 6, false),
    signed_pair_lookup(kHuffCodes8, 6, false),   signed_pair_lookup(kHuffCodes9, 6, false),
    signed_pair_lookup(kHuffCodes10, 8, false),  signed_pair_lookup(kHuffCodes11, 8, false),
    signed_pair_lookup(kHuffCodes12, 8, false),  signed_pair_lookup(kHuffCodes13, 16, false),
    signed_pair_lookup(kHuffCodes15, 16, false), signed_pair_lookup(kHuffCodes16, 16, true),
    signed_pair_lookup(kHuffCodes24, 16, true),
};

// Count1 quadruples by their next ten bits (the longest code of table A, six bits, with four
// signs): the bits used in bits 0-3, then v, w, x, y as two-bit two's complement fields in
// bits 4-5, 6-7, 8-9 and 10-11. Table B's code is 15 minus the magnitudes' index, in four bits.
constexpr int kSignedQuadBits = 10;

struct SignedQuadLookup {
    uint16_t entry[1 << kSignedQuadBits];
};

constexpr SignedQuadLookup signed_quad_lookup(bool tableB) {
    SignedQuadLookup t{};
    for (int index = 0; index < 16; ++index) { // 8|v| + 4|w| + 2|x| + |y|
        const unsigned code = tableB ? unsigned(15 - index) : kQuadCodesA[index].code;
        const int codeLen = tableB ? 4 : kQuadCodesA[index].length;
        int signs = 0;
        for (int k = 0; k < 4; ++k)
            signs += (index >> k) & 1;
        const int len = codeLen + signs;
        for (int s = 0; s < (1 << signs); ++s) {
            uint16_t e = uint16_t(len);
            int next = signs; // sign bits in the order v, w, x, y
            for (int k = 0; k < 4; ++k) {
                if (((index >> (3 - k)) & 1) == 0)
                    continue;
                const bool negative = ((s >> --next) & 1) != 0;
                e = uint16_t(e | (negative ? 3u : 1u) << (4 + 2 * k));
            }
            const unsigned base = ((code << signs) | unsigned(s)) << (kSignedQuadBits - len);
            for (unsigned k = 0; k < (1u << (kSignedQuadBits - len)); ++k)
                t.entry[base + k] = e;
        }
    }
    return t;
}

constexpr SignedQuadLookup kSignedQuadLookups[2] = {signed_quad_lookup(false),
                                                    signed_quad_lookup(true)};

} // namespace zem::mp3
