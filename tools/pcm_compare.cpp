// Compares two 16-bit WAV files sample by sample (RMS and largest difference in LSB, samples
// that either side clipped excluded) after dropping `skip` leading frames of the reference
// (its priming delay), and, with --bands SFI, by the energies of the AAC long-window
// scale-factor bands on the 1024-sample frame grid: per frame and band, and per band over the
// whole stream (in dB, bands at least 60 dB below full scale left out).
//
// With --octaves 1, the third-octave band energies of 0.2-second blocks (Hann window) are
// compared instead, for signals whose fine structure is random (noise floors): the mean and
// the 95th percentile of the absolute dB differences over bands above -70 dB re full scale;
// --octaves 2 sums the channels' energies first (a downmix that keeps the energy).
//
// --lead N drops N leading frames of the test instead (for a reference that lacks them);
// --range A:B compares only sample frames A .. B-1 after the drops, --exclude A:B all but those.
//
// usage: pcm_compare TEST.wav REFERENCE.wav [--skip N] [--bands SFI] [--octaves 1|2]
//                    [--lead N] [--range A:B | --exclude A:B]
// prints: rms=<LSB> max=<LSB> samples=<N> [band_frame_p50=<dB> band_frame_p95=<dB>
// band_stream_max=<dB>] [octave_mean=<dB> octave_p95=<dB>]
#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tables/aac_swb.hpp"

namespace {

struct Pcm {
    int channels = 0;
    int rate = 0;
    std::vector<int16_t> samples; // interleaved
};

bool read_wav(const char* path, Pcm& out) {
    std::ifstream f(path, std::ios::binary);
    const std::vector<uint8_t> b{std::istreambuf_iterator<char>(f), {}};
    if (b.size() < 12 || std::memcmp(b.data(), "RIFF", 4) != 0)
        return false;
    auto le32 = [&](std::size_t i) {
        return uint32_t(b[i]) | uint32_t(b[i + 1]) << 8 | uint32_t(b[i + 2]) << 16 |
               uint32_t(b[i + 3]) << 24;
    };
    for (std::size_t i = 12; i + 8 <= b.size();) {
        const uint32_t size = le32(i + 4);
        if (std::memcmp(&b[i], "fmt ", 4) == 0) {
            out.channels = b[i + 10] | b[i + 11] << 8;
            out.rate = int(le32(i + 12));
        }
        if (std::memcmp(&b[i], "data", 4) == 0) {
            const std::size_t n = std::min<std::size_t>(size, b.size() - i - 8) / 2;
            out.samples.resize(n);
            for (std::size_t k = 0; k < n; ++k)
                out.samples[k] = int16_t(b[i + 8 + 2 * k] | b[i + 9 + 2 * k] << 8);
            return out.channels > 0;
        }
        i += 8 + size + (size & 1);
    }
    return false;
}

// Band energies of one channel for the block starting at `start`: an MDCT of 2048 samples with
// the sine window on the decoder's own frame grid, so that for long blocks the coefficients are
// those the decoder synthesised (noise bands then compare by their transmitted energy).
class BlockEnergies {
  public:
    std::vector<double> operator()(const Pcm& p, std::size_t frames, int ch, std::size_t start,
                                   const zem::aac::SwbTable& bands) const {
        // X[k] = Re(e^(-i pi n0 (2k + 1) / N) FFT(x w e^(-i pi n / N))[k]), N = 2048, n0 = 512.5.
        std::vector<std::complex<double>> z(2048);
        for (std::size_t n = 0; n < 2048; ++n) {
            const double v =
                start + n < frames
                    ? p.samples[(start + n) * std::size_t(p.channels) + std::size_t(ch)]
                    : 0.0;
            z[n] = v * std::sin(M_PI * (double(n) + 0.5) / 2048.0) *
                   std::polar(1.0, -M_PI * double(n) / 2048.0);
        }
        fft(z);
        std::vector<double> e(std::size_t(bands.count), 0.0);
        for (int b = 0; b < bands.count; ++b)
            for (int k = bands.offset[b]; k < bands.offset[b + 1]; ++k) {
                const double v =
                    (std::polar(1.0, -M_PI * 512.5 * (2.0 * k + 1.0) / 2048.0) * z[std::size_t(k)])
                        .real();
                e[std::size_t(b)] += v * v;
            }
        return e;
    }

