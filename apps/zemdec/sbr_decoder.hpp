// SBR for one AAC element (SCE, CPE or LFE): reads the element's payloads and turns each frame
// of core output into twice as many samples; a mono element may carry parametric stereo.
#pragma once

#include <cstdint>
#include <memory>

#include "ps_decoder.hpp"
#include "sbr_channel.hpp"

namespace zemdec {

class SbrElement {
  public:
    // channels: the core channels (1 or 2); stereoOut: a mono element that feeds two outputs;
    // lowPower: the real-valued decoder, which leaves parametric stereo out (equal channels).
    SbrElement(int coreRate, int channels, bool stereoOut, bool lowPower = false);

    // One payload of the frame (the fill element's bytes, starting with the extension type).
    // On damaged data returns false with a reason; SBR then stays off until a valid header.
    bool read(const uint8_t* data, int bytes, const char** what);

    // One frame: core[c] holds 1024 samples per core channel, `scale` times the PCM scale; out[c]
    // receives 2048 samples at the PCM scale per output channel. A frame without a valid
    // payload passes through the banks with an empty high band.
    void process(const int32_t* const* core, float scale, float* const* out);

    bool ps_started() const { return ps_ && ps_->started(); }
    bool ps_ignored() const { return psIgnored_; }

  private:
    int coreRate_;
    int channels_;
    bool stereoOut_;
    bool headerValid_ = false;
    bool frameValid_ = false;
    bool reset_ = true;
    bool coupling_ = false;
    bool lowPower_;
    bool psIgnored_ = false; // PS data seen by the low-power decoder
    SbrHeader header_;
    SbrBands bands_;
    SbrChannelData data_[2];
    SbrLevels levels_[2];
    std::unique_ptr<SbrChannel> ch_[2];
    std::unique_ptr<PsDecoder> ps_;
    Zem32fc right_[kQmfSlots][kSbrMaxBands] = {};
    Zem32fc* rightRows_[kQmfSlots];
};

} // namespace zemdec
