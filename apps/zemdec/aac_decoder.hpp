// AAC-LC decoding with the library's exports: ADTS or ADIF streams to interleaved 16-bit PCM
// in WAV channel order.
#pragma once

#include <cstdio>

#include "input.hpp"
#include "pcm_output.hpp"

namespace zemdec {

// PCM blocks of 1024 samples per channel, one per raw data block.
DecodeSummary decode_aac(const Buffer& in, const PcmOutput& out, std::FILE* log);

} // namespace zemdec
