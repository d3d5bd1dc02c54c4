// The SBR header and the frequency band tables it implies: master table, high and low
// resolution envelope bands, noise-floor bands, limiter bands and the patches of the HF
// generator.
#pragma once

#include <cstdint>

namespace zemdec {

struct SbrHeader {
    int ampRes = 0;
    int startFreq = 0;
    int stopFreq = 0;
    int xoverBand = 0;
    int freqScale = 2;
    int alterScale = 1;
    int noiseBands = 2;
    int limiterBands = 2;
    int limiterGains = 2;
    int interpolFreq = 1;
    int smoothingMode = 1;

    // Whether the band tables differ (a change of these resets the SBR decoder).
    bool same_bands(const SbrHeader& o) const {
        return startFreq == o.startFreq && stopFreq == o.stopFreq && xoverBand == o.xoverBand &&
               freqScale == o.freqScale && alterScale == o.alterScale && noiseBands == o.noiseBands;
    }
};

constexpr int kSbrMaxBands = 64;

struct SbrBands {
    int k0 = 0, k2 = 0;
    int kx = 32, m = 0; // first QMF band and number of bands of the high band
    int nMaster = 0;
    uint8_t fMaster[kSbrMaxBands + 1] = {};
    int n[2] = {};                       // envelope bands at low and high resolution
    uint8_t f[2][kSbrMaxBands + 1] = {}; // their borders in QMF bands
    int nQ = 0;
    uint8_t fNoise[6] = {};
    int nLim = 0;
    uint8_t fLim[kSbrMaxBands + 1] = {};
    int numPatches = 0;
    uint8_t patchBands[6] = {};
    uint8_t patchStart[6] = {};
};

// The core sampling rate in Hz (the SBR rate is twice that); false when the header asks for
// bands the standard does not allow at that rate (the tables are then unusable).
bool derive_sbr_bands(const SbrHeader& h, int coreRate, SbrBands& b);

// The limiter table alone, from the envelope and patch tables already in b.
void derive_limiter_bands(int limiterBands, SbrBands& b);

} // namespace zemdec
