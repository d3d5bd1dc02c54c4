// Reading 16-bit PCM WAV files (mono or stereo) for the sample encoder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zemenc {

struct Pcm {
    int rate = 0, channels = 0;
    std::vector<int16_t> samples; // interleaved
};

// Parses a RIFF WAVE image: the fmt chunk must say PCM, 16 bits, one or two channels. On failure
// returns false with a message in `error`.
bool parse_wav(const std::vector<uint8_t>& file, Pcm& out, std::string& error);

} // namespace zemenc
