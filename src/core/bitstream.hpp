// Bit-stream cursor operations: most-significant-bit-first reading and writing through the
// caller's (byte pointer, bit position 0..7) pair, as the AAC and MPEG audio streams use.
#pragma once

#include <cstdint>

namespace zem {

// Four bytes at p as a big-endian word.
inline uint32_t load_be32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

// The next n bits (1 <= n <= 25), first bit most significant; advances the cursor by n.
// Fetches the four bytes at the byte pointer: callers keep three bytes past the data readable.
inline uint32_t read_bits(uint8_t*& stream, int32_t& bitPos, int n) {
    const uint32_t word = load_be32(stream) & (0xFFFFFFFFu >> bitPos);
    const int end = bitPos + n;
    stream += end >> 3;
    bitPos = end & 7;
    return word >> (32 - end);
}

// Moves to the start of the next byte unless already on a byte boundary.
inline void align_to_byte(uint8_t*& stream, int32_t& bitPos) {
    if (bitPos != 0) {
        ++stream;
        bitPos = 0;
    }
}

// Writes the low n bits of value (0 <= n <= 31), most significant first. The bits of the
// current byte after the cursor must be 0 (packing from a byte boundary keeps that true);
// the writer ORs into the current byte and clears the low bits of each byte it starts.
void write_bits(uint8_t*& stream, int32_t& bitPos, uint32_t value, int n);

// Building block of the inline readers: a cursor copied into registers, read by peeking a
// 32-bit window at the current byte and skipping what was consumed. peek(n) looks at most
// three bytes past the last bit of the n, exactly like read_bits.
class BitCursor {
  public:
    BitCursor(uint8_t* stream, int32_t bitPos) : p_(stream), pos_(bitPos) {}

    // The next n bits (1 <= n <= 25) without consuming them.
    uint32_t peek(int n) const { return (load_be32(p_) << pos_) >> (32 - n); }
    // The next 25 bits left-aligned in a 32-bit word (low 7 bits undefined).
    uint32_t window() const { return load_be32(p_) << pos_; }
    void skip(int n) {
        const int end = pos_ + n;
        p_ += end >> 3;
        pos_ = end & 7;
    }
    // Gives back the last n bits read.
    void rewind(int n) {
        const int at = pos_ - n;
        p_ += at >> 3; // arithmetic: a negative offset steps back whole bytes
        pos_ = at & 7;
    }
    uint32_t read(int n) {
        const uint32_t v = peek(n);
        skip(n);
        return v;
    }
    bool read_bit() { return read(1) != 0; }
    void align() { align_to_byte(p_, pos_); }

    // Bits consumed since `start`.
    int64_t bits_since(const uint8_t* start, int32_t startPos) const {
        return (p_ - start) * 8 + (pos_ - startPos);
    }
    uint8_t* byte_ptr() const { return p_; }
    int32_t bit_pos() const { return pos_; }
    // Hands the cursor back to the caller's pair.
    void store(uint8_t** ppStream, int32_t* pBitPos) const {
        *ppStream = p_;
        *pBitPos = pos_;
    }

  private:
    uint8_t* p_;
    int32_t pos_;
};

} // namespace zem
