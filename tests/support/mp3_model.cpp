#include "support/mp3_model.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tables/mp3_sfb_bands.hpp"
#include "tables/mp3_window.hpp"

namespace zemtest::mp3model {
namespace {

constexpr int kPretab[22] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 3, 3, 3, 2, 0};

struct Bands {
    const int16_t* l; // 23 long boundaries
    const int16_t* s; // 14 short boundaries, lines of one window
};

double pow43(int32_t q) { return (q < 0 ? -1.0 : 1.0) * std::pow(std::abs(double(q)), 4.0 / 3.0); }

// xr = sign(q) |q|^(4/3) 2^((global_gain - 210) / 4) 2^-(sf_mult (sf + preflag pretab)) for long
// bands; short bands take 2^((global_gain - 210 - 8 subblock_gain) / 4) 2^-(sf_mult sf). Bands
// without a scale factor (long 21, short 12) use 0. Stream order.
std::vector<double> requantise(const Channel& c, const Bands& b) {
    std::vector<double> x(576, 0.0);
    const double mult = 0.5 * (1 + c.scalefac_scale);
    const bool isShort = c.block_type == 2;
    const int longEnd = !isShort ? 576 : c.mixed ? 36 : 0;
    for (int band = 0; band < 22 && b.l[band] < longEnd; ++band) {
        const int sf = band < 21 ? c.sfLong[band] : 0;
        const double e = 0.25 * (c.global_gain - 210) - mult * (sf + c.preflag * kPretab[band]);
        for (int i = b.l[band]; i < b.l[band + 1]; ++i)
            x[std::size_t(i)] = pow43(c.q[std::size_t(i)]) * std::pow(2.0, e);
    }
    if (isShort)
        for (int band = c.mixed ? 3 : 0; band < 13; ++band) {
            const int width = b.s[band + 1] - b.s[band];
            for (int w = 0; w < 3; ++w) {
                const int sf = band < 12 ? c.sfShort[band][w] : 0;
                const double e = 0.25 * (c.global_gain - 210 - 8 * c.subblock_gain[w]) - mult * sf;
                for (int k = 0; k < width; ++k) {
                    const std::size_t i = std::size_t(3 * b.s[band] + w * width + k);
                    x[i] = pow43(c.q[i]) * std::pow(2.0, e);
                }
            }
        }
    return x;
}

// An intensity position, or none (the lines are decoded as M/S or L/R).
struct Position {
    bool intensity = false;
    int p = 0;
};

Position position(const Granule& g, int p, bool illegal2) {
    const bool illegal = g.mpeg1 ? p == 7 : illegal2;
    return {!illegal, p};
}

// Band `band` of window w (-1: long blocks) from the intensity start `start` on. The top band
// (long 21, short 12) has no scale factor: it takes the position of the band below when that is
// an intensity band, otherwise position 0 in MPEG-2 and none in MPEG-1 (the ISO/IEC 11172-3
// reference decoding leaves it at the illegal 7).
Position band_position(const Granule& g, int band, int w, int start) {
    const Channel& r = g.ch[1];
    const int top = w < 0 ? 21 : 12;
    if (band == top && start >= top)
        return g.mpeg1 ? Position{} : Position{true, 0};
    band = std::min(band, top - 1);
    return w < 0 ? position(g, r.sfLong[band], r.illegalLong[band])
                 : position(g, r.sfShort[band][w], r.illegalShort[band][w]);
}

// L = xl tan(p pi/12) / (1 + tan(p pi/12)), R = xl / (1 + tan(p pi/12)) (MPEG-1); MPEG-2 with
// i0 = 2^(-1/4) (intensity_scale 0) or 2^(-1/2): odd p scales the left by i0^((p + 1) / 2),
// even p the right by i0^(p / 2).
void intensity(const Granule& g, int p, double& l, double& r) {
    const double xl = l;
    if (g.mpeg1) {
        if (p == 6) {
            r = 0.0;
            return;
        }
        const double t = std::tan(p * M_PI / 12.0);
        l = xl * t / (1.0 + t);
        r = xl / (1.0 + t);
        return;
    }
    const double i0 = std::pow(2.0, g.ch[1].intensity_scale ? -0.5 : -0.25);
    l = (p & 1) ? xl * std::pow(i0, (p + 1) / 2) : xl;
    r = (p & 1) ? xl : xl * std::pow(i0, p / 2);
}

// Per stream-order line: the intensity position, or none.
std::vector<Position> positions(const Granule& g, const Bands& b) {
    std::vector<Position> at(576);
    const Channel& r = g.ch[1];
    auto mark = [&](int from, int count, Position p) {
        for (int i = from; i < from + count; ++i)
            at[std::size_t(i)] = p;
    };
    if (r.block_type != 2) {
        int last = -1;
        for (int i = 0; i < 576; ++i)
            if (r.q[std::size_t(i)] != 0)
                last = i;
        int start = 0; // the band after the one that holds the right channel's last value
        while (start < 22 && b.l[start] <= last)
            ++start;
        for (int band = start; band < 22; ++band)
            mark(b.l[band], b.l[band + 1] - b.l[band], band_position(g, band, -1, start));
        return at;
    }
    const int first = r.mixed ? 3 : 0;
    bool shortPartEmpty = true;
    for (int w = 0; w < 3; ++w) {
        int start = first;
        for (int band = first; band < 13; ++band) {
            const int width = b.s[band + 1] - b.s[band];
            for (int k = 0; k < width; ++k)
                if (r.q[std::size_t(3 * b.s[band] + w * width + k)] != 0)
                    start = band + 1;
        }
        shortPartEmpty = shortPartEmpty && start == first;
        for (int band = start; band < 13; ++band) {
            const int width = b.s[band + 1] - b.s[band];
            mark(3 * b.s[band] + w * width, width, band_position(g, band, w, start));
        }
    }
    // The long part of a mixed block joins in only when the short part of the right is empty.
    if (r.mixed && shortPartEmpty) {
        const int longBands = g.mpeg1 ? 8 : 6;
        int start = 0;
        for (int band = 0; band < longBands; ++band)
            for (int i = b.l[band]; i < b.l[band + 1]; ++i)
                if (r.q[std::size_t(i)] != 0)
                    start = band + 1;
        for (int band = start; band < longBands; ++band)
            mark(b.l[band], b.l[band + 1] - b.l[band],
                 position(g, r.sfLong[band], r.illegalLong[band]));
    }
    return at;
}

// The 36-point window of block type 0, 1 or 3 (the normal window for any other type).
double long_window(int type, int i) {
    const double normal = std::sin(M_PI / 36 * (i + 0.5));
    if (type == 1)
        return i < 18 ? normal : i < 24 ? 1.0 : i < 30 ? std::sin(M_PI / 12 * (i - 18 + 0.5)) : 0.0;
    if (type == 3)
        return i < 6 ? 0.0 : i < 12 ? std::sin(M_PI / 12 * (i - 6 + 0.5)) : i < 18 ? 1.0 : normal;
    return normal;
}

struct Cosines {
    double longT[36][18], shortT[12][6], matrix[64][32];
    Cosines() {
        for (int i = 0; i < 36; ++i)
            for (int k = 0; k < 18; ++k)
                longT[i][k] = std::cos(M_PI / 72 * (2 * i + 19) * (2 * k + 1));
        for (int i = 0; i < 12; ++i)
            for (int k = 0; k < 6; ++k)
                shortT[i][k] = std::cos(M_PI / 24 * (2 * i + 7) * (2 * k + 1));
        for (int i = 0; i < 64; ++i)
            for (int k = 0; k < 32; ++k)
                matrix[i][k] = std::cos((16 + i) * (2 * k + 1) * M_PI / 64);
    }
};

const Cosines& cosines() {
    static const Cosines c;
    return c;
}

} // namespace

