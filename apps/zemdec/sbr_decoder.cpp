#include "sbr_decoder.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zemdec {

namespace {

constexpr int kExtensionSbrCrc = 14;
constexpr int kExtensionIdPs = 2;

} // namespace

SbrElement::SbrElement(int coreRate, int channels, bool stereoOut, bool lowPower)
    : coreRate_(coreRate), channels_(channels), stereoOut_(stereoOut && channels == 1),
      lowPower_(lowPower) {
    const int banks = channels == 2 || (stereoOut_ && !lowPower) ? 2 : 1;
    for (int c = 0; c < banks; ++c)
        ch_[c] = std::make_unique<SbrChannel>(lowPower);
    if (stereoOut_ && !lowPower)
        ps_ = std::make_unique<PsDecoder>();
    for (int i = 0; i < kQmfSlots; ++i)
        rightRows_[i] = right_[i];
}

bool SbrElement::read(const uint8_t* data, int bytes, const char** what) {
    frameValid_ = false;
    BitReader br(data, bytes);
    const int type = int(br.read(4));
    SbrPayload payload;
    if (!read_sbr_header(br, type == kExtensionSbrCrc, payload)) {
        *what = "SBR header truncated";
        headerValid_ = false;
        return false;
    }
    if (payload.headerPresent) {
        const SbrHeader& h = payload.header;
        if (!headerValid_ || !h.same_bands(header_)) {
            if (!derive_sbr_bands(h, coreRate_, bands_)) {
                *what = "SBR header asks for frequency bands outside the allowed range";
                headerValid_ = false;
                return false;
            }
            reset_ = true;
        } else if (h.limiterBands != header_.limiterBands) {
            derive_limiter_bands(h.limiterBands, bands_);
        }
        header_ = h;
        headerValid_ = true;
    }
    if (!headerValid_)
        return true; // data before the first header is not decodable
    SbrChannelData saved[2] = {data_[0], data_[1]};
    if (!read_sbr_data(br, channels_, header_.ampRes, bands_, data_, payload)) {
        data_[0] = saved[0];
        data_[1] = saved[1];
        headerValid_ = false;
        *what = "SBR data damaged or truncated";
        return false;
    }
    coupling_ = payload.coupling;
    // Extended data: parametric stereo in a mono element; anything else is skipped.
    int left = payload.extensionBits;
    while (left > 7) {
        const int id = int(br.read(2));
        left -= 2;
        if (id == kExtensionIdPs && ps_) {
            const int start = br.position();
            ps_->read(br, left);
            left -= br.position() - start;
        } else {
            psIgnored_ = psIgnored_ || (id == kExtensionIdPs && lowPower_);
            br.skip(left);
            left = 0;
        }
    }
    if (left < 0 || br.overrun()) {
        *what = "SBR extended data runs past the payload";
        return false; // the channel data stand; only the extension was damaged
    }
    frameValid_ = true;
    return true;
}

void SbrElement::process(const int32_t* const* core, float scale, float* const* out) {
    if (frameValid_)
        dequantise_sbr(bands_, data_, channels_, coupling_, levels_);
    for (int c = 0; c < channels_; ++c) {
        SbrChannel& ch = *ch_[c];
        ch.analyse(core[c], scale);
        if (frameValid_)
            ch.generate(bands_, header_, data_[c], levels_[c], reset_);
        else
            ch.pass_through();
    }
    const int top = frameValid_ ? bands_.kx + bands_.m : 32;
    if (frameValid_)
        reset_ = false;
    frameValid_ = false;
    if (stereoOut_ && lowPower_) { // two equal channels
        ch_[0]->synthesise(ch_[0]->rows(), out[0]);
        std::copy(out[0], out[0] + 2048, out[1]);
        return;
    }
    if (stereoOut_) {
        // With parametric stereo the mixing rewrites the mono rows as the left channel; before
        // it starts the two channels are equal.
        Zem32fc* const* mono = ch_[0]->rows();
        if (ps_->started()) {
            ps_->apply(mono, ch_[0]->ahead(), rightRows_, top);
        } else {
            ps_->follow(mono, ch_[0]->ahead());
            for (int i = 0; i < kQmfSlots; ++i)
                std::copy(mono[i], mono[i] + kSbrMaxBands, right_[i]);
        }
    }
    ch_[0]->synthesise(ch_[0]->rows(), out[0]);
    if (channels_ == 2)
        ch_[1]->synthesise(ch_[1]->rows(), out[1]);
    else if (stereoOut_)
        ch_[1]->synthesise(rightRows_, out[1]);
}

} // namespace zemdec
