// Shared scaffolding of the bit-stream tests: a built stream with the cursor the functions move,
// bit comparisons, fill checks and the committed test files.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/bit_builder.hpp"
#include "zemac.h"

namespace zemtest {

// The stream's bytes followed by `padding` readable zero bytes, with a byte pointer and bit
// offset that start at bit `startBit`.
struct Cursor {
    std::vector<uint8_t> bytes;
    uint8_t* p;
    int32_t pos;
    explicit Cursor(const BitBuilder& b, int startBit = 0, std::size_t padding = 3)
        : bytes(b.bytes(padding)), p(bytes.data()), pos(startBit) {}
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;
    // Bits from the start of the buffer to the cursor.
    long used() const { return long(p - bytes.data()) * 8 + pos; }
};

// Whether n bits of a from bit aStart equal n bits of b from bit bStart.
inline bool same_bits(const uint8_t* a, std::size_t aStart, const uint8_t* b, std::size_t bStart,
                      std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        if (bit_at(a, aStart + i) != bit_at(b, bStart + i))
            return false;
    return true;
}

// Whether every element of [p, p + n) equals v.
template <typename T, typename V> bool all_equal(const T* p, std::size_t n, V v) {
    return std::all_of(p, p + n, [v](T x) { return x == T(v); });
}

// Sets every byte of a record to `byte`, so that untouched fields can be recognised.
template <typename T> T filled(uint8_t byte) {
    T r;
    std::fill_n(reinterpret_cast<uint8_t*>(&r), sizeof r, byte);
    return r;
}

// A Layer III frame header record (layer code 1, no CRC) with the fields the granule functions
// read.
inline ZemMp3HeaderRec mp3_header(int id, int mode, int modeExtension = 0,
                                  int samplingFrequency = 0) {
    ZemMp3HeaderRec h{};
    h.id = id;
    h.layer = 1;
    h.protection_bit = 1;
    h.mode = mode;
    h.mode_extension = modeExtension;
    h.sampling_frequency = samplingFrequency;
    return h;
}

// A file under the test data directory, whole.
inline std::vector<uint8_t> read_file(const std::string& relative) {
    std::ifstream in(std::string(ZEM_TEST_DATA_DIR) + "/" + relative, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace zemtest
