#include "encoder.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "frame_writer.hpp"
#include "info_tag.hpp"
#include "masking.hpp"
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

// One granule of one channel on its way to the stream: the spectrum, then what the quantiser
// made of it.
struct Coded {
    int32_t spec[576] = {};
    int32_t quantised[576] = {};
    float ratio[39] = {};
    float pe = 0.0f;
    int8_t sf[39] = {};
    int32_t count1Len = 0, hufSize = 0;
    ZemMp3GranuleRec granule{};
};

int frame_bytes(int bitrateIndex, int samplingFrequency, int padding) {
    return 144000 * kKbps[bitrateIndex] / kRates[samplingFrequency] + padding;
}

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
        writer_ = std::make_unique<FrameWriter>(reservoir_capacity(bitrateIndex));
        work_.resize(std::max(ZEM_MP3_PSY_WORK_BYTES, ZEM_MP3_QUANTIZE_WORK_BYTES));
        if (header_.mode == 1 && !vbr())
            intensity_ = intensity_start(s.kbps, rateIndex);
        cutoffHz_ = low_pass_hz(s, nch_);
    }

    // The tag frame, then the audio frames.
    std::vector<uint8_t> run(const Progress& progress, EncodeReport& report) {
        const long frames = (long(samples()) + kEncoderDelay + 1151) / 1152;
        model(0);
        std::vector<long> offsets; // of every frame in the audio bytes
        long bits = 0;
        for (long f = 0; f < frames; ++f) {
            offsets.push_back(long(writer_->bytes().size()));
            frame(f);
            bits += 8L * frame_bytes(header_.bitrate_index, header_.sampling_frequency,
                                     header_.padding_bit);
            if (progress && (f % 200 == 199 || f + 1 == frames))
                progress(std::min(long(samples()), (f + 1) * 1152), long(samples()));
        }
        std::vector<uint8_t>& audio = writer_->bytes();
        StreamFacts facts{frames,
                          long(audio.size()),
                          kEncoderDelay - 529,
                          int(frames * 1152 - long(samples()) - kEncoderDelay + 529),
                          tag_crc(audio.data(), audio.size()),
                          vbr(),
                          vbr() ? 100 - 10 * s_.vbrQuality : 0,
                          {}};
        for (int i = 0; i < 100; ++i)
            facts.start[i] = offsets[std::size_t(i * frames / 100)];
        ZemMp3HeaderRec tagHeader = header_;
        tagHeader.bitrate_index = vbr() ? lowest_ : header_.bitrate_index;
        std::vector<uint8_t> stream = info_frame(tagHeader, facts);
        stream.insert(stream.end(), audio.begin(), audio.end());
        report.frames = frames;
        report.meanKbps = double(bits) * kRates[header_.sampling_frequency] / 1152.0 /
                          double(std::max(1L, frames)) / 1000.0;
        return stream;
    }

  private:
    bool vbr() const { return s_.vbrQuality >= 0; }
    std::size_t samples() const { return pcm_.samples.size() / std::size_t(pcm_.channels); }

    // Main-data bytes that frames of this bit rate may start back in the reservoir.
    int reservoir_capacity(int bitrateIndex) const {
        ZemMp3HeaderRec h = header_;
        h.bitrate_index = bitrateIndex;
        ZemMp3ReservoirRec r{};
        zemsBitReservoirInit_MP3(&r, &h);
        return std::min(r.maxReservoirBits / 8, 511);
    }

    // Input samples n .. n + count - 1 of channel ch (the down-mix in mono mode), 0 outside the
    // input, and the stride between them: straight from the input where it holds them all,
    // else copied into `out`.
    const int16_t* read(long n, int ch, int count, int16_t* out, int& stride) const {
        const bool downMix = nch_ == 1 && pcm_.channels == 2;
        if (!downMix && n >= 0 && n + count <= long(samples())) {
            stride = pcm_.channels;
            return &pcm_.samples[std::size_t(n) * std::size_t(pcm_.channels) + std::size_t(ch)];
        }
        stride = 1;
        for (int i = 0; i < count; ++i, ++n) {
            if (n < 0 || n >= long(samples())) {
                out[i] = 0;
                continue;
            }
            const int16_t* frame = &pcm_.samples[std::size_t(n) * std::size_t(pcm_.channels)];
            out[i] = downMix ? int16_t((frame[0] + frame[1]) / 2) : frame[ch];
        }
        return out;
    }

    // The model for spectral granule g, centred where its transform window is: its 576
    // samples begin 528 samples before the granule's (the bank's delay of about 240 and half a
    // granule, less the model's 224).
    void model(long g) {
        bool attack = false;
        for (int ch = 0; ch < nch_; ++ch) {
            int stride = 1;
            const int16_t* x = read(576 * g - 752, ch, 1024, window_, stride);
            Channel& c = channels_[std::size_t(ch)];
            c.current = c.ahead;
            zemsPsychoacousticModelTwo_MP3_16s(x, stride, &header_, c.psy.get(), &c.ahead,
                                               work_.data());
            attack |= c.ahead.attack != 0 || transient(g, ch);
        }
        shortAhead_ = attack;
    }

    // A sharp rise of high-frequency energy in the second half of granule g's transform window
    // (the window's 1152 samples are centred 240 samples before the granule's): one of its nine
    // 64-sample blocks of the second difference holds over 4 times the most of the 8 blocks
    // before it (and more than a quiet floor). Model two's perceptual entropy misses attacks in
    // busy music; this is the time-domain look that block switching needs against pre-echo.
    bool transient(long g, int ch) {
        constexpr int kBlock = 64, kHistory = 8, kBlocks = kHistory + 9;
        static_assert(kBlocks * kBlock + 2 <= kWindowSamples);
        int stride = 1;
        const int16_t* x =
            read(576 * g - 240 - kHistory * kBlock - 2, ch, kBlocks * kBlock + 2, window_, stride);
        double energy[kBlocks];
        for (int b = 0; b < kBlocks; ++b) {
            double e = 0.0;
            for (int i = b * kBlock + 2; i < (b + 1) * kBlock + 2; ++i) {
                const double d =
                    double(x[i * stride]) - 2.0 * x[(i - 1) * stride] + double(x[(i - 2) * stride]);
                e += d * d;
            }
            energy[b] = e;
        }
        for (int b = kHistory; b < kBlocks; ++b) {
            double before = 0.0;
            for (int k = b - kHistory; k < b; ++k)
                before = std::max(before, energy[k]);
            if (energy[b] > 4.0 * before && energy[b] > kBlock * 1000.0)
                return true;
        }
        return false;
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

    // Sub-band samples of spectral granule g (slots 18 g .. 18 g + 17): each slot's 512-sample
    // window ends with its 32 new samples.
    void analyse(long g, int ch, int32_t* sub) {
        int stride = 1;
        const int16_t* x = read(32 * 18 * g - 480, ch, 576 + 480, window_, stride);
        for (int t = 0; t < 18; ++t)
            zemsAnalysisPQMF_MP3_16s32s(x + 32 * t * stride, sub + 32 * t, stride);
    }

    void frame(long f) {
        for (int gr = 0; gr < 2; ++gr) {
            const long g = 2 * f + gr;
            const bool shortNow = shortAhead_;
            model(g + 1);
            const int type = next_type(shortNow);
            for (int ch = 0; ch < nch_; ++ch) {
                Channel& c = channels_[std::size_t(ch)];
                analyse(g, ch, sub_);
                Coded& k = coded_[gr][ch];
                zemsMDCTFwd_MP3_32s(sub_, k.spec, type, 0, &header_, c.previous.data());
                low_pass(k.spec, type == 2);
                const float* ratio = type == 2 ? c.current.ratioShort : c.current.ratioLong;
                std::copy(ratio, ratio + (type == 2 ? 39 : 22), k.ratio);
                shape_ratios(k.ratio);
                k.pe = c.current.pe;
                k.granule = ZemMp3GranuleRec{};
                k.granule.block_type = type;
                k.granule.window_switching_flag = type != 0;
            }
        }
        joint_stereo();
        if (vbr())
            code_variable();
        else
            code_constant();
    }

    // Model two asks for the noise 18 dB under a tonal partition and 6 dB under a noisy one;
    // taken literally at the usual rates that starves the upper bands for the lower ones. Each
    // band's ratio is pulled 70% of the way (in dB) toward 7 dB under its energy, which measured
    // best by Total NMR over bench/mp3_quality.sh's signals.
    static void shape_ratios(float* ratio) {
        for (int u = 0; u < 39; ++u)
            if (ratio[u] > 0.0f)
                ratio[u] = float(std::pow(10.0, 0.3 * std::log10(double(ratio[u])) - 0.7 * 0.7));
    }

    // Lines above the cut-off are not coded: at lower rates the bits do more below it.
    void low_pass(int32_t* spec, bool isShort) const {
        if (cutoffHz_ <= 0)
            return;
        const double nyquist = kRates[header_.sampling_frequency] / 2.0;
        if (!isShort) {
            for (int i = int(std::ceil(576 * cutoffHz_ / nyquist)); i < 576; ++i)
                spec[i] = 0;
            return;
        }
        const int first = int(std::ceil(192 * cutoffHz_ / nyquist));
        const int16_t* b = short_bands(header_.sampling_frequency);
        for (int band = 0; band < 13; ++band) // band by band, windows one after the other
            for (int w = 0; w < 3; ++w)
                for (int f = std::max<int>(b[band], first); f < b[band + 1]; ++f)
                    spec[3 * b[band] + w * (b[band + 1] - b[band]) + f - b[band]] = 0;
    }

    // M/S when the side signal carries under a third of the mid signal's energy below the
    // intensity region (in every frame with -m f); intensity stereo from the rate's start band.
    void joint_stereo() {
        header_.mode_extension = 0;
        if (nch_ != 2 || header_.mode != 1)
            return;
        const int16_t* bands = long_bands(header_.sampling_frequency);
        const int top = intensity_.longBand < 0 ? 576 : bands[intensity_.longBand];
        double mid = 0.0, side = 0.0;
        for (auto& gr : coded_)
            for (int i = 0; i < top; ++i) {
                const double l = gr[0].spec[i], r = gr[1].spec[i];
                mid += (l + r) * (l + r);
                side += (l - r) * (l - r);
            }
        const bool ms = s_.mode == 'f' || side < mid / 3.0;
        const bool is = intensity_.longBand >= 0;
        header_.mode_extension = (ms ? 2 : 0) | (is ? 1 : 0);
        if (header_.mode_extension == 0)
            return;
        for (int gr = 0; gr < 2; ++gr) {
            Coded& l = coded_[gr][0];
            Coded& r = coded_[gr][1];
            const bool isShort = l.granule.block_type == 2;
            for (int w = 0; w < 3; ++w)
                isStart_[gr][w] = isShort ? intensity_.shortBand : intensity_.longBand;
            const ZemMp3GranuleRec pair[2] = {l.granule, r.granule};
            zemsJointStereoEncode_MP3_32s_I(l.spec, r.spec, isPos_[gr], &header_, pair,
                                            isStart_[gr]);
            for (int u = 0; u < 39; ++u) // both channels take the stricter of the two ratios
                l.ratio[u] = r.ratio[u] = std::min(l.ratio[u], r.ratio[u]);
        }
    }

    bool intensity_in(int ch) const { return ch == 1 && (header_.mode_extension & 1) != 0; }

    // Quantises unit u (granule u / nch, channel u % nch) from its spectrum within maxBits.
    void quantise(int u, int maxBits, const float* ratio) {
        const int gr = u / nch_, ch = u % nch_;
        Coded& k = coded_[gr][ch];
        std::copy(std::begin(k.spec), std::end(k.spec), k.quantised);
        const bool is = intensity_in(ch);
        zemsQuantize_MP3_32s_I(k.quantised, k.sf, &k.granule, &k.count1Len, &k.hufSize, ratio,
                               is ? isPos_[gr] : nullptr, is ? isStart_[gr] : nullptr, &header_,
                               std::max(maxBits, 0), work_.data());
    }

    // Constant bit rate: the frame's payload and part of the reservoir, shared by perceptual
    // entropy.
    void code_constant() {
        const int padded = frame_padding();
        header_.padding_bit = padded;
        const int payload = payload_bytes(header_.bitrate_index, padded);
        const int units = 2 * nch_;
        const int mean = 8 * payload / units;
        double weight[4] = {}, total = 0.0;
        for (int u = 0; u < units; ++u) {
            weight[u] = std::max(0.0, double(coded_[u / nch_][u % nch_].pe) - 300.0);
            total += weight[u];
        }
        const int available = 8 * (writer_->reservoir_bytes() + payload);
        const int extra = 8 * writer_->reservoir_bytes() * 3 / 4;
        int used = 0;
        for (int u = 0; u < units; ++u) {
            const int share = mean + (total > 0.0 ? int(extra * weight[u] / total) : 0);
            Coded& k = coded_[u / nch_][u % nch_];
            quantise(u, std::min({share, available - used, 4095}), k.ratio);
            used += k.granule.part2_3_length;
        }
        write(payload);
    }

    // Variable bit rate: each unit's smallest budget (within 16 bits) that leaves no band's noise
    // above the masking threshold moved by the quality setting; then the lowest bit rate whose
    // frame and reservoir hold them all.
    void code_variable() {
        const int units = 2 * nch_;
        // Noise allowed relative to the (shaped) masking threshold: -10 dB at quality 0 to
        // +3.5 dB at 9, which follows the rates of the common encoders' -V settings.
        const float offset = float(std::pow(10.0, (1.5 * s_.vbrQuality - 10.0) / 10.0));
        int need[4] = {}, total = 0;
        Coded best[4];
        for (int u = 0; u < units; ++u) {
            Coded& k = coded_[u / nch_][u % nch_];
            for (float& r : k.ratio)
                r *= offset;
            const bool is = intensity_in(u % nch_);
            int lo = 0, hi = 4095; // hi meets the threshold, or is the most there is
            quantise(u, hi, k.ratio);
            best[u] = k;
            while (hi - lo > 16) {
                const int mid = (lo + hi) / 2;
                quantise(u, mid, k.ratio);
                if (bands_over(k.spec, k.quantised, k.sf, k.granule, k.ratio,
                               header_.sampling_frequency,
                               is ? isStart_[u / nch_] : nullptr) == 0) {
                    hi = k.granule.part2_3_length;
                    best[u] = k;
                } else {
                    lo = mid;
                }
            }
            need[u] = best[u].granule.part2_3_length;
            total += need[u];
        }
        header_.padding_bit = 0;
        int index = 1;
        auto room = [&](int i) {
            return 8 * (std::min(writer_->reservoir_bytes(), reservoir_capacity(i)) +
                        payload_bytes(i, 0));
        };
        while (index < 14 && room(index) < total)
            ++index;
        header_.bitrate_index = index;
        lowest_ = std::min(lowest_, index);
        writer_->set_capacity(reservoir_capacity(index));
        const int available = room(index);
        for (int u = 0; u < units; ++u) {
            Coded& k = coded_[u / nch_][u % nch_];
            if (total <= available)
                k = best[u];
            else // even 320 kbit/s is short: every unit gives up the same share
                quantise(u, int(int64_t(need[u]) * available / total), k.ratio);
        }
        write(payload_bytes(index, 0));
    }

    int payload_bytes(int bitrateIndex, int padding) const {
        return frame_bytes(bitrateIndex, header_.sampling_frequency, padding) - 4 -
               (s_.crc ? 2 : 0) - (nch_ == 1 ? 17 : 32);
    }

    // Scale factors and Huffman data of every unit, and the frame around them.
    void write(int payload) {
        main_.assign(std::size_t(8 * 1024), 0);
        uint8_t* p = main_.data();
        int32_t bit = 0;
        ZemMp3GranuleRec side[4] = {};
        for (int u = 0; u < 2 * nch_; ++u) {
            const int gr = u / nch_, ch = u % nch_;
            Coded& k = coded_[gr][ch];
            side[u] = k.granule;
            const int32_t scfsi[4] = {};
            zemsPackScaleFactors_MP3_8s1u(k.sf, &p, &bit, &header_, &k.granule, scfsi, gr, ch);
            zemsHuffmanEncode_MP3_32s1u(k.quantised, &p, &bit, &header_, &k.granule, k.count1Len,
                                        k.hufSize);
        }
        main_.resize(std::size_t(p - main_.data()) + (bit != 0 ? 1 : 0));
        writer_->write(header_, side, main_, payload);
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
    std::vector<uint8_t> work_, main_;
    static constexpr int kWindowSamples = 1152; // the longest span read: the attack detector's
    int16_t window_[kWindowSamples];
    int32_t sub_[576];
    Coded coded_[2][2];
    IntensityStart intensity_{-1, -1};
    double cutoffHz_ = 0.0;
    uint8_t isPos_[2][39] = {};
    int32_t isStart_[2][3] = {};
    bool shortAhead_ = false;
    int lastType_ = 0;
    int lowest_ = 14;
    long rest_ = 0;
};

} // namespace

