#include "aac_decoder.hpp"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <memory>

#include <emmintrin.h>

#include "aac_info.hpp"
#include "aac_layout.hpp"
#include "sbr_decoder.hpp"
#include "scan.hpp"
#include "zemac.h"

namespace zemdec {

namespace {

// The LTP history's new frame, at 8 times the PCM scale, rounded and saturated to 16 bits:
// eight samples at a time, the signed pack doing the saturation (SSE2 is every build's baseline).
void history_to_pcm(const int32_t* src, int16_t* dst) {
    const __m128i round = _mm_set1_epi32(4);
    auto scaled = [&](const int32_t* p) {
        return _mm_srai_epi32(
            _mm_add_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), round), 3);
    };
    for (int n = 0; n < 1024; n += 8)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n),
                         _mm_packs_epi32(scaled(src + n), scaled(src + n + 4)));
}

constexpr int kMaxChannels = 16;
// The ADTS profile and PCE object type fields: object type - 1.
constexpr int kProfileMain = 0;
constexpr int kProfileLc = 1;
constexpr int kProfileLtp = 3;

bool decodable_profile(int profile) {
    return profile == kProfileMain || profile == kProfileLc || profile == kProfileLtp;
}

// Bands of a long window with a predictor, by sampling-frequency index (AAC Main).
constexpr int kPredSfbMax[12] = {33, 33, 38, 40, 40, 40, 41, 41, 37, 37, 37, 34};

// Reads n bits (n <= 25) at the cursor.
uint32_t bits(uint8_t*& p, int32_t& pos, int n) {
    const uint32_t word = (uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3])
                          << pos;
    const int end = pos + n;
    p += end >> 3;
    pos = end & 7;
    return word >> (32 - n);
}

// One channel of one element: the noiseless decoder's outputs and the spectrum.
struct ChannelData {
    ZemAacIcsRec ics;
    ZemAacChanRec chan;
    int16_t sf[8 * 64];
    uint8_t sfbCb[8 * 64];
    int32_t spec[1024];
    int8_t tnsCoef[64];
    ZemAacLtpRec ltp; // AAC LTP: this channel's long-term prediction side data

    int maxSfb() const { return ics.max_sfb; }
    int groups() const { return ics.num_window_groups; }
    int winLen() const { return chan.frame_length; }
    bool isShort() const { return ics.window_sequence == 2; }
};

// What outlives a raw data block: the filter bank's overlap and the previous window shape, and
// for AAC LTP the reconstructed past that the long-term predictor reads.
struct ChannelState {
    int32_t overlap[1024];
    int32_t overlap32[1024]; // the 32-bit filter bank's, at its own scale
    int prevShape;
    int32_t ltpHistory[3072];
};

// An SBR payload seen in the raw data block, for the element before it.
struct SbrPending {
    bool present = false;
    int32_t bytes = 0;
    uint8_t data[272];
};

// The line offsets of the long-window bands, read back from the inverse quantiser: with every
// line 1 and the scale factors of neighbouring bands apart by one octave, the output changes
// exactly at the band edges.
int long_band_offsets(int sfi, int numBands, int32_t* offsets) {
    int32_t x[1024];
    int16_t sf[64];
    uint8_t cb[64];
    const int32_t one = 1;
    for (int32_t& v : x)
        v = 1;
    for (int b = 0; b < numBands; ++b) {
        sf[b] = int16_t(100 + 4 * (b & 1));
        cb[b] = 1;
    }
    if (zemsQuantInv_AAC_32s_I(x, sf, 1, &one, numBands, cb, sfi, 1024) != zemStatusOk)
        return 0;
    int band = 0;
    offsets[0] = 0;
    for (int k = 1; k < 1024 && band < numBands; ++k)
        if (x[k] != x[k - 1])
            offsets[++band] = k;
    if (band == numBands - 1)
        offsets[++band] = 1024;
    return band == numBands ? numBands : 0;
}

