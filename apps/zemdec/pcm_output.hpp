// What every decoder of zemdec hands back: the stream's format and blocks of interleaved 16-bit
// PCM through a PcmOutput, and a summary of the frames it decoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace zemdec {

struct StreamFormat {
    int sampleRate = 0;
    int channels = 0;
    uint32_t channelMask = 0; // WAV speaker positions; 0 when the layout has none
};

struct DecodeSummary {
    long frames = 0; // frames (AAC: raw data blocks) decoded or concealed
    long errors = 0;
    // AAC: the tools found beyond the core (SBR from the first block on, PS in any frame).
    bool sbr = false;
    long psFrom = -1; // first frame with parametric stereo, or -1
};

// Called once with the format before the first samples, then with each block of interleaved
// samples.
struct PcmOutput {
    std::function<void(const StreamFormat&)> begin;
    std::function<void(const int16_t*, std::size_t frames)> write;
};

} // namespace zemdec