double low_pass_hz(const Settings& s, int channels) {
    if (s.vbrQuality >= 0) {
        constexpr double kByQuality[10] = {19500, 19000, 18500, 18000, 17500,
                                           16500, 15500, 14500, 13000, 11000};
        return kByQuality[s.vbrQuality];
    }
    // By the stereo rate (a mono stream counts double), between the table's rates the lower.
    constexpr int kRate[15] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 1000};
    constexpr double kHz[15] = {5500,  7000,  7500,  10000, 11000, 13500, 15100, 15600,
                                17000, 17500, 18600, 19400, 19700, 20500, 0};
    const int kbps = channels == 1 ? 2 * s.kbps : s.kbps;
    int i = 0;
    while (kRate[i + 1] <= kbps)
        ++i;
    return kHz[i];
}

IntensityStart intensity_start(int kbps, int samplingFrequency) {
    const double hz = kbps <= 48 ? 5000.0 : kbps <= 64 ? 7000.0 : kbps <= 96 ? 10000.0 : 0.0;
    if (hz == 0.0)
        return {-1, -1};
    const double lineHz = kRates[samplingFrequency] / 1152.0;
    const int16_t* lb = long_bands(samplingFrequency);
    const int16_t* sb = short_bands(samplingFrequency);
    int l = 0, s = 0;
    while (l < 20 && lb[l] * lineHz < hz)
        ++l;
    while (s < 11 && sb[s] * 3 * lineHz < hz)
        ++s;
    return {l, s};
}

