// The first frame of a zemenc stream: a silent frame carrying a Xing tag ("Info" at a constant
// bit rate) with LAME's extension, so that decoders learn the frame count, the byte count, where
// each hundredth of the stream starts, and the encoder delay and padding to trim (gapless
// playback).
#pragma once

#include <cstdint>
#include <vector>

#include "zemac.h"

namespace zemenc {

struct StreamFacts {
    long frames;       // audio frames after the tag frame
    long audioBytes;   // their bytes
    int delay;         // samples decoders skip at the start, less their own 529
    int padding;       // samples past the input at the end, plus 529
    uint16_t musicCrc; // CRC-16 of the audio frames' bytes
    bool vbr;          // the frames' bit rates vary
    int quality;       // 0..100, 0 for unknown
    long start[100];   // where frame i frames/100 starts in the audio bytes
};

// The tag frame for a stream of frames with `header`'s parameters (its protection is dropped;
// at a variable rate, the header's bit rate is the lowest the stream uses).
std::vector<uint8_t> info_frame(const ZemMp3HeaderRec& header, const StreamFacts& facts);

// CRC-16 as LAME's tag computes it (polynomial 0x8005, bits reflected, initial 0).
uint16_t tag_crc(const uint8_t* data, std::size_t n, uint16_t crc = 0);

} // namespace zemenc
