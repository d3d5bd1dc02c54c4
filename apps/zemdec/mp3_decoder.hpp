// MPEG-1 and MPEG-2 Layer III decoding with the library's exports: frame sync (free format
// included), ID3 tags, the encoder's info frame, the bit reservoir and gapless trimming.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "input.hpp"
#include "pcm_output.hpp"

namespace zemdec {

struct Mp3Options {
    bool gapless = true;   // trim the encoder delay and padding that a LAME info frame announces
    bool infoOnly = false; // print the frame headers instead of decoding
};

// Decodes to interleaved 16-bit PCM (or, with infoOnly, prints the headers to log); frames
// counts decoded or concealed audio frames.
DecodeSummary decode_mp3(const Buffer& in, const PcmOutput& out, const Mp3Options& options,
                         std::FILE* log);

// True when the first confirmed frame is MP3, or, with none confirmed, when the data starts
// (after its tags) with an MPEG audio frame header.
bool looks_like_mp3(const Buffer& in);

// The length of the Layer III frame at pos when the header there is followed at that length
// by one of the same version and sampling rate (or by end, or a tag); 0 otherwise.
long confirmed_mp3_frame(const uint8_t* data, std::size_t pos, std::size_t end);

} // namespace zemdec
