// Decoding tables of the AAC codebooks, built at compile time from the code tables.
// Scale-factor symbols are the codeword index; spectral symbols are the decoded values as 3-bit
// (4-tuples) or 6-bit (pairs) two's-complement fields, the first value lowest, and the count of
// their sign bits.
#pragma once

#include "core/huffman.hpp"
#include "tables/aac_huffman.hpp"

#include <cstdint>
#include <utility>

namespace zem::aac {

inline constexpr auto kSfDecoder = make_huff_decoder<uint16_t>(kSfCodes);
static_assert(kSfDecoder.valid);

constexpr int spectral_field_bits(int dim) { return dim == 4 ? 3 : 6; }

// The values of codebook Book's codeword `index` as the fields of its symbol; for books with
// sign bits, bits 12..14 count the non-zero values (the sign bits that follow the codeword).
constexpr int kSpectralSignCountShift = 12;
template <int Book> struct SpectralSymbol {
    constexpr uint32_t operator()(int index) const {
        constexpr SpectralBook b = kSpectralBooks[Book];
        const int bits = spectral_field_bits(b.dim);
        uint32_t symbol = 0, nonzero = 0;
        for (int j = b.dim - 1; j >= 0; --j) {
            const int v = index % b.radix - b.offset;
            index /= b.radix;
            symbol |= (uint32_t(v) & ((1u << bits) - 1)) << (bits * j);
            nonzero += v != 0;
        }
        return b.hasSigns ? symbol | nonzero << kSpectralSignCountShift : symbol;
    }
};

template <int Book>
inline constexpr auto kSpectralDecoder =
    make_huff_decoder<uint16_t, kSpectralBooks[Book].codes.count>(kSpectralBooks[Book].codes,
                                                                  SpectralSymbol<Book>{});

using SpectralDecoder = HuffTable<uint16_t>;

// The decoders of codebooks 1..11, by codebook number.
template <class Books> struct SpectralDecoders;
template <int... B> struct SpectralDecoders<std::integer_sequence<int, 0, B...>> {
    static_assert((kSpectralDecoder<B>.valid && ...));
    static constexpr SpectralDecoder kAll[] = {{nullptr, nullptr}, kSpectralDecoder<B>.table()...};
};
using AllSpectralDecoders = SpectralDecoders<std::make_integer_sequence<int, 12>>;

inline SpectralDecoder spectral_decoder(int book) { return AllSpectralDecoders::kAll[book]; }

} // namespace zem::aac
