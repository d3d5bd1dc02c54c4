// The MPEG-1 Layer III encoder of zemenc, built on the library's exports only: polyphase
// analysis, psychoacoustic model two one granule ahead (block switching with start and stop
// windows, both channels alike), the forward hybrid transform, M/S decided per frame and
// intensity stereo at low rates, the quantiser within a budget from the bit reservoir (constant
// bit rate) or within the smallest budget that keeps the noise under the masking threshold
// (variable bit rate), and the frames with their side information.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "wav_reader.hpp"

namespace zemenc {

struct Settings {
    int kbps = 128;      // constant bit rate, when vbrQuality is -1
    int vbrQuality = -1; // 0 (best) .. 9 (smallest): variable bit rate
    char mode = 'j';     // s stereo, j joint (M/S per frame, intensity at low rates), f forced M/S,
                         // m mono
    bool crc = false;
};

// What an encode made, for the summary line.
struct EncodeReport {
    long frames = 0;
    double meanKbps = 0.0;
};

// Called now and then with the input samples encoded so far and in all.
using Progress = std::function<void(long done, long total)>;

// Encodes the whole input into `mp3`; false with a message for what cannot be encoded.
bool encode(const Pcm& pcm, const Settings& settings, std::vector<uint8_t>& mp3, std::string& error,
            EncodeReport* report = nullptr, const Progress& progress = {});

// Samples of delay from the input to zemdec's or any standard decoder's output.
constexpr int kEncoderDelay = 576 + 481;

// The cut-off of the encoder's low-pass filter in Hz for these settings and channels.
double low_pass_hz(const Settings& s, int channels);

// The first long band (0..20) and short band (0..11) coded with intensity stereo at a
// constant bit rate in joint stereo, or -1 when the rate codes both channels fully.
struct IntensityStart {
    int longBand, shortBand;
};
IntensityStart intensity_start(int kbps, int samplingFrequency);

} // namespace zemenc
