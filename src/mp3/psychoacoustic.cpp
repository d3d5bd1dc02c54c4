// Psychoacoustic model two of ISO/IEC 11172-3 Annex D for one granule of one channel: a Hann
// windowed 1024-point FFT (and three 256-point ones for short blocks) on the transform engine,
// unpredictability from the two previous granules' spectra, partition energies spread with the
// model's spreading function, tonality, the signal-to-mask ratio between tone-masking-noise and
// noise-masking-tone, the threshold in quiet, and per scale-factor band the energy, the allowed
// distortion and their ratio, with the perceptual entropy that tells an attack. Partitions are a
// third of a Bark wide (built from the sampling frequency, with their spreading, in the state on
// the first call); the threshold in quiet is Terhardt's curve with full scale at 96 dB.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/checks.hpp"
#include "core/constexpr_math.hpp"
#include "core/simd.hpp"
#include "core/state.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "transform/fft.hpp"
#include "zemac.h"

namespace zem::mp3 {
namespace {

constexpr int kLong = 1024, kShort = 256;
constexpr int kLongLines = kLong / 2 + 1, kShortLines = kShort / 2 + 1;
constexpr int kMaxParts = 80;
constexpr double kTmn = 18.0, kNmt = 6.0;          // dB: tone masking noise, noise masking tone
constexpr double kNmtFactor = 0.25118864315095801; // 10^(-kNmt / 10)
// An attack: perceptual entropy above this and above twice the previous granule's.
constexpr double kAttackPe = 1000.0;
// The energy of a full-scale sine in one line of the Hann-windowed 1024-point FFT: 96 dB.
constexpr double kFullScale = (32767.0 * kLong / 4) * (32767.0 * kLong / 4);

struct Partitions {
    int count;
    int first[kMaxParts + 1];           // FFT lines of partition p: first[p] .. first[p + 1] - 1
    float bval[kMaxParts];              // centre in Bark
    float quiet[kMaxParts];             // threshold in quiet, energy of the partition
    float norm[kMaxParts];              // 1 / sum of the spreading into the partition
    float quietShort[13];               // threshold in quiet of the short bands, one window
    float spread[kMaxParts][kMaxParts]; // [to][from], 0 past the count
};

// What the state record holds: two FFT specs, the partitions of the sampling frequency in use,
// and the previous two long spectra.
struct State {
    uint8_t fftLong[12288];
    uint8_t fftShort[4096];
    const ZemFftSpec* specLong;
    const ZemFftSpec* specShort;
    const void* self; // where the specs were built; a moved record builds them again
    int32_t rate;     // sampling_frequency + 1 of the partitions, 0 before the first call
    int32_t granules; // granules seen, up to 2
    Partitions parts;
    // The previous two granules' magnitudes and phases (as the cosine and sine), [0] previous.
    float magnitude[2][kLongLines], phaseCos[2][kLongLines], phaseSin[2][kLongLines];
    float masking[2][kMaxParts]; // the same granules' masking levels
    float previousPe;
};
static_assert(sizeof(State) <= sizeof(ZemMp3PsyStateRec) &&
              alignof(State) <= alignof(ZemMp3PsyStateRec));

struct Work {
    float data[2 * kLong];
    alignas(32) uint8_t fftWork[8 * kLong + 64];
    float energy[kLongLines];
};
static_assert(sizeof(Work) + 32 <= ZEM_MP3_PSY_WORK_BYTES);

double bark(double f) {
    return 13.0 * std::atan(0.00076 * f) + 3.5 * std::atan((f / 7500.0) * (f / 7500.0));
}

// Threshold in quiet (dB SPL, Terhardt) as an energy relative to a full-scale line.
double quiet_energy(double f) {
    const double k = std::fmax(f, 20.0) / 1000.0;
    const double db = 3.64 * std::pow(k, -0.8) - 6.5 * std::exp(-0.6 * (k - 3.3) * (k - 3.3)) +
                      1e-3 * k * k * k * k;
    return kFullScale * std::pow(10.0, (std::fmin(db, 96.0) - 96.0) / 10.0);
}

// The model's spreading function from Bark position i to j, as an energy factor.
double spreading(double i, double j) {
    const double d = (j >= i ? 3.0 : 1.5) * (j - i);
    if (d > 12.0 || d < -6.0)
        return 0.0;
    const double t = d + 0.474;
    const double level = 15.811389 + 7.5 * t - 17.5 * std::sqrt(1.0 + t * t) +
                         8.0 * std::fmin((d - 0.5) * (d - 0.5) - 2.0 * (d - 0.5), 0.0);
    return level < -100.0 ? 0.0 : std::pow(10.0, level / 10.0);
}

constexpr int32_t kRates[3] = {44100, 48000, 32000};

// FFT lines [first, end) of the scale-factor band [from, to) of `lines` transform lines.
struct Span {
    int first, end;
};
Span fft_span(int from, int to, int lines, int fftLines) {
    const int first = from * (fftLines - 1) / lines;
    int end = to * (fftLines - 1) / lines;
    if (end <= first)
        end = first + 1;
    return {first, end};
}

void build_partitions(Partitions& p, int rateIndex) {
    const double rate = kRates[rateIndex];
    p.count = 0;
    int line = 0;
    while (line < kLongLines && p.count < kMaxParts) {
        const double start = bark(line * rate / kLong);
        int end = line + 1;
        while (end < kLongLines && bark(end * rate / kLong) - start < 1.0 / 3.0)
            ++end;
        if (p.count == kMaxParts - 1)
            end = kLongLines;
        p.first[p.count] = line;
        p.bval[p.count] = float(bark((line + end - 1) * 0.5 * rate / kLong));
        double quiet = 0.0;
        for (int w = line; w < end; ++w)
            quiet += quiet_energy(w * rate / kLong);
        p.quiet[p.count] = float(quiet);
        ++p.count;
        line = end;
    }
    p.first[p.count] = kLongLines;
    std::memset(p.spread, 0, sizeof p.spread);
    for (int j = 0; j < p.count; ++j) {
        double sum = 0.0;
        for (int i = 0; i < p.count; ++i) {
            p.spread[j][i] = float(spreading(p.bval[i], p.bval[j]));
            sum += p.spread[j][i];
        }
        p.norm[j] = float(sum > 0.0 ? 1.0 / sum : 0.0);
    }
    const double quietScale = double(kShort) * kShort / (double(kLong) * kLong);
    for (int b = 0; b < 13; ++b) {
        const Span sp = fft_span(kSfbShort[3 + rateIndex][b], kSfbShort[3 + rateIndex][b + 1], 192,
                                 kShortLines);
        double quiet = 0.0;
        for (int line = sp.first; line < sp.end; ++line)
            quiet += quiet_energy(line * rate / kShort) * quietScale;
        p.quietShort[b] = float(quiet);
    }
}

ZemStatus prepare(State& s, int rateIndex) {
    if (s.self != &s) {
        uint8_t* mem[2] = {s.fftLong, s.fftShort};
        const int32_t room[2] = {sizeof s.fftLong, sizeof s.fftShort};
        const ZemFftSpec** specs[2] = {&s.specLong, &s.specShort};
        for (int k = 0; k < 2; ++k) {
            int32_t spec = 0, init = 0, work = 0;
            ZemFftSpec* built = nullptr;
            uint8_t scratch[64];
            if (fft_get_buf_sizes(10 - 2 * k, FftNoScale, 0, &spec, &init, &work) != zemStatusOk ||
                spec > room[k] || init > int32_t(sizeof scratch) ||
                work > int32_t(sizeof(Work::fftWork)) ||
                fft_init(&built, 10 - 2 * k, FftNoScale, 0, mem[k], scratch) != zemStatusOk)
                return zemStatusFailed;
            *specs[k] = built;
        }
        s.self = &s;
    }
    if (s.rate != rateIndex + 1) {
        build_partitions(s.parts, rateIndex);
        s.rate = rateIndex + 1;
        s.granules = 0;
    }
    return zemStatusOk;
}

// The Hann windows of the long and the short transform.
template <int N> struct Hann { double w[N]; };
template <int N> constexpr Hann<N> make_hann() {
    Hann<N> h{};
    for (int i = 0; i < N; ++i)
        h.w[i] = 0.5 - 0.5 * cmath::cos_turn(2 * i + 1, 2 * N);
    return h;
}
constexpr Hann<kLong> kHannLong = make_hann<kLong>();
constexpr Hann<kShort> kHannShort = make_hann<kShort>();

// Hann-windowed samples x[0..n) at the stride into the FFT's complex input, transformed.
void spectrum(const int16_t* x, int stride, int n, const ZemFftSpec* spec, Work& w) {
    const double* hann = n == kLong ? kHannLong.w : kHannShort.w;
    for (int i = 0; i < n; ++i) {
        w.data[2 * i] = float(hann[i] * x[i * stride]);
        w.data[2 * i + 1] = 0.0f;
    }
    fft_in_place(w.data, *spec, false, w.fftWork);
}

// Long block: per FFT line the energy and the threshold; returns the perceptual entropy.
double long_block(const int16_t* src, int stride, State& s, Work& w, float* thrLine) {
    spectrum(src, stride, kLong, s.specLong, w);
    const Partitions& p = s.parts;
    float unpredictability[kLongLines];
    for (int line = 0; line < kLongLines; ++line) {
        const double re = w.data[2 * line], im = w.data[2 * line + 1];
        const double r = std::sqrt(re * re + im * im);
        const double cosPhi = r > 0.0 ? re / r : 1.0, sinPhi = r > 0.0 ? im / r : 0.0;
        // The distance of the line from its prediction out of the two previous granules
        // (magnitude 2 r1 - r2, phase 2 phi1 - phi2), relative to both magnitudes: 0 for a
        // steady tone, about 1 for noise. Above line 206, and before two granules were seen,
        // 0.4 and 1.
        double c = line < 206 ? 1.0 : 0.4;
        if (line < 206 && s.granules >= 2) {
            const double rp = 2.0 * s.magnitude[0][line] - s.magnitude[1][line];
            const double c1 = s.phaseCos[0][line], s1 = s.phaseSin[0][line];
            const double c2 = s.phaseCos[1][line], s2 = s.phaseSin[1][line];
            const double cos2 = c1 * c1 - s1 * s1, sin2 = 2.0 * c1 * s1; // 2 phi1
            const double dx = re - rp * (cos2 * c2 + sin2 * s2);         // cos(2 phi1 - phi2)
            const double dy = im - rp * (sin2 * c2 - cos2 * s2);         // sin(2 phi1 - phi2)
            const double den = r + std::fabs(rp);
            c = den > 0.0 ? std::sqrt(dx * dx + dy * dy) / den : 1.0;
        }
        unpredictability[line] = float(c);
        s.magnitude[1][line] = s.magnitude[0][line];
        s.phaseCos[1][line] = s.phaseCos[0][line];
        s.phaseSin[1][line] = s.phaseSin[0][line];
        s.magnitude[0][line] = float(r);
        s.phaseCos[0][line] = float(cosPhi);
        s.phaseSin[0][line] = float(sinPhi);
        w.energy[line] = float(r * r);
    }
    double eb[kMaxParts] = {}, cw[kMaxParts] = {};
    alignas(16) float ebf[kMaxParts] = {}, cwf[kMaxParts] = {};
    for (int b = 0; b < p.count; ++b) {
        for (int line = p.first[b]; line < p.first[b + 1]; ++line) {
            eb[b] += w.energy[line];
            cw[b] += double(w.energy[line]) * unpredictability[line];
        }
        ebf[b] = float(eb[b]);
        cwf[b] = float(cw[b]);
    }
    double pe = 0.0;
    const int padded = (p.count + 3) & ~3;
    for (int b = 0; b < p.count; ++b) {
        // The spread energy and weighted unpredictability, four partitions at a time.
        using simd::F32x4;
        F32x4 e4 = simd::splat(0.0f), c4 = e4;
        for (int i = 0; i < padded; i += 4) {
            const F32x4 f = simd::load(p.spread[b] + i);
            e4 = e4 + simd::load_aligned(ebf + i) * f;
            c4 = c4 + simd::load_aligned(cwf + i) * f;
        }
        alignas(16) float e[4], c[4];
        simd::store_aligned(e, e4);
        simd::store_aligned(c, c4);
        const double ecb = double(e[0]) + e[1] + e[2] + e[3],
                     ct = double(c[0]) + c[1] + c[2] + c[3];
        // Tonality from the spread unpredictability, then the partition's masking level.
        const double cb = ecb > 0.0 ? ct / ecb : 1.0;
        const double tb =
            std::fmin(std::fmax(-0.299 - 0.43 * std::log(std::fmax(cb, 1e-30)), 0.0), 1.0);
        const double snr = tb * kTmn + (1.0 - tb) * kNmt;
        double nb = ecb * p.norm[b] * std::pow(10.0, -snr / 10.0);
        // Pre-echo control: at most twice the previous granule's level, 16 times the one before.
        if (s.granules >= 2)
            nb = std::fmin(nb, std::fmin(2.0 * s.masking[0][b], 16.0 * s.masking[1][b]));
        s.masking[1][b] = s.masking[0][b];
        s.masking[0][b] = float(std::fmax(nb, double(p.quiet[b])));
        const double thr = std::fmax(double(p.quiet[b]), nb);
        const int width = p.first[b + 1] - p.first[b];
        if (eb[b] > thr)
            pe += width * std::log10((eb[b] + 1.0) / (thr + 1.0));
        for (int line = p.first[b]; line < p.first[b + 1]; ++line)
            thrLine[line] = float(thr / width);
    }
    if (s.granules < 2)
        ++s.granules;
    return pe;
}

void band_ratio(double energy, double allowed, float* en, float* al, float* ratio) {
    *en = float(energy);
    *al = float(allowed);
    *ratio = energy > 0.0 ? float(allowed / energy) : 0.0f;
}

} // namespace
} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsPsychoacousticModelTwo_MP3_16s(const int16_t* pSrc, int32_t numCh,
                                                     const ZemMp3HeaderRec* pHeader,
                                                     ZemMp3PsyStateRec* pState,
                                                     ZemMp3PsyResultRec* pResult,
                                                     uint8_t* pWorkBuf) {
    if (any_null(pSrc, pHeader, pState, pResult, pWorkBuf))
        return zemStatusNullPointer;
    if (numCh != 1 && numCh != 2)
        return zemStatusBadArgument;
    if (pHeader->id != 1 || pHeader->sampling_frequency < 0 || pHeader->sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    // At the record's start, not at an aligned address inside it: a copy at an address of
    // another alignment must find its state at the same place.
    State& s = *reinterpret_cast<State*>(pState);
    Work& w = *reinterpret_cast<Work*>(align_up<32>(pWorkBuf));
    if (const ZemStatus st = prepare(s, pHeader->sampling_frequency); st != zemStatusOk)
        return st;
    const int row = 3 + pHeader->sampling_frequency;

    float thrLine[kLongLines];
    const double pe = long_block(pSrc, numCh, s, w, thrLine);
    ZemMp3PsyResultRec& r = *pResult;
    for (int b = 0; b < 22; ++b) {
        const Span sp = fft_span(kSfbLong[row][b], kSfbLong[row][b + 1], 576, kLongLines);
        double energy = 0.0, allowed = 0.0;
        for (int line = sp.first; line < sp.end; ++line) {
            energy += w.energy[line];
            allowed += thrLine[line];
        }
        band_ratio(energy, allowed, &r.energyLong[b], &r.allowedLong[b], &r.ratioLong[b]);
    }
    r.pe = float(pe);

    // Short windows: the noise-masking ratio with the threshold in quiet (one short window is too
    // short to measure tonality), per band and window.
    for (int win = 0; win < 3; ++win) {
        spectrum(pSrc + (192 + 192 * win) * numCh, numCh, kShort, s.specShort, w);
        for (int b = 0; b < 13; ++b) {
            const Span sp = fft_span(kSfbShort[row][b], kSfbShort[row][b + 1], 192, kShortLines);
            double energy = 0.0;
            for (int line = sp.first; line < sp.end; ++line)
                energy += double(w.data[2 * line]) * w.data[2 * line] +
                          double(w.data[2 * line + 1]) * w.data[2 * line + 1];
            const double allowed = std::fmax(double(s.parts.quietShort[b]), energy * kNmtFactor);
            band_ratio(energy, allowed, &r.energyShort[3 * b + win], &r.allowedShort[3 * b + win],
                       &r.ratioShort[3 * b + win]);
        }
    }
    r.attack = pe > kAttackPe && pe > 2.0 * s.previousPe ? 1 : 0;
    s.previousPe = float(pe);
    return zemStatusOk;
}
