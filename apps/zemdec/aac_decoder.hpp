// AAC decoding with the library's exports (AAC Main, LC and LTP, with SBR and PS): ADTS or ADIF
// streams to interleaved 16-bit PCM in WAV channel order.
#pragma once

#include <cstdio>

#include "input.hpp"
#include "pcm_output.hpp"

namespace zemdec {

// PCM blocks of 1024 samples per channel, one per raw data block, or 2048 with SBR (HE-AAC);
// sbrLowPower selects the real-valued SBR decoder, which leaves parametric stereo out.
DecodeSummary decode_aac(const Buffer& in, const PcmOutput& out, std::FILE* log,
                         bool sbrLowPower = false);

} // namespace zemdec
