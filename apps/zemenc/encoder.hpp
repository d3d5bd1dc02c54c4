// The MPEG-1 Layer III encoder of zemenc, built on the library's exports only: polyphase
// analysis, psychoacoustic model two one granule ahead (block switching with start and stop
// windows, both channels alike), the forward hybrid transform, M/S decided per frame, the
// quantiser within a budget from the bit reservoir, and the frames with their side information.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "wav_reader.hpp"

namespace zemenc {

struct Settings {
    int kbps = 128;
    char mode = 'j'; // s stereo, j joint (M/S per frame), f forced M/S, m mono
    bool crc = false;
};

// Encodes the whole input into `mp3`; false with a message for what cannot be encoded.
bool encode(const Pcm& pcm, const Settings& settings, std::vector<uint8_t>& mp3,
            std::string& error);

// Samples of delay from the input to zemdec's or any standard decoder's output.
constexpr int kEncoderDelay = 576 + 481;

} // namespace zemenc
