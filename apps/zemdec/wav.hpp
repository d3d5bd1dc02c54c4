// 16-bit PCM WAV output: plain PCM up to two channels, WAVE_FORMAT_EXTENSIBLE with a channel
// mask beyond. Seekable outputs get their sizes patched at the end; a pipe gets the largest
// sizes in the header.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace zemdec {

class WavWriter {
  public:
    WavWriter() = default;
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;
    ~WavWriter();

    // "-" is standard output. False (with a message in error) when the file cannot be opened.
    bool open(const std::string& path, std::string& error);
    void begin(int sampleRate, int channels, uint32_t channelMask);
    void write(const int16_t* interleaved, std::size_t frames);
    // Patches the sizes where possible and closes; false when any write, the flush or the
    // close failed.
    bool finish();
    bool started() const { return started_; }
    int error_number() const { return errorNumber_; } // errno of the first failure

  private:
    void check(bool ok);
    static constexpr std::size_t kBufferBytes = 1 << 20;
    std::FILE* file_ = nullptr;
    std::unique_ptr<char[]> buffer_; // the file's stdio buffer, released after it is closed
    bool ownsFile_ = false;
    bool started_ = false;
    bool failed_ = false;
    int errorNumber_ = 0;
    int channels_ = 0;
    uint64_t dataBytes_ = 0;
    long dataSizeAt_ = 0;
};

} // namespace zemdec
