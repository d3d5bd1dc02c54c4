#include "encoder.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "frame_writer.hpp"
#include "info_tag.hpp"
#include "zemac.h"

namespace zemenc {
namespace {

constexpr int kKbps[15] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr int kRates[3] = {44100, 48000, 32000};

struct Channel {
    std::vector<int32_t> previous =
        std::vector<int32_t>(576, 0); // sub-band samples, granule before
    std::unique_ptr<ZemMp3PsyStateRec> psy = std::make_unique<ZemMp3PsyStateRec>();
    ZemMp3PsyResultRec ahead{}, current{}; // the model at G + 1 and G
    Channel() { *psy = {}; }
};

// One granule of one channel on its way to the stream.
struct Coded {
    std::vector<int32_t> spec = std::vector<int32_t>(576, 0);
    std::vector<float> ratio = std::vector<float>(39, 0.0f);
    float pe = 0.0f;
    int8_t sf[39] = {};
    int32_t count1Len = 0, hufSize = 0;
};

class Encoder {
  public:
    Encoder(const Pcm& pcm, const Settings& s, int rateIndex, int bitrateIndex)
        : pcm_(pcm), s_(s), nch_(s.mode == 'm' || pcm.channels == 1 ? 1 : 2),
          channels_(std::size_t(nch_)) {
        header_.id = 1;
        header_.layer = 1;
        header_.protection_bit = s.crc ? 0 : 1;
        header_.bitrate_index = bitrateIndex;
        header_.sampling_frequency = rateIndex;
        header_.mode = nch_ == 1 ? 3 : s.mode == 's' ? 0 : 1;
        header_.original_copy = 1;
        ZemMp3ReservoirRec r{};
        zemsBitReservoirInit_MP3(&r, &header_);
        writer_ = std::make_unique<FrameWriter>(std::min(r.maxReservoirBits / 8, 511));
        work_.resize(std::max(ZEM_MP3_PSY_WORK_BYTES, ZEM_MP3_QUANTIZE_WORK_BYTES));
    }

    // The tag frame, then the audio frames.
    std::vector<uint8_t> run() {
        const long frames = (long(samples()) + kEncoderDelay + 1151) / 1152;
        model(0);
        for (long f = 0; f < frames; ++f)
            frame(f);
        std::vector<uint8_t>& audio = writer_->bytes();
        const StreamFacts facts{frames, long(audio.size()), kEncoderDelay - 529,
                                int(frames * 1152 - long(samples()) - kEncoderDelay + 529),
                                tag_crc(audio.data(), audio.size())};
        std::vector<uint8_t> stream = info_frame(header_, facts);
        stream.insert(stream.end(), audio.begin(), audio.end());
        return stream;
    }

  private:
    std::size_t samples() const { return pcm_.samples.size() / std::size_t(pcm_.channels); }

    // Input sample n of channel ch (the down-mix in mono mode), 0 outside the input.
    int16_t sample(long n, int ch) const {
        if (n < 0 || n >= long(samples()))
            return 0;
        const int16_t* frame = &pcm_.samples[std::size_t(n) * std::size_t(pcm_.channels)];
        if (nch_ == 1 && pcm_.channels == 2)
            return int16_t((frame[0] + frame[1]) / 2);
        return frame[ch];
    }

    // The model for spectral granule g, centred where its transform window is: its 576
    // samples begin 528 samples before the granule's (the bank's delay of about 240 and half a
    // granule, less the model's 224).
    void model(long g) {
        bool attack = false;
        for (int ch = 0; ch < nch_; ++ch) {
            std::vector<int16_t> window(1024);
            for (int i = 0; i < 1024; ++i)
                window[std::size_t(i)] = sample(576 * g - 752 + i, ch);
            Channel& c = channels_[std::size_t(ch)];
            c.current = c.ahead;
            zemsPsychoacousticModelTwo_MP3_16s(window.data(), 1, &header_, c.psy.get(), &c.ahead,
                                               work_.data());
            attack |= c.ahead.attack != 0;
        }
        shortAhead_ = attack;
    }

    // Block type of the granule now being coded, knowing whether the next one is short.
    int next_type(bool shortNow) {
        const bool nextShort = shortAhead_;
        int type = 0;
        if (shortNow || (lastType_ == 2 && nextShort))
            type = 2;
        else if (lastType_ == 2)
            type = 3;
        else if (nextShort)
            type = 1;
        lastType_ = type;
        return type;
    }

    // Sub-band samples of spectral granule g (slots 18 g .. 18 g + 17).
    void analyse(long g, int ch, std::vector<int32_t>& sub) const {
        std::vector<int16_t> window(512);
        for (int t = 0; t < 18; ++t) {
            const long newest = 32 * (18 * g + t); // first of the slot's 32 new samples
            for (int i = 0; i < 512; ++i)
                window[std::size_t(i)] = sample(newest - 480 + i, ch);
            zemsAnalysisPQMF_MP3_16s32s(window.data(), sub.data() + 32 * t, 1);
        }
    }

