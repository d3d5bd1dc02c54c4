// Parametric stereo, caller side: the parameters of ps_data() and the stereo reconstruction of
// one frame of QMF slots from the mono SBR output.
#pragma once

#include <cstdint>

#include "bit_reader.hpp"
#include "ps_tables.hpp"
#include "zemac.h"

namespace zemdec {

class PsDecoder {
  public:
    PsDecoder();

    // Reads ps_data() from br, which stands after the 2-bit extension id; bitsLeft is what the
    // extension may use. False on damaged data: the previous frame's parameters stay in force.
    bool read(BitReader& br, int bitsLeft);

    // One frame of 32 QMF slots: l[0..31] hold the mono signal (64 bands, zero from `top` up)
    // and become the left channel; r[0..31] receive the right one. ahead[0..5] are the next
    // frame's first six slots of the lowest QMF bands, which the hybrid filters reach into.
    void apply(Zem32fc* const* l, const Zem32fc* const* ahead, Zem32fc* const* r, int top);
    // A frame before the first parameters: only the hybrid filters' history follows l.
    void follow(Zem32fc* const* l, const Zem32fc* const* ahead);

    // Whether any PS data has been read so far.
    bool started() const;

  private:
    friend struct PsDecoderProbe; // the parser's tests read the parameters

    static constexpr int kMaxEnv = 5;      // four coded envelopes and one appended
    static constexpr int kSlots = 32;      // QMF slots of a frame
    static constexpr int kLead = 6;        // half the hybrid filters' length, in slots
    static constexpr int kMaxHybrid = 91;  // hybrid bands of the 34-band configuration
    static constexpr int kMaxAllpass = 50; // all-pass bands of the 34-band configuration
    static constexpr int kQmfBands = 64;

    // The header fields: they hold until the next ps_data() that carries a header.
    struct Header {
        bool enableIid = false, enableIcc = false, enableExt = false;
        int iidMode = 0, iccMode = 0;
    };
    // One frame's parameters, indices at the resolution they were sent in.
    struct Params {
        int numEnv = 1;
        int border[kMaxEnv + 1] = {-1, kSlots - 1}; // envelope e ends at slot border[e + 1]
        int nrIid = 20, nrIcc = 20, nrIpd = 11;
        bool fineIid = false, mixingB = false, ipdOpd = false, is34 = false;
        int8_t iid[kMaxEnv][ps::kMaxParBands] = {};
        int8_t icc[kMaxEnv][ps::kMaxParBands] = {};
        int8_t ipd[kMaxEnv][ps::kMaxIpdBands] = {};
        int8_t opd[kMaxEnv][ps::kMaxIpdBands] = {};
    };
    // The mixing matrix of a parameter band: h11, h12, h21, h22, then their imaginary parts.
    using Matrix = float[8];

    void init_tables();
    bool parse(BitReader& br, Header& h, Params& p) const;
    void hold();
    void slot_matrices(const ps::HybridLayout& lay);
    void switch_configuration(bool to34);
    void load_filters(Zem32fc* const* l, const Zem32fc* const* ahead);
    void analyse(Zem32fc* const* l, const ps::HybridLayout& lay);
    void decorrelate(const ps::HybridLayout& lay, int top);
    static constexpr int kLanes = 4; // all-pass bands run side by side
    void allpass(const ps::HybridLayout& lay, int cfg, int k0, int lanes);
    void mix(const ps::HybridLayout& lay);
    void synthesise(Zem32fc* const* l, Zem32fc* const* r, const ps::HybridLayout& lay) const;

    Header header_;
    Params cur_, next_;
    bool started_ = false;
    bool fresh_ = false; // cur_ was read since the last apply
    bool is34_ = false;  // configuration of the last frame applied

    // Tables derived once: mixing matrices by IID row (15 default then 31 fine) and ICC index
    // for both mixing procedures, smoothed IPD/OPD phases, decorrelator phase terms.
    float mixA_[46][8][4], mixB_[46][8][4];
    Zem32fc phaseSmooth_[512];
    Zem32fc phiFract_[2][kMaxAllpass];
    Zem32fc qFract_[2][kMaxAllpass][ps::kLinks];

    // Mixing: the matrix at the last slot of the previous frame, and per slot.
    Matrix hEnd_[ps::kMaxParBands] = {};
    Matrix hSlot_[kSlots][ps::kMaxParBands];
    int8_t ipdHist_[ps::kMaxIpdBands] = {}, opdHist_[ps::kMaxIpdBands] = {};

    // Signal state: hybrid filter inputs (the last kLead slots of the previous frame, this
    // frame's, and kLead slots ahead), decorrelator.
    Zem32fc filterIn_[5][kLead + kSlots + kLead] = {};
    Zem32fc hybridOut_[kSlots][12] = {};
    Zem32fc s_[kMaxHybrid][kSlots] = {};
    Zem32fc d_[kMaxHybrid][kSlots] = {};
    Zem32fc delay_[kMaxHybrid][ps::kLongDelay] = {};
    Zem32fc allpass_[kMaxAllpass][ps::kLinks][5] = {};
    float peak_[ps::kMaxParBands] = {}, power_[ps::kMaxParBands] = {};
    float peakDiff_[ps::kMaxParBands] = {};
    float gain_[ps::kMaxParBands][kSlots] = {};
};

} // namespace zemdec