class Decoder {
  public:
    Decoder(int sfi, int profile, const PcmOutput& out, std::FILE* log, bool sbrLowPower)
        : sfi_(sfi), objectType_(profile + 1), out_(out), log_(log), sbrLowPower_(sbrLowPower) {}
    ~Decoder() {
        for (ZemFdpState_32f* s : fdp_)
            if (s != nullptr)
                zemsFDPFree_32f(s);
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    bool set_layout(const AacLayout& layout) {
        if (started_ && layout.channels != layout_.channels)
            return false; // keep the output format of the first frame
        if (layout.channels > kMaxChannels) {
            if (!wideReported_)
                say(log_,
                    "error: a program config element with %d channels (at most %d are decoded) is "
                    "ignored\n",
                    layout.channels, kMaxChannels);
            wideReported_ = true;
            return false;
        }
        layout_ = layout;
        haveLayout_ = true;
        return true;
    }
    void set_pce_layout(const ZemAacPceRec& pce) {
        if (set_layout(layout_from_pce(pce)) && layout_.channels > 0 && layout_.channelMask == 0 &&
            !unmappedReported_) {
            say(log_,
                "warning: the program config element (front %d, side %d, back %d, LFE %d "
                "elements) names no WAV speaker layout: its %d channels are written in element "
                "order with channel mask 0\n",
                pce.num_front_channel_elements, pce.num_side_channel_elements,
                pce.num_back_channel_elements, pce.num_lfe_channel_elements, layout_.channels);
            unmappedReported_ = true;
        }
    }
    bool has_layout() const { return haveLayout_; }
    bool sbr() const { return sbr_; }
    long ps_from() const { return psFrom_; }
    long sbr_errors() const { return sbrErrors_; }
    int profile() const { return objectType_ - 1; }

    // Decodes one raw data block from [p, end); false on an error (the block is concealed).
    bool raw_data_block(uint8_t*& p, int32_t& pos, const uint8_t* end, long frame,
                        std::size_t offset);
    void conceal();

  private:
    bool decode_channel(uint8_t*& p, int32_t& pos, ChannelData& ch, int commonWindow);
    bool single(uint8_t*& p, int32_t& pos, int out);
    bool pair(uint8_t*& p, int32_t& pos, int outL, int outR);
    void to_window_order_and_pns(ChannelData& ch, const uint8_t* msRows, int channelOfPair);
    bool predict(ChannelData& ch, int out);
    void long_term_predict(ChannelData& ch, ChannelState& s);
    int pred_sfb_limit() const { return objectType_ == kProfileMain + 1 ? kPredSfbMax[sfi_] : 0; }
    void synthesise(ChannelData& ch, int out);
    int take_slot(AacElement type, int tag, int channels);
    void emit(const bool* decoded);
    void emit_sbr(const bool* decoded);
    void fill_element(const uint8_t* data, int32_t count);
    bool deferred() const { return sbr_ || !started_; }
    bool fail(const char* what, ZemStatus st);

    int sfi_;
    int objectType_;
    const PcmOutput& out_;
    std::FILE* log_;
    AacLayout layout_;
    bool haveLayout_ = false;
    bool started_ = false;
    bool cceReported_ = false;
    bool wideReported_ = false;
    bool unmappedReported_ = false;
    bool direct_ = false; // this block's channels are synthesised into interleaved_
    long frame_ = 0;
    std::size_t offset_ = 0;
    ChannelState state_[kMaxChannels] = {};
    int16_t pcm_[kMaxChannels][1024] = {};
    std::vector<bool> slotUsed_;
    ZemAacLayerMainRec main_{};
    ChannelData pairData_[2] = {};
    ChannelData scratch_{};
    uint32_t seed_ = 0x1F2E3D4C;
    uint32_t noiseSeeds_[8 * 60] = {};
    std::vector<int16_t> interleaved_;
    ZemFdpState_32f* fdp_[kMaxChannels] = {};
    int32_t bandOffsets_[65] = {};
    int predBands_ = 0;
    // HE-AAC: SBR payloads in the first raw data block make the output twice the core rate.
    // Until that block is emitted, and after it when it has SBR, the filter bank's output stays
    // in 32 bits for the SBR analysis.
    bool sbr_ = false;
    bool sbrLowPower_;
    bool lateSbrReported_ = false;
    bool psIgnoredReported_ = false;
    long psFrom_ = -1;
    long sbrErrors_ = 0; // damaged SBR payloads (the core of their frames is still decoded)
    int lastSlot_ = -1;
    std::vector<SbrPending> pending_;
    std::vector<std::unique_ptr<SbrElement>> sbrElements_;
    int32_t core_[kMaxChannels][1024] = {};
    std::vector<float> sbrOut_;
    std::vector<int16_t> pcm2x_;
};

bool Decoder::fail(const char* what, ZemStatus st) {
    say(log_, "error: frame %ld at offset %zu: %s (status %d)\n", frame_, offset_, what, int(st));
    return false;
}

bool Decoder::decode_channel(uint8_t*& p, int32_t& pos, ChannelData& ch, int commonWindow) {
    ch.chan.sampling_frequency_index = sfi_;
    ch.chan.predSfbLimit = pred_sfb_limit();
    ch.chan.pIcsOfChan = &ch.ics;
    const ZemStatus st =
        zemsNoiselessDecode_AAC(&p, &pos, &main_, ch.sf, ch.spec, ch.sfbCb, ch.tnsCoef, &ch.chan, 0,
                                0, commonWindow, 0, objectType_);
    if (st != zemStatusOk)
        return fail("channel stream", st);
    if (!commonWindow)
        ch.ltp = main_.ltp[0];
    const ZemStatus q =
        zemsQuantInv_AAC_32s_I(ch.spec, ch.sf, ch.groups(), ch.ics.window_group_length, ch.maxSfb(),
                               ch.sfbCb, sfi_, ch.winLen());
    return q == zemStatusOk || fail("inverse quantisation", q);
}

// Deinterleaves eight-short spectra into window order and fills noise bands; msRows, for the
// second channel of a pair, marks the bands whose noise repeats the first channel's.
void Decoder::to_window_order_and_pns(ChannelData& ch, const uint8_t* msRows, int channelOfPair) {
    if (ch.isShort()) {
        int32_t windowOrder[1024];
        zemsDeinterleaveSpectrum_AAC_32s(ch.spec, windowOrder, ch.groups(),
                                         ch.ics.window_group_length, ch.maxSfb(), sfi_, 128);
        std::memcpy(ch.spec, windowOrder, sizeof windowOrder);
    }
    const int bands = ch.groups() * ch.maxSfb();
    if (std::find(ch.sfbCb, ch.sfbCb + bands, uint8_t(13)) == ch.sfbCb + bands)
        return;
    // One scale-factor row per window, the group's row repeated.
    int16_t sfPerWindow[8 * 64];
    int window = 0;
    for (int g = 0; g < ch.groups(); ++g)
        for (int w = 0; w < ch.ics.window_group_length[g]; ++w, ++window)
            std::memcpy(sfPerWindow + window * ch.maxSfb(), ch.sf + g * ch.maxSfb(),
                        sizeof(int16_t) * std::size_t(ch.maxSfb()));
    int32_t* ltpUsed = ch.ltp.ltp_long_used; // noise bands take no long-term prediction
    if (msRows == nullptr)
        zemsDecodePNS_AAC_32s(ch.spec, ltpUsed, ch.sfbCb, sfPerWindow, ch.maxSfb(), ch.groups(),
                              ch.ics.window_group_length, sfi_, ch.winLen(), &seed_);
    else
        zemsDecodeMsPNS_AAC_32s(ch.spec, ltpUsed, ch.sfbCb, sfPerWindow, ch.maxSfb(), ch.groups(),
                                ch.ics.window_group_length, sfi_, ch.winLen(), &seed_,
                                channelOfPair, msRows, noiseSeeds_);
}

// AAC Main: the backward-adaptive predictors of the long-window lines of output channel `out`
// run on every long frame (their state follows the reconstructed spectrum whether or not the
// frame uses them) and are all reset by a short one; the group reset comes after the
// prediction, and the predictors of noise bands are reset as well.
bool Decoder::predict(ChannelData& ch, int out) {
    if (objectType_ != kProfileMain + 1 || out < 0)
        return true;
    ZemFdpState_32f*& state = fdp_[out];
    if (state == nullptr && zemsFDPInitAlloc_32f(&state, 1024) != zemStatusOk)
        return fail("predictor state", zemStatusNoMemory);
    if (ch.isShort())
        return zemsFDPReset_32f(state) == zemStatusOk;
    if (predBands_ == 0) {
        const int bands = std::min(kPredSfbMax[sfi_], int(ch.chan.num_swb));
        predBands_ = long_band_offsets(sfi_, bands, bandOffsets_);
        if (predBands_ == 0)
            return fail("band layout of the predictors", zemStatusFailed);
    }
    alignas(16) float x[1024];
    for (int k = 0; k < 1024; ++k)
        x[k] = float(ch.spec[k]);
    uint8_t used[64] = {};
    if (ch.ics.predictor_data_present)
        std::memcpy(used, ch.ics.prediction_used, std::size_t(std::min(predBands_, 41)));
    if (zemsFDPInv_32f_I(x, bandOffsets_, predBands_, used, state) != zemStatusOk)
        return fail("prediction", zemStatusFailed);
    for (int b = 0; b < predBands_; ++b)
        if (used[b])
            for (int k = bandOffsets_[b]; k < bandOffsets_[b + 1]; ++k)
                ch.spec[k] = int32_t(std::lrint(std::clamp(x[k], -2147483520.0f, 2147483520.0f)));
    if (ch.ics.predictor_data_present && ch.ics.predictor_reset)
        zemsFDPResetGroup_32f(30, ch.ics.predictor_reset_group_number - 1, state);
    uint8_t noise[64] = {};
    bool anyNoise = false;
    for (int b = 0; b < std::min(predBands_, ch.maxSfb()); ++b)
        anyNoise |= (noise[b] = ch.sfbCb[b] == 13) != 0;
    if (anyNoise)
        zemsFDPResetSfb_32f(bandOffsets_, predBands_, noise, state);
    return true;
}

// AAC LTP: the past output, delayed by the lag and weighted, through the current window and
// forward transform (and the TNS analysis filter of the frame) is added to the flagged bands.
void Decoder::long_term_predict(ChannelData& ch, ChannelState& s) {
    if (ch.isShort() || !ch.ltp.ltp_data_present)
        return;
    int32_t pred[2048], estimate[1024], work[2048], reserved = 0;
    zemsLongTermPredict_AAC_32s(s.ltpHistory, pred, &ch.ltp, ch.ics.window_sequence);
    zemsMDCTFwd_AAC_32s(pred, estimate, &reserved, ch.ics.window_sequence, ch.ics.window_shape,
                        s.prevShape, work);
    if (ch.chan.tns_data_present)
        zemsEncodeTNS_AAC_32s_I(estimate, ch.chan.n_filt, ch.chan.length, ch.chan.order,
                                ch.chan.coef_res, ch.tnsCoef, ch.chan.direction, ch.maxSfb(), 1,
                                sfi_, ch.winLen());
    zemsLongTermReconstruct_AAC_32s(estimate, ch.spec, ch.ltp.ltp_long_used, ch.ics.window_sequence,
                                    sfi_);
}

void Decoder::synthesise(ChannelData& ch, int out) {
    ChannelState& s = state_[out];
    const bool ltp = objectType_ == kProfileLtp + 1;
    if (ltp)
        long_term_predict(ch, s);
    if (ch.chan.tns_data_present)
        zemsDecodeTNS_AAC_32s_I(ch.spec, ch.chan.n_filt, ch.chan.length, ch.chan.order,
                                ch.chan.coef_res, ch.tnsCoef, ch.chan.direction, ch.maxSfb(), 0,
                                sfi_, ch.winLen());
    // Mono and stereo go straight into the interleaved output (LTP: see history_to_pcm).
    int16_t* pcm = direct_ ? interleaved_.data() + out : pcm_[out];
    const int step = direct_ ? layout_.channels : 1;
    if (ltp) {
        // The history update runs the filter bank itself: its new frame is the filter bank's
        // sum before rounding, at 8 times the PCM scale, and its tail is the overlap.
        int32_t work[6144];
        zemsLtpUpdate_AAC_32s(ch.spec, s.ltpHistory, ch.ics.window_sequence, ch.ics.window_shape,
                              s.prevShape, work);
        if (deferred()) // the SBR analysis reads the frame from core_
            std::memcpy(core_[out], s.ltpHistory + 1024, sizeof core_[out]);
    } else {
        // Until the first block is out it is open whether it carries SBR: both filter banks run.
        if (deferred()) {
            // The 32-bit bank leaves eight short blocks at an eighth of the long blocks'
            // scale; their coefficients are the smaller by that factor, so they are raised.
            if (ch.isShort())
                for (int k = 0; k < 1024; ++k)
                    core_[out][k] =
                        int32_t(std::clamp<int64_t>(8 * int64_t(ch.spec[k]), INT32_MIN, INT32_MAX));
            else
                std::memcpy(core_[out], ch.spec, sizeof core_[out]);
            zemsMDCTInv_AAC_32s_I(core_[out], s.overlap32, ch.ics.window_sequence,
                                  ch.ics.window_shape, s.prevShape, 1024);
        }
        if (!sbr_)
            zemsMDCTInv_AAC_32s16s(ch.spec, pcm, s.overlap, ch.ics.window_sequence,
                                   ch.ics.window_shape, s.prevShape, step);
    }
    if (ltp) // into pcm_: LTP never writes the interleaved output directly
        history_to_pcm(s.ltpHistory + 1024, pcm);
    s.prevShape = ch.ics.window_shape;
}

int Decoder::take_slot(AacElement type, int tag, int channels) {
    for (std::size_t i = 0; i < layout_.slots.size(); ++i) {
        const AacSlot& s = layout_.slots[i];
        const bool typeMatches = s.type == type || (channels == 1 && s.type == AacElement::Sce &&
                                                    type == AacElement::Lfe);
        if (!slotUsed_[i] && typeMatches && (s.tag < 0 || s.tag == tag)) {
            slotUsed_[i] = true;
            return int(i);
        }
    }
    return -1;
}

bool Decoder::single(uint8_t*& p, int32_t& pos, int out) {
    ChannelData& ch = out >= 0 ? pairData_[0] : scratch_;
    if (!decode_channel(p, pos, ch, 0))
        return false;
    to_window_order_and_pns(ch, nullptr, 0);
    if (!predict(ch, out))
        return false;
    if (out >= 0)
        synthesise(ch, out);
    return true;
}

bool Decoder::pair(uint8_t*& p, int32_t& pos, int outL, int outR) {
    ZemAacCpeRec cpe;
    std::memset(&cpe, 0, sizeof cpe);
    ChannelData& L = pairData_[0];
    ChannelData& R = pairData_[1];
    const ZemStatus st =
        objectType_ == kProfileLtp + 1
            ? zemsDecodeChanPairElt_MP4_AAC(&p, &pos, &L.ics, &cpe, &main_, 0, objectType_)
            : zemsDecodeChanPairElt_AAC(&p, &pos, &L.ics, &cpe, pred_sfb_limit());
    if (st != zemStatusOk)
        return fail("channel pair element", st);
    if (cpe.common_window) {
        R.ics = L.ics;
        L.ltp = main_.ltp[0];
        R.ltp = main_.ltp[1];
    }
    if (!decode_channel(p, pos, L, cpe.common_window) ||
        !decode_channel(p, pos, R, cpe.common_window))
        return false;

    // Noise bands take part in neither M/S nor correlation unless both channels carry noise.
    const uint8_t* msUsed = reinterpret_cast<const uint8_t*>(cpe.ms_used);
    uint8_t msRows[8 * 60] = {};
    bool correlated = false;
    if (cpe.common_window && (cpe.ms_mask_present == 1 || cpe.ms_mask_present == 2)) {
        uint8_t cb[8 * 64];
        const int n = L.maxSfb();
        for (int g = 0; g < L.groups(); ++g)
            for (int b = 0; b < n; ++b) {
                const int i = g * n + b;
                const bool used = cpe.ms_mask_present == 2 || msUsed[g * 60 + b] != 0;
                cb[i] = L.sfbCb[i] == 13 ? 13 : R.sfbCb[i];
                msRows[g * 60 + b] = used && L.sfbCb[i] == 13 && R.sfbCb[i] == 13;
                correlated = correlated || msRows[g * 60 + b];
            }
        const ZemStatus ms = zemsDecodeMsStereo_AAC_32s_I(
            L.spec, R.spec, cpe.ms_mask_present, msUsed, cb, L.groups(), L.ics.window_group_length,
            n, sfi_, L.winLen());
        if (ms != zemStatusOk)
            return fail("mid/side stereo", ms);
        for (int i = 0; i < L.groups() * n; ++i)
            if (R.sfbCb[i] == 14 || R.sfbCb[i] == 15)
                R.sfbCb[i] = cb[i]; // an M/S flag inverts the intensity direction
    }
    // AAC Main predicts between M/S and intensity stereo, on spectra whose noise bands are
    // filled; short windows only reset the predictors, and keep the order of AAC-LC, in which
    // intensity stereo works on the grouped spectrum.
    const bool predictFirst = objectType_ == kProfileMain + 1 && !L.isShort() && !R.isShort();
    if (predictFirst) {
        to_window_order_and_pns(L, correlated ? msRows : nullptr, 0);
        to_window_order_and_pns(R, correlated ? msRows : nullptr, 1);
        if (!predict(L, outL) || !predict(R, outR))
            return false;
    }
    const ZemStatus is =
        zemsDecodeIsStereo_AAC_32s(L.spec, R.spec, R.sf, R.sfbCb, R.groups(),
                                   R.ics.window_group_length, R.maxSfb(), sfi_, R.winLen());
    if (is != zemStatusOk)
        return fail("intensity stereo", is);
    if (!predictFirst) {
        to_window_order_and_pns(L, correlated ? msRows : nullptr, 0);
        to_window_order_and_pns(R, correlated ? msRows : nullptr, 1);
        if (!predict(L, outL) || !predict(R, outR))
            return false;
    }
    if (outL >= 0) {
        synthesise(L, outL);
        synthesise(R, outR);
    }
    return true;
}

bool Decoder::raw_data_block(uint8_t*& p, int32_t& pos, const uint8_t* end, long frame,
                             std::size_t offset) {
    frame_ = frame;
    offset_ = offset;
    // Once the output format is fixed, the channel count of the layout no longer changes.
    direct_ = started_ && layout_.channels <= 2 && objectType_ != kProfileLtp + 1;
    slotUsed_.assign(layout_.slots.size(), false);
    pending_.resize(layout_.slots.size());
    for (SbrPending& pending : pending_)
        pending.present = false;
    lastSlot_ = -1;
    bool decoded[kMaxChannels] = {};
    for (;;) {
        if (p >= end)
            return fail("raw data block runs past the frame", zemStatusFailed);
        const auto id = AacElement(bits(p, pos, 3));
        if (id == AacElement::End)
            break;
        if (id == AacElement::Sce || id == AacElement::Lfe || id == AacElement::Cpe) {
            const int tag = int(bits(p, pos, 4));
            const int slot = take_slot(id, tag, id == AacElement::Cpe ? 2 : 1);
            const int outL = slot >= 0 ? layout_.slots[std::size_t(slot)].out[0] : -1;
            const int outR = slot >= 0 ? layout_.slots[std::size_t(slot)].out[1] : -1;
            const bool ok = id == AacElement::Cpe ? pair(p, pos, outL, outR) : single(p, pos, outL);
            if (!ok)
                return false;
            lastSlot_ = id == AacElement::Lfe ? -1 : slot;
            if (outL >= 0)
                decoded[outL] = true;
            if (id == AacElement::Cpe && outR >= 0)
                decoded[outR] = true;
        } else if (id == AacElement::Dse) {
            int32_t tag, count;
            uint8_t data[512];
            const ZemStatus st = zemsDecodeDatStrElt_AAC(&p, &pos, &tag, &count, data);
            if (st != zemStatusOk)
                return fail("data stream element", st);
        } else if (id == AacElement::Pce) {
            ZemAacPceRec pce;
            const ZemStatus st = zemsDecodePrgCfgElt_AAC(&p, &pos, &pce);
            if (st != zemStatusOk)
                return fail("program config element", st);
            set_pce_layout(pce);
            slotUsed_.assign(layout_.slots.size(), false);
            pending_.assign(layout_.slots.size(), SbrPending{});
            lastSlot_ = -1;
        } else if (id == AacElement::Fil) {
            int32_t count;
            uint8_t data[272];
            const ZemStatus st = zemsDecodeFillElt_AAC(&p, &pos, &count, data);
            if (st != zemStatusOk)
                return fail("fill element", st);
            fill_element(data, count);
        } else { // a coupling channel element has no length: the rest of the block is lost
            if (!cceReported_)
                say(log_,
                    "warning: frame %ld at offset %zu: coupling channel element not supported, "
                    "remaining channels of such blocks are silenced\n",
                    frame, offset);
            cceReported_ = true;
            break;
        }
    }
    if (pos != 0) {
        ++p;
        pos = 0;
    }
    if (layout_.channels == 0)
        return fail("no channel layout (channel configuration 0 without a program config element)",
                    zemStatusFailed);
    emit(decoded);
    return true;
}

// Rounds 2048 samples to the nearest integer (ties to even) with saturation: adding and
// removing 1.5 * 2^23 leaves the rounded value of anything within the 16-bit range, in a loop
// the compiler vectorises.
void to_pcm16(const float* src, int16_t* dst) {
    constexpr float kRound = 12582912.0f;
    for (int n = 0; n < 2048; ++n) {
        const float low = src[n] > -32768.0f ? src[n] : -32768.0f; // NaN too
        const float v = low < 32767.0f ? low : 32767.0f;
        dst[n] = int16_t(int32_t((v + kRound) - kRound));
    }
}

// An SBR payload belongs to the element before it; SBR first seen after the output format
// is fixed cannot change it, and is skipped.
void Decoder::fill_element(const uint8_t* data, int32_t count) {
    constexpr int kExtensionSbr = 13, kExtensionSbrCrc = 14;
    const int type = count > 0 ? data[0] >> 4 : 0;
    if (type != kExtensionSbr && type != kExtensionSbrCrc)
        return;
    if (!started_)
        sbr_ = true;
    if (!sbr_) {
        if (!lateSbrReported_)
            say(log_,
                "warning: frame %ld at offset %zu: SBR data after a first frame without it are "
                "skipped (the output stays at the core rate)\n",
                frame_, offset_);
        lateSbrReported_ = true;
        return;
    }
    if (lastSlot_ < 0 || std::size_t(lastSlot_) >= pending_.size())
        return;
    SbrPending& p = pending_[std::size_t(lastSlot_)];
    p.present = true;
    p.bytes = std::min<int32_t>(count, int32_t(sizeof p.data));
    std::memcpy(p.data, data, std::size_t(p.bytes));
}

void Decoder::emit(const bool* decoded) {
    if (sbr_) {
        emit_sbr(decoded);
        return;
    }
    if (!started_) {
        out_.begin({aac_sample_rate(sfi_), layout_.channels, layout_.channelMask});
        started_ = true;
    }
    const int nch = layout_.channels;
    interleaved_.resize(std::size_t(nch) * 1024);
    for (int c = 0; c < nch; ++c) {
        if (!decoded[c]) {
            std::memset(pcm_[c], 0, sizeof pcm_[c]);
            std::memset(state_[c].overlap, 0, sizeof state_[c].overlap);
            std::memset(state_[c].overlap32, 0, sizeof state_[c].overlap32);
            std::memset(state_[c].ltpHistory, 0, sizeof state_[c].ltpHistory);
        }
        if (direct_ && !decoded[c])
            for (int n = 0; n < 1024; ++n)
                interleaved_[std::size_t(n * nch + c)] = 0;
    }
    if (!direct_) {
        const int16_t* planes[kMaxChannels];
        for (int c = 0; c < nch; ++c)
            planes[c] = pcm_[c];
        zemsInterleave_16s(planes, nch, 1024, interleaved_.data());
    }
    out_.write(interleaved_.data(), 1024);
}

// Every element runs through the SBR banks, with or without a high band; a mono stream gives
// two channels, equal until parametric stereo starts.
void Decoder::emit_sbr(const bool* decoded) {
    const bool mono = layout_.channels == 1;
    const int nch = mono ? 2 : layout_.channels;
    if (!started_) {
        out_.begin({2 * aac_sample_rate(sfi_), nch, mono ? 3u : layout_.channelMask});
        started_ = true;
    }
    sbrOut_.resize(std::size_t(nch) * 2048);
    sbrElements_.resize(layout_.slots.size());
    bool written[kMaxChannels] = {};
    for (std::size_t i = 0; i < layout_.slots.size(); ++i) {
        const AacSlot& slot = layout_.slots[i];
        const int channels = slot.type == AacElement::Cpe ? 2 : 1;
        if (slot.out[0] < 0 || !decoded[slot.out[0]])
            continue;
        int outs[2] = {slot.out[0], channels == 2 ? slot.out[1] : mono ? 1 : -1};
        if (!sbrElements_[i])
            sbrElements_[i] =
                std::make_unique<SbrElement>(aac_sample_rate(sfi_), channels, mono, sbrLowPower_);
        SbrElement& e = *sbrElements_[i];
        const bool psBefore = e.ps_started();
        if (i < pending_.size() && pending_[i].present) {
            const char* what = "";
            if (!e.read(pending_[i].data, pending_[i].bytes, &what)) {
                ++sbrErrors_;
                say(log_, "error: frame %ld at offset %zu: %s; SBR off until the next header\n",
                    frame_, offset_, what);
            }
        }
        const int32_t* core[2] = {core_[outs[0]], channels == 2 ? core_[outs[1]] : nullptr};
        float* out[2] = {sbrOut_.data() + std::size_t(outs[0]) * 2048,
                         outs[1] >= 0 ? sbrOut_.data() + std::size_t(outs[1]) * 2048 : nullptr};
        // The 32-bit filter bank works at 256 times the PCM scale, the LTP history at 8 times.
        e.process(core, objectType_ == kProfileLtp + 1 ? 0.125f : 1.0f / 256, out);
        if (!psBefore && e.ps_started() && psFrom_ < 0)
            psFrom_ = frame_;
        if (e.ps_ignored() && !psIgnoredReported_) {
            say(log_,
                "note: frame %ld: parametric stereo is left out by the low-power SBR decoder "
                "(both channels carry the mono signal)\n",
                frame_);
            psIgnoredReported_ = true;
        }
        for (int o : outs)
            if (o >= 0)
                written[o] = true;
    }
    interleaved_.resize(std::size_t(nch) * 2048);
    pcm2x_.resize(std::size_t(nch) * 2048);
    for (int c = 0; c < nch; ++c) {
        float* src = sbrOut_.data() + std::size_t(c) * 2048;
        if (!written[c])
            std::fill(src, src + 2048, 0.0f);
        to_pcm16(src, pcm2x_.data() + std::size_t(c) * 2048);
    }
    const int16_t* planes[kMaxChannels];
    for (int c = 0; c < nch; ++c)
        planes[c] = pcm2x_.data() + std::size_t(c) * 2048;
    zemsInterleave_16s(planes, nch, 2048, interleaved_.data());
    out_.write(interleaved_.data(), 2048);
}

void Decoder::conceal() {
    const bool none[kMaxChannels] = {};
    if (layout_.channels > 0)
        emit(none);
}

DecodeSummary decode_adif(const Buffer& file, std::size_t start, std::size_t dataEnd,
                          const PcmOutput& out, std::FILE* log, bool sbrLowPower) {
    DecodeSummary sum;
    const Buffer& in = file;
    ZemAacAdifRec adif{};
    std::vector<ZemAacPceRec> pces(16);
    uint8_t* p = const_cast<uint8_t*>(in.data()) + start;
    if (in.size - start < 64 ||
        zemsUnpackADIFHeader_AAC(&p, &adif, pces.data(), 16) != zemStatusOk ||
        std::size_t(p - in.data()) > in.size) {
        say(log, "error: ADIF header at offset %zu is invalid or truncated\n", start);
        sum.errors = 1;
        return sum;
    }
    const int sfi = pces[0].sampling_frequency_index;
    if (aac_sample_rate(sfi) == 0 || !decodable_profile(pces[0].object_type)) {
        say(log, "error: the ADIF program config element names no valid sampling rate or a "
                 "profile other than AAC Main, LC and LTP\n");
        sum.errors = 1;
        return sum;
    }
    auto dec = std::make_unique<Decoder>(sfi, pces[0].object_type, out, log, sbrLowPower);
    dec->set_pce_layout(pces[0]);
    const uint8_t* end = in.data() + dataEnd;
    int32_t pos = 0;
    while (p < end) {
        const std::size_t offset = std::size_t(p - in.data());
        if (!dec->raw_data_block(p, pos, end, sum.frames, offset)) {
            ++sum.errors;
            dec->conceal();
            ++sum.frames;
            break; // ADIF has no sync words to resume at
        }
        ++sum.frames;
    }
    sum.sbr = dec->sbr();
    sum.psFrom = dec->ps_from();
    sum.errors += dec->sbr_errors();
    return sum;
}

// The raw data blocks of the ADTS frame d (its header headerBytes long), each decoded, or
// concealed when it fails or when the frame is not to be decoded (ok false).
void decode_adts_blocks(Decoder& dec, const ZemAacAdtsRec& h, const uint8_t* d,
                        std::size_t headerBytes, bool ok, long adtsFrame, std::size_t pos,
                        DecodeSummary& sum) {
    uint8_t* p = const_cast<uint8_t*>(d) + headerBytes;
    const uint8_t* frameEnd = d + h.aac_frame_length;
    int32_t bitPos = 0;
    if (h.protection_absent == 0 && h.raw_data_block_count > 1)
        p += 2 * (h.raw_data_block_count - 1); // raw_data_block_position[] after the first CRC word
    for (int b = 0; b < h.raw_data_block_count; ++b) {
        if (ok) {
            ok = dec.raw_data_block(p, bitPos, frameEnd, adtsFrame, pos) && p <= frameEnd;
            if (ok && h.protection_absent == 0 && h.raw_data_block_count > 1)
                p += 2; // the block's CRC word
        }
        if (!ok) {
            ++sum.errors;
            if (dec.has_layout())
                dec.conceal();
        }
        ++sum.frames;
    }
}

DecodeSummary decode_adts(const Buffer& file, std::size_t pos0, std::size_t end,
                          const PcmOutput& out, std::FILE* log, bool sbrLowPower) {
    DecodeSummary sum;
    std::unique_ptr<Decoder> dec;
    int sfi = -1;
    std::size_t pos = pos0;
    long adtsFrame = 0;
    bool profileReported = false;
    JunkRun junk;
    // Frames are decoded in place; a damaged one may lead a parser into the frames after it
    // (checked when the block ends) or into the buffer's padding, never out of the buffer.
    const Buffer& in = file;
    while (pos + 7 <= end) {
        if (const std::size_t tag = tag_length_at(in.data(), pos, end)) {
            pos += tag; // a tag between frames: an appended or a concatenated stream's
            continue;
        }
        const uint8_t* d = in.data() + pos;
        // After junk, a sync counts only when the next header follows where it says.
        if (!(d[0] == 0xFF && (d[1] & 0xF6) == 0xF0) ||
            (junk.bytes > 0 && confirmed_adts_frame(in.data(), pos, end) == 0)) {
            junk.skip(pos);
            continue;
        }
        ZemAacAdtsRec h{};
        uint8_t* p = const_cast<uint8_t*>(d);
        zemsUnpackADTSFrameHeader_AAC(&p, &h);
        const std::size_t headerBytes = std::size_t(p - d);
        const bool validRate = aac_sample_rate(h.sampling_frequency_index) != 0;
        const bool fits = pos + std::size_t(h.aac_frame_length) <= end;
        if (validRate && !fits) {
            say(log, "error: frame %ld at offset %zu is truncated\n", adtsFrame, pos);
            ++sum.errors;
            if (dec) {
                dec->conceal();
                ++sum.frames;
            }
            break;
        }
        if (!validRate || std::size_t(h.aac_frame_length) < headerBytes || !fits) {
            junk.skip(pos);
            continue;
        }
        if (junk.report(log))
            ++sum.errors;
        if (!dec) { // the first frame sets the sampling rate and the channel configuration
            sfi = h.sampling_frequency_index;
            dec = std::make_unique<Decoder>(sfi, h.profile, out, log, sbrLowPower);
            AacLayout layout;
            if (layout_from_configuration(h.channel_configuration, layout))
                dec->set_layout(layout);
        }
        const bool sameRate = h.sampling_frequency_index == sfi;
        if (!sameRate)
            say(log, "error: frame %ld at offset %zu changes the sampling rate\n", adtsFrame, pos);
        // Frames of other profiles (or of another profile than the first frame's) are neither
        // decoded nor concealed.
        if (!decodable_profile(h.profile) || h.profile != dec->profile()) {
            if (!profileReported)
                say(log,
                    "error: frame %ld at offset %zu: profile %d is not decoded (AAC Main, LC "
                    "and LTP are, one per stream)\n",
                    adtsFrame, pos, int(h.profile));
            profileReported = true;
            ++sum.errors;
            pos += std::size_t(h.aac_frame_length);
            ++adtsFrame;
            continue;
        }
        decode_adts_blocks(*dec, h, d, headerBytes, sameRate, adtsFrame, pos, sum);
        pos += std::size_t(h.aac_frame_length);
        ++adtsFrame;
    }
    if (junk.report(log))
        ++sum.errors;
    if (dec) {
        sum.sbr = dec->sbr();
        sum.psFrom = dec->ps_from();
        sum.errors += dec->sbr_errors();
    }
    return sum;
}

} // namespace

DecodeSummary decode_aac(const Buffer& in, const PcmOutput& out, std::FILE* log, bool sbrLowPower) {
    const StreamLocation loc = locate_stream(in);
    if (loc.kind == StreamKind::Adif)
        return decode_adif(in, loc.begin, loc.end, out, log, sbrLowPower);
    report_leading_junk(log, loc);
    return decode_adts(in, loc.kind == StreamKind::Adts ? loc.begin : loc.tagsEnd, loc.end, out,
                       log, sbrLowPower);
}

} // namespace zemdec
