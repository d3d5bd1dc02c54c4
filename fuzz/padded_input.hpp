// Fuzz input copied into a buffer that keeps readable (zero) bytes past the data, as the
// bit-stream readers' contract asks of every caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zemfuzz {

constexpr std::size_t kPadding = 3;

class PaddedInput {
  public:
    // minSize: parsers without a length limit (an element within a frame) read as far as the
    // largest element reaches; the zeros after the data keep them inside the buffer.
    PaddedInput(const uint8_t* data, std::size_t size, std::size_t minSize = 0)
        : bytes_((size > minSize ? size : minSize) + kPadding, 0), size_(size) {
        if (size > 0)
            std::memcpy(bytes_.data(), data, size);
    }
    uint8_t* data() { return bytes_.data(); }
    std::size_t size() const { return size_; }
    // Bytes consumed when the cursor is at p.
    std::size_t offset(const uint8_t* p) const { return std::size_t(p - bytes_.data()); }

  private:
    std::vector<uint8_t> bytes_;
    std::size_t size_;
};

} // namespace zemfuzz
