// Constants of the parametric stereo tool (ISO/IEC 14496-3 subpart 8): dequantisation grids,
// the hybrid band layout of the 20- and 34-band configurations, the decorrelator's all-pass
// links, and the mappings between the parameter resolutions.
#pragma once

#include <cstdint>

namespace zemdec::ps {

constexpr int kMaxParBands = 34; // IID/ICC parameter bands of the finest resolution
constexpr int kMaxIpdBands = 17; // IPD/OPD bands of the finest resolution
constexpr int kLinks = 3;        // all-pass links of the decorrelator

extern const int8_t kIidDefaultDb[15]; // iid_mode 0-2: index -7..7 -> dB
extern const int8_t kIidFineDb[31];    // iid_mode 3-5: index -15..15 -> dB
extern const float kIccRho[8];         // ICC index -> correlation

// Band counts by iid_mode / icc_mode 0..5.
extern const int8_t kNrParBands[6]; // IID and ICC
extern const int8_t kNrIpdBands[6]; // IPD and OPD, by iid_mode
extern const int8_t kNumEnv[2][4];  // [frame_class][num_env_idx]

// The layout of one hybrid configuration: which QMF bands are split (and with which library
// filter), where each hybrid band k sits and which parameter band it belongs to.
struct HybridLayout {
    int parBands;         // 20 or 34
    int ipdBands;         // 11 or 17
    int bands;            // hybrid bands k in all, the unsplit QMF bands included
    int splitQmf;         // QMF bands 0 .. splitQmf-1 are split
    int subBands;         // hybrid bands they give; QMF band q >= splitQmf is k = q + qmfOffset
    int qmfOffset;        // subBands - splitQmf
    int8_t filter[5];     // library filter config per split QMF band
    int8_t width[5];      // filter outputs per split QMF band
    int8_t merged[5];     // hybrid bands per split QMF band (20 bands fold 8 outputs into 6)
    const int8_t* parMap; // k -> parameter band, `bands` entries
    // Centre frequencies of the sub-bands in QMF bands: centre[k] / centreDen.
    const int8_t* centre;
    int centreDen;
    int decayCutoff;            // all-pass decay slope starts here
    int allpassBands;           // k below this: all-pass decorrelator
    int shortDelayBand;         // k from here: one slot of delay; between: kLongDelay slots
    int negatedFrom, negatedTo; // hybrid bands of negative frequency: IPD/OPD angles negated
};

extern const HybridLayout kLayout20;
extern const HybridLayout kLayout34;

constexpr int kLongDelay = 14;
constexpr int kAllpassPreDelay = 2;
extern const int8_t kLinkDelay[kLinks];
extern const float kLinkFraction[kLinks];
extern const float kLinkCoefficient[kLinks];
constexpr float kPhiFraction = 0.39f;
constexpr float kDecaySlope = 0.05f;
constexpr float kPeakDecay = 0.76592833836465f;
constexpr float kSmooth = 0.25f;
constexpr float kTransientImpact = 1.5f;

// Parameter indices of one envelope from the band count they were sent with to another: 10, 20
// or 34 bands for IID and ICC, 5, 11 or 17 for IPD and OPD.
void map_bands(const int8_t* from, int nFrom, int8_t* to, int nTo);

// One value per parameter band (a component of the mixing matrices) from 20 to 34 bands or back.
void map_values(float* v, bool to34);

} // namespace zemdec::ps