void dequantise(const Granule& g, std::vector<double> xr[2]) {
    const int row = (g.mpeg1 ? 3 : 0) + g.sampling_frequency;
    const Bands b{zem::mp3::kSfbLong[row], zem::mp3::kSfbShort[row]};
    std::vector<double> x[2];
    for (int c = 0; c < g.nch; ++c)
        x[c] = requantise(g.ch[c], b);
    if (g.nch == 2 && (g.ms || g.is)) {
        const std::vector<Position> at = g.is ? positions(g, b) : std::vector<Position>(576);
        for (std::size_t i = 0; i < 576; ++i) {
            if (at[i].intensity) {
                intensity(g, at[i].p, x[0][i], x[1][i]);
            } else if (g.ms) {
                const double m = x[0][i], s = x[1][i];
                x[0][i] = (m + s) / std::sqrt(2.0);
                x[1][i] = (m - s) / std::sqrt(2.0);
            }
        }
    }
    for (int c = 0; c < g.nch; ++c) {
        xr[c] = x[c];
        if (g.ch[c].block_type == 2)
            to_subband_order(xr[c].data(), b.s, g.ch[c].mixed ? 3 : 0);
    }
}

void imdct(const double* x, int block_type, double* z) {
    const Cosines& t = cosines();
    std::fill(z, z + 36, 0.0);
    for (int w = 0; block_type == 2 && w < 3; ++w)
        for (int i = 0; i < 12; ++i) {
            double v = 0;
            for (int k = 0; k < 6; ++k)
                v += x[6 * w + k] * t.shortT[i][k];
            z[6 + 6 * w + i] += std::sin(M_PI / 12 * (i + 0.5)) * v;
        }
    for (int i = 0; block_type != 2 && i < 36; ++i) {
        double v = 0;
        for (int k = 0; k < 18; ++k)
            v += x[k] * t.longT[i][k];
        z[i] = long_window(block_type, i) * v;
    }
}

