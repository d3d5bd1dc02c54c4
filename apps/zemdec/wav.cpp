#include "wav.hpp"

#include <bit>
#include <cerrno>
#include <cstring>
#include <vector>

namespace zemdec {
namespace {

void put16(std::vector<uint8_t>& b, uint32_t v) {
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}

void put32(std::vector<uint8_t>& b, uint32_t v) {
    put16(b, v & 0xFFFF);
    put16(b, v >> 16);
}

void put_tag(std::vector<uint8_t>& b, const char* tag) { b.insert(b.end(), tag, tag + 4); }

// The PCM sub-format GUID of WAVE_FORMAT_EXTENSIBLE.
constexpr uint8_t kPcmGuid[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                  0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

} // namespace

WavWriter::~WavWriter() {
    if (file_ != nullptr)
        finish();
}

bool WavWriter::open(const std::string& path, std::string& error) {
    // Given no buffer, the C library keeps its default of a few kilobytes whatever the size:
    // the buffer is ours, so that writes go out a megabyte at a time. Standard output may be
    // flushed after the writer is gone, so its buffer lives as long as the program.
    if (path == "-") {
        file_ = stdout;
        ownsFile_ = false;
        static char stdoutBuffer[kBufferBytes];
        std::setvbuf(file_, stdoutBuffer, _IOFBF, kBufferBytes);
        return true;
    }
    file_ = std::fopen(path.c_str(), "wb");
    if (file_ == nullptr) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    ownsFile_ = true;
    buffer_ = std::make_unique_for_overwrite<char[]>(kBufferBytes);
    std::setvbuf(file_, buffer_.get(), _IOFBF, kBufferBytes);
    return true;
}

void WavWriter::check(bool ok) {
    if (!ok && !failed_) {
        failed_ = true;
        errorNumber_ = errno != 0 ? errno : EIO;
    }
}

void WavWriter::begin(int sampleRate, int channels, uint32_t channelMask) {
    channels_ = channels;
    const bool extensible = channels > 2;
    const uint32_t blockAlign = uint32_t(channels) * 2;
    std::vector<uint8_t> h;
    put_tag(h, "RIFF");
    put32(h, 0xFFFFFFFFu);
    put_tag(h, "WAVE");
    put_tag(h, "fmt ");
    put32(h, extensible ? 40 : 16);
    put16(h, extensible ? 0xFFFE : 1);
    put16(h, uint32_t(channels));
    put32(h, uint32_t(sampleRate));
    put32(h, uint32_t(sampleRate) * blockAlign);
    put16(h, blockAlign);
    put16(h, 16);
    if (extensible) {
        put16(h, 22);
        put16(h, 16);
        put32(h, channelMask);
        h.insert(h.end(), kPcmGuid, kPcmGuid + 16);
    }
    put_tag(h, "data");
    dataSizeAt_ = long(h.size());
    put32(h, 0xFFFFFFFFu);
    check(std::fwrite(h.data(), 1, h.size(), file_) == h.size());
    started_ = true;
}

void WavWriter::write(const int16_t* interleaved, std::size_t frames) {
    const std::size_t n = frames * std::size_t(channels_);
    dataBytes_ += n * 2;
    if (failed_)
        return;
    if constexpr (std::endian::native == std::endian::little) {
        check(std::fwrite(interleaved, 2, n, file_) == n);
        return;
    }
    uint8_t buf[4096];
    for (std::size_t i = 0; i < n;) {
        std::size_t k = 0;
        for (; i < n && k < sizeof buf; ++i, k += 2) {
            const uint16_t v = uint16_t(interleaved[i]);
            buf[k] = uint8_t(v);
            buf[k + 1] = uint8_t(v >> 8);
        }
        check(std::fwrite(buf, 1, k, file_) == k);
    }
}

bool WavWriter::finish() {
    if (file_ == nullptr)
        return !failed_;
    // A seekable file gets its real sizes (kept at the largest when they exceed 32 bits).
    // The seek writes out the buffer first: a failure there is a write error unless the
    // output cannot seek at all.
    errno = 0;
    if (started_ && !failed_ && std::fseek(file_, 4, SEEK_SET) == 0) {
        const uint64_t riff = dataBytes_ + uint64_t(dataSizeAt_) + 4 - 8;
        if (riff <= 0xFFFFFFFFu) {
            std::vector<uint8_t> v;
            put32(v, uint32_t(riff));
            check(std::fwrite(v.data(), 1, 4, file_) == 4);
            v.clear();
            put32(v, uint32_t(dataBytes_));
            check(std::fseek(file_, dataSizeAt_, SEEK_SET) == 0 &&
                  std::fwrite(v.data(), 1, 4, file_) == 4);
        }
    }
    check(std::fflush(file_) == 0 && std::ferror(file_) == 0);
    if (ownsFile_)
        check(std::fclose(file_) == 0);
    file_ = nullptr;
    return !failed_;
}

} // namespace zemdec
