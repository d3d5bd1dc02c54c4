// Whole-file input with readable padding past the data, as the library's bit readers expect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "zemac.h"

namespace zemdec {

// The library bounds how far one call reads from its cursor (zemac/core.h), and the decoders
// start every element inside the data. The farthest they read from there is a channel pair
// element: its id and tag (at most one byte on), the pair header, then two channel streams,
// each call starting where the one before it stopped. An ADIF header is read from the start of
// the file. The zero padding keeps all of that inside the buffer.
constexpr std::size_t kReadPadding =
    1 + zemReadMaxDecodeChanPairElt + 2 * std::size_t(zemReadMaxNoiselessDecode);
static_assert(kReadPadding >= zemReadMaxUnpackADIFHeader);

// An allocator whose resize leaves new bytes uninitialised, so that a file is read into memory
// that was not zero-filled first.
template <class T> struct UninitialisedAllocator : std::allocator<T> {
    template <class U> struct rebind { using other = UninitialisedAllocator<U>; };
    UninitialisedAllocator() = default;
    template <class U> UninitialisedAllocator(const UninitialisedAllocator<U>&) noexcept {}
    template <class U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <class U, class... Args> void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};

// A regular file mapped into memory, followed by zero pages for the padding: no copy of the
// file and no pages to clear first. Unmapped with the object.
class FileMapping {
  public:
    FileMapping() = default;
    FileMapping(FileMapping&& o) noexcept
        : p_(std::exchange(o.p_, nullptr)), bytes_(std::exchange(o.bytes_, 0)) {}
    FileMapping& operator=(FileMapping&& o) noexcept {
        if (this != &o) {
            release();
            p_ = std::exchange(o.p_, nullptr);
            bytes_ = std::exchange(o.bytes_, 0);
        }
        return *this;
    }
    ~FileMapping() { release(); }
    // Maps the size bytes of the open file fd with padding zero bytes after them; false where
    // the system cannot map it (the caller then reads it).
    bool map(int fd, std::size_t size, std::size_t padding);
    const uint8_t* data() const { return static_cast<const uint8_t*>(p_); }

  private:
    void release();
    void* p_ = nullptr;
    std::size_t bytes_ = 0;
};

struct Buffer {
    // size() == data size + kReadPadding, padding zeroed; empty when the file is mapped
    std::vector<uint8_t, UninitialisedAllocator<uint8_t>> bytes;
    FileMapping mapping;
    std::size_t size = 0; // bytes of real data
    const uint8_t* data() const {
        return mapping.data() != nullptr ? mapping.data() : bytes.data();
    }
};

Buffer make_buffer(const uint8_t* data, std::size_t size);
bool load_file(const std::string& path, Buffer& out, std::string& error);

// printf to out, or nothing when out is null (quiet runs, fuzzing).
void say(std::FILE* out, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

} // namespace zemdec