void Synthesis::hybrid(std::vector<double>& xr, int block_type, bool mixed,
                       std::vector<double>& y) {
    // Alias reduction: none for pure short blocks, only between sub-bands 0 and 1 for mixed
    // short blocks, everywhere else.
    static const double kC[8] = {-0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037};
    const int boundaries = block_type != 2 ? 31 : mixed ? 1 : 0;
    for (int sb = 1; sb <= boundaries; ++sb)
        for (int i = 0; i < 8; ++i) {
            const double cs = 1.0 / std::sqrt(1.0 + kC[i] * kC[i]), ca = kC[i] * cs;
            double& bu = xr[std::size_t(18 * sb - 1 - i)];
            double& bd = xr[std::size_t(18 * sb + i)];
            const double u = bu, d = bd;
            bu = u * cs - d * ca;
            bd = d * cs + u * ca;
        }
    y.assign(576, 0.0);
    for (int sb = 0; sb < 32; ++sb) {
        double z[36];
        imdct(xr.data() + 18 * sb, mixed && sb < 2 ? 0 : block_type, z);
        for (int s = 0; s < 18; ++s) {
            double v = z[s] + overlap_[std::size_t(18 * sb + s)];
            overlap_[std::size_t(18 * sb + s)] = z[18 + s];
            y[std::size_t(32 * s + sb)] = (sb & 1) && (s & 1) ? -v : v;
        }
    }
}

// Matrixing into the 1024-value FIFO, then the windowed sum of the 16 values of U per output.
void Synthesis::polyphase(const double* s, double* pcm) {
    const Cosines& t = cosines();
    for (int i = 1023; i >= 64; --i)
        fifo_[std::size_t(i)] = fifo_[std::size_t(i - 64)];
    for (int i = 0; i < 64; ++i) {
        double v = 0;
        for (int k = 0; k < 32; ++k)
            v += t.matrix[i][k] * s[k];
        fifo_[std::size_t(i)] = v;
    }
    const int32_t* d = zem::mp3::kSynthesisWindow16; // D in units of 2^-16
    for (int j = 0; j < 32; ++j) {
        double sum = 0;
        for (int i = 0; i < 8; ++i)
            sum += fifo_[std::size_t(128 * i + j)] * d[64 * i + j] +
                   fifo_[std::size_t(128 * i + 96 + j)] * d[64 * i + 32 + j];
        pcm[j] = sum / 65536.0;
    }
}

int16_t to_pcm(double v) {
    const double s = std::floor(v * 32768.0 + 0.5);
    return int16_t(s > 32767.0 ? 32767.0 : s < -32768.0 ? -32768.0 : s);
}

} // namespace zemtest::mp3model