    void frame(long f) {
        const int padded = frame_padding();
        const int sideBytes = nch_ == 1 ? 17 : 32;
        const int frameBytes =
            144000 * kKbps[header_.bitrate_index] / kRates[header_.sampling_frequency] + padded;
        const int payload = frameBytes - 4 - (s_.crc ? 2 : 0) - sideBytes;
        header_.padding_bit = padded;
        ZemMp3GranuleRec side[4] = {};
        Coded coded[2][2];
        for (int gr = 0; gr < 2; ++gr) {
            const long g = 2 * f + gr;
            const bool shortNow = shortAhead_;
            model(g + 1);
            const int type = next_type(shortNow);
            for (int ch = 0; ch < nch_; ++ch) {
                Channel& c = channels_[std::size_t(ch)];
                std::vector<int32_t> sub(576);
                analyse(g, ch, sub);
                Coded& k = coded[gr][ch];
                zemsMDCTFwd_MP3_32s(sub.data(), k.spec.data(), type, 0, &header_,
                                    c.previous.data());
                const float* ratio = type == 2 ? c.current.ratioShort : c.current.ratioLong;
                std::copy(ratio, ratio + (type == 2 ? 39 : 22), k.ratio.begin());
                k.pe = c.current.pe;
                ZemMp3GranuleRec& gi = side[gr * nch_ + ch];
                gi.block_type = type;
                gi.window_switching_flag = type != 0;
            }
        }
        header_.mode_extension = nch_ == 2 && header_.mode == 1 && use_mid_side(coded) ? 2 : 0;
        if (header_.mode_extension != 0)
            for (int gr = 0; gr < 2; ++gr) {
                uint8_t isPos[39];
                int32_t isStart[3] = {};
                zemsJointStereoEncode_MP3_32s_I(coded[gr][0].spec.data(), coded[gr][1].spec.data(),
                                                isPos, &header_, &side[gr * 2], isStart);
                for (int u = 0; u < 39; ++u) // M and S take the stricter of the two ratios
                    coded[gr][0].ratio[std::size_t(u)] = coded[gr][1].ratio[std::size_t(u)] =
                        std::min(coded[gr][0].ratio[std::size_t(u)],
                                 coded[gr][1].ratio[std::size_t(u)]);
            }
        // The budget: the frame's payload and part of the reservoir, shared by perceptual entropy.
        const int available = 8 * (writer_->reservoir_bytes() + payload);
        const int units = 2 * nch_;
        const int mean = 8 * payload / units;
        double weight[4] = {}, total = 0.0;
        for (int u = 0; u < units; ++u) {
            weight[u] = std::max(0.0, double(coded[u / nch_][u % nch_].pe) - 300.0);
            total += weight[u];
        }
        const int extra = 8 * writer_->reservoir_bytes() * 3 / 4;
        std::vector<uint8_t> main(std::size_t(available / 8 + 16), 0);
        uint8_t* p = main.data();
        int32_t bit = 0, used = 0;
        for (int u = 0; u < units; ++u) {
            const int gr = u / nch_, ch = u % nch_;
            Coded& k = coded[gr][ch];
            ZemMp3GranuleRec& gi = side[u];
            int budget = mean + (total > 0.0 ? int(extra * weight[u] / total) : 0);
            budget = std::min({budget, available - used - (units - 1 - u) * 0, 4095});
            zemsQuantize_MP3_32s_I(k.spec.data(), k.sf, &gi, &k.count1Len, &k.hufSize,
                                   k.ratio.data(), nullptr, nullptr, &header_, std::max(budget, 0),
                                   work_.data());
            const int32_t scfsi[4] = {};
            zemsPackScaleFactors_MP3_8s1u(k.sf, &p, &bit, &header_, &gi, scfsi, gr, ch);
            zemsHuffmanEncode_MP3_32s1u(k.spec.data(), &p, &bit, &header_, &gi, k.count1Len,
                                        k.hufSize);
            used += gi.part2_3_length;
        }
        main.resize(std::size_t(p - main.data()) + (bit != 0 ? 1 : 0));
        writer_->write(header_, side, main, payload);
    }

    // M/S when the side signal carries under a third of the mid signal's energy.
    bool use_mid_side(Coded (&coded)[2][2]) const {
        if (s_.mode == 'f')
            return true;
        double mid = 0.0, side = 0.0;
        for (auto& gr : coded)
            for (int i = 0; i < 576; ++i) {
                const double l = gr[0].spec[std::size_t(i)], r = gr[1].spec[std::size_t(i)];
                mid += (l + r) * (l + r);
                side += (l - r) * (l - r);
            }
        return side < mid / 3.0;
    }

    // Padding: the frames' bytes follow 144 bitrate / rate on average.
    int frame_padding() {
        const long exact = 144000L * kKbps[header_.bitrate_index];
        const long rate = kRates[header_.sampling_frequency];
        rest_ += exact % rate;
        if (rest_ >= rate) {
            rest_ -= rate;
            return 1;
        }
        return 0;
    }

    const Pcm& pcm_;
    Settings s_;
    int nch_;
    std::vector<Channel> channels_;
    ZemMp3HeaderRec header_{};
    std::unique_ptr<FrameWriter> writer_;
    std::vector<uint8_t> work_;
    bool shortAhead_ = false;
    int lastType_ = 0;
    long rest_ = 0;
};

} // namespace

bool encode(const Pcm& pcm, const Settings& settings, std::vector<uint8_t>& mp3,
            std::string& error) {
    const int* rate = std::find(std::begin(kRates), std::end(kRates), pcm.rate);
    if (rate == std::end(kRates)) {
        error = "sampling rate " + std::to_string(pcm.rate) +
                " Hz: only the MPEG-1 rates 32000, 44100 and 48000 are supported";
        return false;
    }
    const int* kbps = std::find(std::begin(kKbps) + 1, std::end(kKbps), settings.kbps);
    if (kbps == std::end(kKbps)) {
        error = "bit rate " + std::to_string(settings.kbps) +
                " kbit/s: one of 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320";
        return false;
    }
    Encoder e(pcm, settings, int(rate - std::begin(kRates)), int(kbps - std::begin(kKbps)));
    mp3 = e.run();
    return true;
}

} // namespace zemenc
