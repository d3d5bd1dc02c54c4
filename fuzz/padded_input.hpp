// Fuzz input placed right before a guard page: the parser under test may read `bound` bytes
// from the start of the data (its documented read bound, zemac/core.h), so the data is followed
// by exactly the zero bytes that make up the bound, then by an inaccessible page. One byte read
// beyond the bound faults.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zemfuzz {

class PaddedInput {
  public:
    PaddedInput(const uint8_t* data, std::size_t size, std::size_t bound) : size_(size) {
        const std::size_t page = std::size_t(sysconf(_SC_PAGESIZE));
        const std::size_t readable = size > bound ? size : bound;
        const std::size_t pages = (readable + page - 1) / page * page;
        bytes_ = pages + page;
        void* m = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED)
            __builtin_trap();
        base_ = static_cast<uint8_t*>(m);
        if (mprotect(base_ + pages, page, PROT_NONE) != 0)
            __builtin_trap();
        data_ = base_ + pages - readable;
        if (size > 0)
            std::memcpy(data_, data, size);
    }
    PaddedInput(const PaddedInput&) = delete;
    PaddedInput& operator=(const PaddedInput&) = delete;
    ~PaddedInput() { munmap(base_, bytes_); }

    uint8_t* data() { return data_; }
    std::size_t size() const { return size_; }
    // Bytes consumed when the cursor is at p.
    std::size_t offset(const uint8_t* p) const { return std::size_t(p - data_); }

  private:
    uint8_t* base_ = nullptr;
    uint8_t* data_ = nullptr;
    std::size_t bytes_ = 0, size_;
};

} // namespace zemfuzz
