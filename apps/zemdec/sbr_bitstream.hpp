// The SBR payload of a fill element: header, time/frequency grids and the delta-coded
// envelopes, noise floors, inverse-filtering modes and sinusoids of one or two channels.
#pragma once

#include <cstdint>

#include "bit_reader.hpp"
#include "sbr_frequency.hpp"

namespace zemdec {

enum SbrFrameClass { kFixFix = 0, kFixVar = 1, kVarFix = 2, kVarVar = 3 };

constexpr int kSbrMaxEnvelopes = 5;
constexpr int kSbrTimeSlots = 16; // SBR time slots of a 1024-sample frame, two QMF slots each

// One channel's side information of one frame, with what the next frame's time-direction
// deltas refer to.
struct SbrChannelData {
    int frameClass = kFixFix;
    int numEnv = 1;
    int numNoise = 1;
    int ampRes = 0;
    int transientEnv = -1; // l_A: the envelope that starts at a transient, or -1
    uint8_t tE[kSbrMaxEnvelopes + 1] = {0, kSbrTimeSlots};
    uint8_t tQ[3] = {0, kSbrTimeSlots};
    uint8_t freqRes[kSbrMaxEnvelopes] = {};
    uint8_t dfEnv[kSbrMaxEnvelopes] = {};
    uint8_t dfNoise[2] = {};
    uint8_t invf[5] = {};
    bool addHarmonicFlag = false;
    uint8_t addHarmonic[kSbrMaxBands] = {};
    int16_t env[kSbrMaxEnvelopes][kSbrMaxBands] = {};
    int16_t noise[2][5] = {};

    // The last envelope and noise floor, for the next frame's time-direction deltas.
    int lastFreqRes = 0;
    int16_t lastEnv[kSbrMaxBands] = {};
    int16_t lastNoise[5] = {};
};

// What a payload carries besides the channel data.
struct SbrPayload {
    bool headerPresent = false;
    SbrHeader header;
    bool coupling = false;
    // How many bits of extended data follow the channel data (0 when absent), for the PS
    // parser, which reads on from there.
    int extensionBits = 0;
};

// Reads sbr_extension_data() up to (not into) its channel data: the CRC word, the header flag
// and the header. False when the reader runs out.
bool read_sbr_header(BitReader& br, bool crc, SbrPayload& out);

// Reads sbr_data() of an element of `channels` channels (1 or 2) into ch[], with the band
// tables of the header in force and `ampRes` its amplitude resolution. ch[] hold the previous
// frame's data on entry; on false (damaged or truncated data) their content is undefined and
// the caller restores them.
bool read_sbr_data(BitReader& br, int channels, int ampRes, const SbrBands& bands,
                   SbrChannelData* ch, SbrPayload& out);

} // namespace zemdec
