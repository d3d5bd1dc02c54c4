// AAC-LC decoding with the library's exports: ADTS or ADIF streams to interleaved 16-bit PCM
// in WAV channel order.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <vector>

#include "aac_layout.hpp"
#include "input.hpp"

namespace zemdec {

struct AacStreamFormat {
    int sampleRate = 0;
    int channels = 0;
    uint32_t channelMask = 0;
};

struct AacDecodeSummary {
    long frames = 0; // raw data blocks decoded or concealed
    long errors = 0;
};

// Called once with the format before the first samples, then with each block of interleaved
// samples (1024 per channel per raw data block).
struct PcmOutput {
    std::function<void(const AacStreamFormat&)> begin;
    std::function<void(const int16_t*, std::size_t frames)> write;
};

AacDecodeSummary decode_aac(const Buffer& in, const PcmOutput& out, std::FILE* log);

} // namespace zemdec