bool encode(const Pcm& pcm, const Settings& settings, std::vector<uint8_t>& mp3, std::string& error,
            EncodeReport* report, const Progress& progress) {
    const int* rate = std::find(std::begin(kRates), std::end(kRates), pcm.rate);
    if (rate == std::end(kRates)) {
        error = "sampling rate " + std::to_string(pcm.rate) +
                " Hz: only the MPEG-1 rates 32000, 44100 and 48000 are supported";
        return false;
    }
    if (settings.vbrQuality > 9) {
        error = "quality " + std::to_string(settings.vbrQuality) + ": one of 0 (best) to 9";
        return false;
    }
    const int* kbps = std::find(std::begin(kKbps) + 1, std::end(kKbps), settings.kbps);
    if (settings.vbrQuality < 0 && kbps == std::end(kKbps)) {
        error = "bit rate " + std::to_string(settings.kbps) +
                " kbit/s: one of 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320";
        return false;
    }
    const int index = settings.vbrQuality >= 0 ? 14 : int(kbps - std::begin(kKbps));
    auto e = std::make_unique<Encoder>(pcm, settings, int(rate - std::begin(kRates)), index);
    EncodeReport r;
    mp3 = e->run(progress, r);
    if (report != nullptr)
        *report = r;
    return true;
}

} // namespace zemenc
