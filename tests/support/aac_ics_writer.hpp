// A small AAC individual-channel-stream writer for tests: ICS info, section data, scale
// factors, pulse data, TNS data and Huffman-coded spectra (escapes included), written with the
// library's code tables so that the noiseless decoders can be checked on known content.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "support/bit_builder.hpp"
#include "tables/aac_huffman.hpp"

namespace zemtest {

struct AacSection {
    int cb;
    int length; // bands
};

struct AacPulses {
    int startBand;
    std::vector<int> offset, amplitude; // 1..4 pulses
};

struct AacTnsFilter {
    int length, order, direction, compress;
    std::vector<int> coef; // indices within the compressed width
};

struct AacChannel {
    int sfIndex = 4;
    int globalGain = 100;
    int windowSequence = 0, windowShape = 0, maxSfb = 0, grouping = 0;
    std::vector<std::vector<AacSection>> sections; // per window group
    std::vector<int> sf;                           // per group and band (g * maxSfb + b)
    bool pulsesPresent = false;
    AacPulses pulses;
    bool tnsPresent = false;
    std::vector<int> tnsCoefRes;                // per window
    std::vector<std::vector<AacTnsFilter>> tns; // per window
    std::vector<int32_t> coef;                  // 1024 values in bit-stream order, before pulses
};

// Window groups of a grouping value (eight-short) or the single long group.
std::vector<int> aac_group_lengths(const AacChannel& ch);

// Writes the channel stream (the noiseless decoders' input).
void write_aac_channel(BitBuilder& b, const AacChannel& ch);

// Writes one Huffman-coded scale-factor difference (-60..60).
void write_aac_sf_difference(BitBuilder& b, int d);

// A random valid channel: sections with codebooks from `books`, values within each codebook's
// range (codebook 11 with escapes up to 8191), scale factors within range, optionally pulses
// and TNS. sfIndex selects the band tables.
AacChannel random_aac_channel(std::mt19937& rng, int sfIndex, bool eightShort,
                              const std::vector<int>& books, bool withPulsesAndTns);

} // namespace zemtest
