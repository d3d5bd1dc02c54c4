// Walks an AAC stream (ADTS frames, or an ADIF header) and reports what its headers say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "input.hpp"

namespace zemdec {

struct WalkSummary {
    long frames = 0;       // ADTS frames, or ADIF headers
    long errors = 0;       // truncated frames, bad headers
    long skippedBytes = 0; // bytes between frames that were not part of any header
};

// Reports to `out` (null: silently) and returns the counts.
WalkSummary walk_aac(const Buffer& in, std::FILE* out);

// The length of the ADTS frame at pos when the header there is followed at that length by
// one of the same profile, sampling rate and channel configuration (or by end, or a tag);
// 0 otherwise.
long confirmed_adts_frame(const uint8_t* data, std::size_t pos, std::size_t end);

// The sampling rate of an AAC sampling-frequency index, or 0 for the reserved ones.
int aac_sample_rate(int index);

} // namespace zemdec
