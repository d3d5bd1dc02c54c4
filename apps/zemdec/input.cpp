#include "input.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#if defined(__unix__)
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace zemdec {

Buffer make_buffer(const uint8_t* data, std::size_t size) {
    Buffer b;
    b.bytes.assign(size + kReadPadding, 0);
    if (size > 0)
        std::memcpy(b.bytes.data(), data, size);
    b.size = size;
    return b;
}

#if defined(__unix__)
bool FileMapping::map(int fd, std::size_t size, std::size_t padding) {
    release();
    const std::size_t page = std::size_t(sysconf(_SC_PAGESIZE));
    const std::size_t total = (size + padding + page - 1) / page * page;
    // Zero pages for the whole, then the file over their start; the rest of the file's last
    // page reads as zeros too.
    void* region = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (region == MAP_FAILED)
        return false;
    if (mmap(region, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, fd, 0) == MAP_FAILED) {
        munmap(region, total);
        return false;
    }
    p_ = region;
    bytes_ = total;
    return true;
}

void FileMapping::release() {
    if (p_ != nullptr)
        munmap(p_, bytes_);
    p_ = nullptr;
    bytes_ = 0;
}
#else
bool FileMapping::map(int, std::size_t, std::size_t) { return false; }
void FileMapping::release() {}
#endif

bool load_file(const std::string& path, Buffer& out, std::string& error) {
    FILE* f = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
#if defined(__unix__)
    struct stat st;
    const bool known = f != stdin && fstat(fileno(f), &st) == 0;
    if (known && S_ISDIR(st.st_mode)) { // opens, but reads fail and its "length" is nonsense
        std::fclose(f);
        error = path + ": is a directory";
        return false;
    }
    if (known && S_ISREG(st.st_mode) && st.st_size > 0 &&
        out.mapping.map(fileno(f), std::size_t(st.st_size), kReadPadding)) {
        std::fclose(f);
        out.bytes.clear();
        out.size = std::size_t(st.st_size);
        return true;
    }
#endif
    out.mapping = FileMapping();
    // Read straight into the buffer, sized from the file's length where it has one; the
    // allocator leaves the bytes to be read over uninitialised.
    auto& bytes = out.bytes;
    bytes.clear();
    std::size_t chunk = 1 << 20;
    if (f != stdin && std::fseek(f, 0, SEEK_END) == 0) {
        const long length = std::ftell(f);
        if (length > 0)
            chunk = std::size_t(length) + 1; // one more byte to see the end in one read
        std::rewind(f);
    }
    std::size_t size = 0;
    for (;;) {
        if (bytes.capacity() < size + chunk + kReadPadding)
            bytes.reserve(size + chunk + kReadPadding); // the padding fits without a copy
        bytes.resize(size + chunk);
        const std::size_t n = std::fread(bytes.data() + size, 1, chunk, f);
        size += n;
        if (n < chunk)
            break;
        chunk = size; // an unknown length: grow geometrically
    }
    const bool failed = std::ferror(f) != 0;
    if (f != stdin)
        std::fclose(f);
    if (failed) {
        error = path + ": read error";
        return false;
    }
    bytes.resize(size + kReadPadding);
    std::fill(bytes.begin() + std::ptrdiff_t(size), bytes.end(), uint8_t(0));
    out.size = size;
    return true;
}

void say(std::FILE* out, const char* fmt, ...) {
    if (out == nullptr)
        return;
    va_list args;
    va_start(args, fmt);
    std::vfprintf(out, fmt, args);
    va_end(args);
}

} // namespace zemdec
