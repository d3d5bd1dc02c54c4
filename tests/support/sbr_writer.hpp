// A test-side writer of SBR and PS-free HE-AAC payloads: headers, grids of every frame class
// given in their bit-stream fields, delta-coded envelopes and noise floors, sinusoid flags, and
// ADTS frames of a silent AAC-LC core carrying them, so that syntax no encoder at hand writes
// can be decoded by zemdec and by FFmpeg.
#pragma once

#include <cstdint>
#include <vector>

#include "sbr_frequency.hpp"
#include "support/bit_builder.hpp"

namespace zemtest {

// One channel's frame in bit-stream terms.
struct SbrFrameSpec {
    int frameClass = 0;   // 0 FIXFIX, 1 FIXVAR, 2 VARFIX, 3 VARVAR
    int fixEnvelopes = 1; // FIXFIX: 1, 2 or 4
    int varBord0 = 0, varBord1 = 0;
    std::vector<int> rel0, rel1; // relative borders, 2..8
    int pointer = 0;
    std::vector<int> freqRes; // per envelope, in time order
    std::vector<int> dfEnv, dfNoise;
    std::vector<int> invf;               // per noise band
    std::vector<std::vector<int>> env;   // values per envelope (balance values for a coupled
                                         // pair's second channel, undoubled)
    std::vector<std::vector<int>> noise; // per noise envelope
    bool harmonics = false;
    std::vector<int> addHarmonic; // per high-resolution band

    int envelopes() const;
    int amp_res(int headerAmpRes) const {
        return frameClass == 0 && envelopes() == 1 ? 0 : headerAmpRes;
    }
};

// What the time-direction deltas of the next frame refer to (per channel).
struct SbrWriterState {
    int lastRes = 0;
    std::vector<int> lastEnv = std::vector<int>(64, 0);
    std::vector<int> lastNoise = std::vector<int>(5, 0);
};

// sbr_extension_data() after the extension type: header (when given), then sbr_data() of one
// or two channels. Extended data of `extension` bytes is added when it is not 0: zeros, or the
// first `contentBits` bits of `content` (extension id and data) and zeros after them.
void write_sbr_payload(BitBuilder& b, const zemdec::SbrHeader* header, int headerAmpRes,
                       const zemdec::SbrBands& bands, const SbrFrameSpec* ch, int channels,
                       bool coupling, SbrWriterState* state, int extension = 0,
                       const std::vector<int>* content = nullptr);

// A silent element of a raw data block and the SBR payload in the fill element after it.
struct SbrElementFrame {
    int type; // 0 SCE, 1 CPE, 3 LFE (which carries no payload)
    int tag;
    std::vector<uint8_t> payload; // sbr_extension_data() after the extension type
    std::size_t payloadBits = 0;
    bool crc = false; // extension type SBR-CRC, with a 10-bit CRC word first
};

// One ADTS frame (no CRC) of silent elements with their SBR payloads, at sampling-frequency
// index sfi and channel configuration `config`.
std::vector<uint8_t> adts_frame(int sfi, int config, const std::vector<SbrElementFrame>& elements);

// The frame of one SCE (channels 1) or CPE (2).
std::vector<uint8_t> adts_frame_with_sbr(int sfi, int channels, const std::vector<uint8_t>& payload,
                                         std::size_t payloadBits);

} // namespace zemtest