    static void fft(std::vector<std::complex<double>>& a) {
        const std::size_t n = a.size();
        for (std::size_t i = 1, j = 0; i < n; ++i) {
            std::size_t bit = n >> 1;
            for (; j & bit; bit >>= 1)
                j ^= bit;
            j ^= bit;
            if (i < j)
                std::swap(a[i], a[j]);
        }
        for (std::size_t len = 2; len <= n; len <<= 1) {
            const std::complex<double> w = std::polar(1.0, -2 * M_PI / double(len));
            for (std::size_t i = 0; i < n; i += len) {
                std::complex<double> wk = 1;
                for (std::size_t k = 0; k < len / 2; ++k, wk *= w) {
                    const std::complex<double> u = a[i + k], v = a[i + k + len / 2] * wk;
                    a[i + k] = u + v;
                    a[i + k + len / 2] = u - v;
                }
            }
        }
    }
};

// Mean and 95th percentile of the absolute third-octave level differences (dB).
std::pair<double, double> octave_differences(const Pcm& a, const Pcm& r, std::size_t frames,
                                             bool summed) {
    const std::size_t block = std::size_t(a.rate) / 5, n = 16384;
    const std::size_t ch = std::size_t(a.channels);
    // A full-scale sine's energy through the window, 70 dB down.
    const double floor = double(n) * 32768.0 * 32768.0 / 2 * 0.375 * double(block) * 1e-7;
    std::vector<double> diffs;
    std::map<std::size_t, std::vector<double>> summedLevels; // block start: test, then reference
    for (std::size_t start = 0; block <= n && start + block <= frames; start += block)
        for (std::size_t c = 0; c < ch; ++c) {
            std::vector<double> levels[2];
            const Pcm* sides[2] = {&a, &r};
            for (int s = 0; s < 2; ++s) {
                std::vector<std::complex<double>> z(n);
                for (std::size_t i = 0; i < block; ++i)
                    z[i] = sides[s]->samples[(start + i) * ch + c] *
                           (0.5 - 0.5 * std::cos(2 * M_PI * (double(i) + 0.5) / double(block)));
                BlockEnergies::fft(z);
                for (double centre = 25.0; centre * std::pow(2.0, 1.0 / 6) < a.rate / 2.0;
                     centre *= std::pow(2.0, 1.0 / 3)) {
                    const auto lo = std::size_t(centre * std::pow(2.0, -1.0 / 6) * n / a.rate);
                    const auto hi = std::size_t(centre * std::pow(2.0, 1.0 / 6) * n / a.rate);
                    double e = 0;
                    for (std::size_t k = lo; k < hi; ++k)
                        e += std::norm(z[k]);
                    levels[s].push_back(e);
                }
            }
            if (summed) {
                std::vector<double>& acc = summedLevels[start];
                acc.resize(2 * levels[0].size());
                for (std::size_t b = 0; b < levels[0].size(); ++b) {
                    acc[b] += levels[0][b];
                    acc[levels[0].size() + b] += levels[1][b];
                }
                continue;
            }
            for (std::size_t b = 0; b < levels[0].size(); ++b)
                if (std::max(levels[0][b], levels[1][b]) > floor)
                    diffs.push_back(std::fabs(10 * std::log10((levels[0][b] + floor * 1e-3) /
                                                              (levels[1][b] + floor * 1e-3))));
        }
    for (const auto& [start, acc] : summedLevels) {
        const std::size_t n = acc.size() / 2;
        for (std::size_t b = 0; b < n; ++b)
            if (std::max(acc[b], acc[n + b]) > floor)
                diffs.push_back(std::fabs(
                    10 * std::log10((acc[b] + floor * 1e-3) / (acc[n + b] + floor * 1e-3))));
    }
    if (diffs.empty())
        return {0.0, 0.0};
    double sum = 0;
    for (double d : diffs)
        sum += d;
    std::sort(diffs.begin(), diffs.end());
    return {sum / double(diffs.size()), diffs[std::size_t(0.95 * double(diffs.size() - 1))]};
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(
            stderr,
            "usage: pcm_compare TEST.wav REFERENCE.wav [--skip N] [--bands SFI] [--octaves 1|2] "
            "[--lead N] [--range A:B | --exclude A:B]\n");
        return 2;
    }
    long skip = 0, lead = 0;
    int sfi = -1;
    int octaves = 0;
    bool inside = true;
    std::size_t from = 0, to = SIZE_MAX;
    for (int i = 3; i + 1 < argc; i += 2) {
        if (std::string(argv[i]) == "--skip")
            skip = std::atol(argv[i + 1]);
        else if (std::string(argv[i]) == "--lead")
            lead = std::atol(argv[i + 1]);
        else if (std::string(argv[i]) == "--bands")
            sfi = std::atoi(argv[i + 1]);
        else if (std::string(argv[i]) == "--octaves")
            octaves = std::atoi(argv[i + 1]);
        else if (std::string(argv[i]) == "--range" || std::string(argv[i]) == "--exclude") {
            inside = std::string(argv[i]) == "--range";
            const std::string v = argv[i + 1];
            from = std::stoul(v.substr(0, v.find(':')));
            to = std::stoul(v.substr(v.find(':') + 1));
        }
    }
    Pcm a, r;
    if (!read_wav(argv[1], a) || !read_wav(argv[2], r) || a.channels != r.channels) {
        std::fprintf(stderr, "pcm_compare: unreadable WAV or channel counts differ\n");
        return 2;
    }
    const std::size_t ch = std::size_t(a.channels);
    r.samples.erase(r.samples.begin(),
                    r.samples.begin() +
                        std::min<std::size_t>(r.samples.size(), std::size_t(skip) * ch));
    a.samples.erase(a.samples.begin(),
                    a.samples.begin() +
                        std::min<std::size_t>(a.samples.size(), std::size_t(lead) * ch));
    const std::size_t frames = std::min(a.samples.size(), r.samples.size()) / ch;
    double sum = 0;
    long count = 0, worst = 0;
    for (std::size_t i = 0; i < frames * ch; ++i) {
        if ((i / ch >= from && i / ch < to) != inside)
            continue;
        const int x = a.samples[i], y = r.samples[i];
        if (x == 32767 || x == -32768 || y == 32767 || y == -32768)
            continue;
        sum += double(x - y) * double(x - y);
        worst = std::max<long>(worst, std::labs(long(x) - long(y)));
        ++count;
    }
    std::printf("rms=%.3f max=%ld samples=%ld", count ? std::sqrt(sum / double(count)) : 0.0, worst,
                count);
    if (sfi >= 0 && sfi < 12) {
        const zem::aac::SwbTable& bands = zem::aac::swb_long(sfi);
        const double floor = 1024.0 * 32768.0 * 32768.0 * 1e-6; // 60 dB below a full-scale band
        std::vector<double> perFrame;
        std::vector<double> ta(ch * std::size_t(bands.count)), tr(ta.size());
        const BlockEnergies band_energies;
        for (std::size_t f = 0; (f + 2) * 1024 <= frames; ++f)
            for (std::size_t c = 0; c < ch; ++c) {
                const std::vector<double> ea = band_energies(a, frames, int(c), f * 1024, bands);
                const std::vector<double> er = band_energies(r, frames, int(c), f * 1024, bands);
                for (std::size_t b = 0; b < ea.size(); ++b) {
                    ta[c * ea.size() + b] += ea[b];
                    tr[c * ea.size() + b] += er[b];
                    if (std::max(ea[b], er[b]) > floor)
                        perFrame.push_back(std::fabs(10 * std::log10((ea[b] + 1) / (er[b] + 1))));
                }
            }
        double streamMax = 0;
        for (std::size_t i = 0; i < ta.size(); ++i)
            if (std::max(ta[i], tr[i]) > floor * double(frames / 1024))
                streamMax =
                    std::max(streamMax, std::fabs(10 * std::log10((ta[i] + 1) / (tr[i] + 1))));
        std::sort(perFrame.begin(), perFrame.end());
        auto pct = [&](double q) {
            return perFrame.empty() ? 0.0 : perFrame[std::size_t(q * double(perFrame.size() - 1))];
        };
        std::printf(
            " band_frame_p50=%.3f band_frame_p95=%.3f band_frame_max=%.3f band_stream_max=%.3f",
            pct(0.5), pct(0.95), pct(1.0), streamMax);
    }
    if (octaves && a.rate > 0) {
        const auto [mean, p95] = octave_differences(a, r, frames, octaves == 2);
        std::printf(" octave_mean=%.3f octave_p95=%.3f", mean, p95);
    }
    std::printf("\n");
    return 0;
}
