// Decoding forms of the Layer III Huffman tables, derived at compile time from the code tables:
// the decoders of the fifteen pair code tables (symbol 16x + y), and lookups of ten stream bits
// that resolve a code together with its sign bits.
#pragma once

#include <cstdint>
#include <utility>

#include "core/huffman.hpp"
#include "tables/mp3_huffman.hpp"

namespace zem::mp3 {

constexpr int pair_width(int count) { // the code tables are square
    int w = 1;
    while (w * w < count)
        ++w;
    return w;
}

// The symbol of code table `table`'s codeword `index`: 16x + y.
template <int Table> struct PairSymbol {
    constexpr uint32_t operator()(int index) const {
        const int width = pair_width(kPairCodes[Table].count);
        return uint32_t(index / width) << 4 | uint32_t(index % width);
    }
};

template <int Table>
inline constexpr auto kPairDecoder =
    make_huff_decoder<uint16_t, kPairCodes[Table].count>(kPairCodes[Table], PairSymbol<Table>{});

using PairDecoder = HuffTable<uint16_t>;

template <int... T> constexpr bool all_valid(std::integer_sequence<int, T...>) {
    return (kPairDecoder<T>.valid && ...);
}
static_assert(all_valid(std::make_integer_sequence<int, 15>{}));

// The decoders of the fifteen code tables, indexed like kPairCodes.
template <class Tables> struct PairDecoders;
template <int... T> struct PairDecoders<std::integer_sequence<int, T...>> {
    static constexpr PairDecoder kAll[] = {kPairDecoder<T>.table()...};
};
using AllPairDecoders = PairDecoders<std::make_integer_sequence<int, 15>>;

inline PairDecoder pair_decoder(const PairTable& t) { return AllPairDecoders::kAll[t.decoder]; }

// The magnitudes x and y of a pair decoder's symbol.
constexpr int32_t symbol_x(uint32_t symbol) { return int32_t(symbol >> 4); }
constexpr int32_t symbol_y(uint32_t symbol) { return int32_t(symbol & 15); }

// A ten-bit lookup that resolves a whole pair at once, its code and sign bits together: each
// entry holds the bits used (code and signs, at most ten) in bits 0-3, bits 4-5 clear, and the
// signed x and y as five-bit fields in bits 6-10 and 11-15; or it is 0 where the code with its
// signs takes more than ten bits or a value is escaped (15 in the tables with linbits), which
// the pair decoder then takes. Two bytes an entry keep a table in 2 KB of cache.
constexpr int kSignedPairBits = 10;

struct SignedPairLookup {
    uint16_t entry[1 << kSignedPairBits];
};

constexpr int32_t signed_pair_x(uint32_t e) { return int32_t(e << 21) >> 27; }
constexpr int32_t signed_pair_y(uint32_t e) { return int32_t(e << 16) >> 27; }

constexpr SignedPairLookup signed_pair_lookup(const HuffSource& codes, bool escapes) {
    SignedPairLookup t{};
    const int width = pair_width(codes.count);
    for (int i = 0; i < codes.count; ++i) {
        const HuffCode c = codes.codes[i];
        const int x = i / width, y = i % width;
        const int signs = (x != 0) + (y != 0);
        const int len = c.length + signs;
        if (len > kSignedPairBits || (escapes && (x == 15 || y == 15)))
            continue;
        for (int s = 0; s < (1 << signs); ++s) {
            // The sign bits follow the code, x's first; a 1 means negative.
            const bool negX = x != 0 && ((s >> (signs - 1)) & 1) != 0;
            const bool negY = y != 0 && (s & 1) != 0;
            const uint16_t e =
                uint16_t(len | ((negX ? -x : x) & 31) << 6 | ((negY ? -y : y) & 31) << 11);
            const unsigned base = ((c.code << signs) | unsigned(s)) << (kSignedPairBits - len);
            for (unsigned k = 0; k < (1u << (kSignedPairBits - len)); ++k)
                t.entry[base + k] = e;
        }
    }
    return t;
}

// Indexed like kPairCodes; the last two code tables are those with linbits.
inline constexpr SignedPairLookup kSignedPairLookups[15] = {
    signed_pair_lookup(kPairCodes[0], false),  signed_pair_lookup(kPairCodes[1], false),
    signed_pair_lookup(kPairCodes[2], false),  signed_pair_lookup(kPairCodes[3], false),
    signed_pair_lookup(kPairCodes[4], false),  signed_pair_lookup(kPairCodes[5], false),
    signed_pair_lookup(kPairCodes[6], false),  signed_pair_lookup(kPairCodes[7], false),
    signed_pair_lookup(kPairCodes[8], false),  signed_pair_lookup(kPairCodes[9], false),
    signed_pair_lookup(kPairCodes[10], false), signed_pair_lookup(kPairCodes[11], false),
    signed_pair_lookup(kPairCodes[12], false), signed_pair_lookup(kPairCodes[13], true),
    signed_pair_lookup(kPairCodes[14], true),
};

// The codes alone by the next ten bits, for the pairs the pre-signed lookup leaves open (escaped
// values, or signs past the ten bits): the symbol 16x + y in bits 0-7 and the code's length in
// bits 8-11, or 0 where the code is longer.
struct PairCodeLookup {
    uint16_t entry[1 << kSignedPairBits];
};

constexpr PairCodeLookup pair_code_lookup(const HuffSource& codes) {
    PairCodeLookup t{};
    const int width = pair_width(codes.count);
    for (int i = 0; i < codes.count; ++i) {
        const HuffCode c = codes.codes[i];
        if (c.length > kSignedPairBits)
            continue;
        const uint16_t e = uint16_t((i / width) << 4 | (i % width) | c.length << 8);
        const unsigned base = c.code << (kSignedPairBits - c.length);
        for (unsigned k = 0; k < (1u << (kSignedPairBits - c.length)); ++k)
            t.entry[base + k] = e;
    }
    return t;
}

// Indexed like kPairCodes.
inline constexpr PairCodeLookup kPairCodeLookups[15] = {
    pair_code_lookup(kPairCodes[0]),  pair_code_lookup(kPairCodes[1]),
    pair_code_lookup(kPairCodes[2]),  pair_code_lookup(kPairCodes[3]),
    pair_code_lookup(kPairCodes[4]),  pair_code_lookup(kPairCodes[5]),
    pair_code_lookup(kPairCodes[6]),  pair_code_lookup(kPairCodes[7]),
    pair_code_lookup(kPairCodes[8]),  pair_code_lookup(kPairCodes[9]),
    pair_code_lookup(kPairCodes[10]), pair_code_lookup(kPairCodes[11]),
    pair_code_lookup(kPairCodes[12]), pair_code_lookup(kPairCodes[13]),
    pair_code_lookup(kPairCodes[14]),
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

inline constexpr SignedQuadLookup kSignedQuadLookups[2] = {signed_quad_lookup(false),
                                                           signed_quad_lookup(true)};

} // namespace zem::mp3
