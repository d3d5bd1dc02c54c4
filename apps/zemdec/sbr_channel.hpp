// One channel of the complex (high-quality) SBR decoder: QMF analysis of the core output, HF
// generation from the low band, HF adjustment to the transmitted envelopes, and the QMF matrix
// that the synthesis bank (or the PS tool) takes.
#pragma once

#include <cstdint>
#include <vector>

#include "sbr_bitstream.hpp"
#include "zemac.h"

namespace zemdec {

constexpr int kQmfSlots = 32;     // QMF slots of a 1024-sample frame
constexpr int kLowRows = 40;      // low band: 8 slots of the previous frame, then 32
constexpr int kHighRows = 40;     // generated high band, slots shifted by t_HFAdj
constexpr int kAdjustedRows = 38; // adjusted high band: up to 6 slots into the next frame

// The dequantised envelopes of one channel of one frame.
struct SbrLevels {
    float env[kSbrMaxEnvelopes][kSbrMaxBands];
    float noise[2][5];
};

// Envelope and noise levels from the quantised values of an element's channels; with coupling
// the second channel holds the balance between the two.
void dequantise_sbr(const SbrBands& b, const SbrChannelData* d, int channels, bool coupling,
                    SbrLevels* levels);

// Low power: the degree (0 to 1) to which each of the k0 low bands aliases with the band below,
// from the bands' first reflection coefficients (Q29).
void aliasing_degrees(const int32_t* reflection, int k0, float* degree);
// Low power: evens out the gains of aliasing runs of the m high bands (energies of the generated
// bands, sinusoid flags, degrees per band) and keeps each run's energy.
void reduce_aliasing(float* gain, const float* energy, const uint8_t* sines, const float* degree,
                     int m);

class SbrChannel {
  public:
    // lowPower: the real-valued decoder on the fixed-point banks and predictor (the QMF values
    // keep zero imaginary parts, the adjustment drops what it adds there).
    explicit SbrChannel(bool lowPower = false);
    SbrChannel(const SbrChannel&) = delete;
    SbrChannel& operator=(const SbrChannel&) = delete;

    // QMF analysis of one frame of core output (1024 samples, `scale` times the PCM scale).
    void analyse(const int32_t* core, float scale);
    // The high band of this frame from its side information; `reset` after a header that
    // changed the band tables.
    void generate(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d,
                  const SbrLevels& levels, bool reset);
    // This frame without a high band (no header yet, or damaged data).
    void pass_through();
    // The 32 rows of 64 bands for synthesis (valid after generate or pass_through).
    Zem32fc* const* rows() { return xRows_; }
    // The low band's rows of the next frame's first six slots (32 bands), already analysed.
    const Zem32fc* const* ahead() const { return aheadRows_; }
    // Synthesis of 32 rows into 2048 samples at the PCM scale.
    void synthesise(Zem32fc* const* rows, float* out);

  private:
    void chirp(const SbrBands& b, const SbrChannelData& d);
    void hf_generate(const SbrBands& b, const SbrChannelData& d);
    void map_and_estimate(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d,
                          const SbrLevels& levels);
    void gains(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d);
    void assemble(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d, bool reset);
    void build_x(int kx, int m, int trailOfFrame);
    void patch_degrees(const SbrBands& b, const int32_t* reflection);
    void add_sinusoid_leakage(int kx, int m, int l, Zem32fc* row);

    void analyse_low_power(const int32_t* core, float scale);
    void synthesise_low_power(Zem32fc* const* rows, float* out);

    bool lowPower_;
    std::vector<uint8_t> analysisMem_, synthesisMem_;
    ZemSbrAnalysisSpec_32f* analysis_ = nullptr;
    ZemSbrSynthesisSpec_32f* synthesis_ = nullptr;
    // The low-power decoder's fixed-point analysis output, rows as low_'s.
    int32_t lowFixed_[kLowRows][32] = {};
    uint8_t work_[1024] = {};
    float window32_[320];

    Zem32fc low_[kLowRows][32] = {};
    Zem32fc high_[kHighRows][kSbrMaxBands] = {};
    Zem32fc adjusted_[2][kAdjustedRows][kSbrMaxBands] = {}; // previous and current frame
    int current_ = 0;
    Zem32fc x_[kQmfSlots][kSbrMaxBands] = {};
    Zem32fc* xRows_[kQmfSlots];
    const Zem32fc* aheadRows_[6];

    // Carried between frames.
    float bw_[5] = {};
    uint8_t prevInvf_[5] = {};
    int indexNoise_ = 0;
    int indexSine_ = 0;
    uint8_t harmonicsPrev_[kSbrMaxBands] = {}; // the previous frame's sinusoid flags per band
    int prevTrail_ = kSbrTimeSlots;            // the previous frame's last border
    bool prevTransientAtEnd_ = false;          // its transient envelope started at that border
    int prevKx_ = 32, prevM_ = 0;
    float gTemp_[42][kSbrMaxBands] = {};
    float qTemp_[42][kSbrMaxBands] = {};

    // This frame's per-envelope values of the M high bands.
    Zem32fc alpha0_[kSbrMaxBands], alpha1_[kSbrMaxBands];
    float eOrig_[kSbrMaxEnvelopes][kSbrMaxBands];
    float qMapped_[kSbrMaxEnvelopes][kSbrMaxBands];
    float eCurr_[kSbrMaxEnvelopes][kSbrMaxBands];
    uint8_t sIndex_[kSbrMaxEnvelopes][kSbrMaxBands];
    uint8_t sMapped_[kSbrMaxEnvelopes][kSbrMaxBands];
    float gain_[kSbrMaxEnvelopes][kSbrMaxBands];
    float qM_[kSbrMaxEnvelopes][kSbrMaxBands];
    float sM_[kSbrMaxEnvelopes][kSbrMaxBands];
    // Low power: how strongly each high band aliases with the band below it (0 to 1).
    float degree_[kSbrMaxBands] = {};
};

} // namespace zemdec
