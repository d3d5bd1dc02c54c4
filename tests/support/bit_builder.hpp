// A plain bit-by-bit model of an MSB-first stream, for building test streams and for
// checking the library's readers and writers against something too simple to be wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zemtest {

class BitBuilder {
  public:
    // Appends the low n bits of value, most significant first.
    BitBuilder& put(uint64_t value, int n) {
        for (int i = n - 1; i >= 0; --i)
            bits_.push_back(((value >> i) & 1) != 0);
        return *this;
    }
    BitBuilder& align() {
        while (bits_.size() % 8 != 0)
            bits_.push_back(false);
        return *this;
    }
    std::size_t bit_count() const { return bits_.size(); }
    // The stream as bytes (last byte zero-filled), followed by `padding` zero bytes.
    std::vector<uint8_t> bytes(std::size_t padding = 4) const {
        std::vector<uint8_t> out((bits_.size() + 7) / 8 + padding, 0);
        for (std::size_t i = 0; i < bits_.size(); ++i)
            if (bits_[i])
                out[i / 8] |= uint8_t(0x80 >> (i % 8));
        return out;
    }

  private:
    std::vector<bool> bits_;
};

// Bit i (MSB-first) of a byte buffer.
inline unsigned bit_at(const uint8_t* data, std::size_t i) {
    return (data[i / 8] >> (7 - i % 8)) & 1;
}

// n bits from bit offset `start`, the slow way.
inline uint32_t bits_at(const uint8_t* data, std::size_t start, int n) {
    uint32_t v = 0;
    for (int k = 0; k < n; ++k)
        v = (v << 1) | bit_at(data, start + std::size_t(k));
    return v;
}

} // namespace zemtest
