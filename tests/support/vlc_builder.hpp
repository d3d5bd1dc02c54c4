// Builds the caller-side records of the escape-block VLC functions from a codeword list: the
// encoding spec, the plain decoding spec (codewords with their sign bits as one code) and the
// unsigned-tuple decoding spec (codewords of magnitudes, signs read by the decoder).
#pragma once

#include <cstdint>
#include <vector>

#include "zemac.h"

namespace zemtest {

// One codeword of a pair codebook: values (signed for signed books, magnitudes otherwise).
struct PairCode {
    int x, y;
    uint32_t code;
    int length;
};

struct PairBook {
    std::vector<PairCode> codes;
    bool hasSigns; // a sign bit follows each non-zero magnitude
    int limit;     // largest magnitude in the code (16 for AAC escapes, 15 for MP3 linbits)
};

// Specs and the tables they point to; the specs sit at 32-byte boundaries inside `memory`.
class VlcSpecs {
  public:
    enum class Kind { Aac, Mp3 };
    // firstWidth: index width of the first level (at most 7); deeper levels take 3 bits.
    VlcSpecs(const PairBook& book, Kind kind, int elementBits = 32, int firstWidth = 6);
    VlcSpecs(const VlcSpecs&) = delete;
    // zemStatusBadArgument when the book is empty or not a complete prefix code (then the record
    // addresses are null): a table with holes would send a decoder through links that never end.
    ZemStatus status() const { return status_; }
    VlcSpecs& operator=(const VlcSpecs&) = delete;

    // Addresses with `misalign` bytes added: the functions round them up to the record.
    const ZemVlcEncSpec* enc(int misalign = 0) const;
    const ZemVlcDecSpec* plain(int misalign = 0) const;
    const ZemVlcDecSpec* tuple(int misalign = 0) const;

  private:
    const uint8_t* at(std::size_t offset, int misalign) const;
    std::vector<uint8_t> memory_;
    std::vector<int32_t> encTable_, tables32_[2]; // decoding tables: plain, tuple
    std::vector<int16_t> tables16_[2];
    std::size_t encAt_ = 0, decAt_[2] = {};
    ZemStatus status_ = zemStatusOk;
};

// The AAC spectral codebook 1..11 of the library's tables, as pairs (4-tuple books are not
// pair books: only 5..11).
PairBook aac_pair_book(int book);
// An MP3 big-value table (1-31) of the library's tables, as magnitude pairs.
PairBook mp3_pair_book(int table);

} // namespace zemtest
