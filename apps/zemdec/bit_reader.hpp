// A bounded MSB-first reader over a payload held in memory (the SBR and PS extension data of a
// fill element). Reads past the end return zero bits and mark the reader as overrun, so a parser
// can finish its loop and then reject the payload.
#pragma once

#include <cstdint>

namespace zemdec {

class BitReader {
  public:
    BitReader(const uint8_t* data, int bytes) : data_(data), size_(bytes * 8) {}

    uint32_t read(int n) {
        uint32_t v = 0;
        for (int i = 0; i < n; ++i)
            v = v << 1 | bit();
        return v;
    }
    uint32_t bit() {
        if (pos_ >= size_) {
            overrun_ = true;
            ++pos_;
            return 0;
        }
        const uint32_t b = uint32_t(data_[pos_ >> 3] >> (7 - (pos_ & 7))) & 1u;
        ++pos_;
        return b;
    }
    void skip(int n) {
        pos_ += n;
        if (pos_ > size_)
            overrun_ = true;
    }
    int position() const { return pos_; }
    int bits_left() const { return size_ - pos_; }
    bool overrun() const { return overrun_; }

  private:
    const uint8_t* data_;
    int size_;
    int pos_ = 0;
    bool overrun_ = false;
};

} // namespace zemdec
