// Stereo reconstruction of one frame (ISO/IEC 14496-3 subpart 8): the low QMF bands are split
// by the hybrid filters, the mono signal s is decorrelated into d, each hybrid band is mixed as
// L = h11 s + h21 d, R = h12 s + h22 d with matrices interpolated across the envelopes, and the
// sub-bands are summed back into QMF bands. The hybrid filters are linear phase and centred: they
// reach kLead slots back into the previous frame and as far ahead into the next, whose first
// slots of the low band the SBR decoder already holds, so the output keeps the input's timing.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "ps_decoder.hpp"

namespace zemdec {

namespace {

Zem32fc polar(double angle) { return {float(std::cos(angle)), float(std::sin(angle))}; }

} // namespace

void PsDecoder::init_tables() {
    constexpr double pi = std::numbers::pi;
    constexpr double sqrt2 = std::numbers::sqrt2;
    for (int row = 0; row < 46; ++row) {
        const int db = row < 15 ? ps::kIidDefaultDb[row] : ps::kIidFineDb[row - 15];
        const double c = std::pow(10.0, db / 20.0); // amplitude ratio left / right
        const double gainR = std::sqrt(2.0 / (1.0 + c * c)), gainL = c * gainR;
        for (int icc = 0; icc < 8; ++icc) {
            // Procedure A: rotate by alpha = acos(rho) / 2 about an axis set by the IID.
            const double rho = ps::kIccRho[icc];
            const double alpha = 0.5 * std::acos(rho);
            const double beta = alpha * (gainR - gainL) / sqrt2;
            float* a = mixA_[row][icc];
            a[0] = float(gainL * std::cos(beta + alpha));
            a[1] = float(gainR * std::cos(beta - alpha));
            a[2] = float(gainL * std::sin(beta + alpha));
            a[3] = float(gainR * std::sin(beta - alpha));
            // Procedure B: principal axis rotation; rho kept off zero.
            const double r = std::max(rho, 0.05);
            double angle = 0.5 * std::atan2(2.0 * c * r, c * c - 1.0);
            if (angle < 0)
                angle += pi / 2;
            const double m = c + 1.0 / c;
            const double mu = std::sqrt(1.0 + (4.0 * r * r - 4.0) / (m * m));
            const double gamma = std::atan(std::sqrt((1.0 - mu) / (1.0 + mu)));
            float* b = mixB_[row][icc];
            b[0] = float(sqrt2 * std::cos(angle) * std::cos(gamma));
            b[1] = float(sqrt2 * std::sin(angle) * std::cos(gamma));
            b[2] = float(-sqrt2 * std::sin(angle) * std::sin(gamma));
            b[3] = float(sqrt2 * std::cos(angle) * std::sin(gamma));
        }
    }
    // IPD/OPD smoothing over three envelopes, weights 1/4, 1/2, 1 from the oldest; only the
    // direction of the sum is used.
    for (int i = 0; i < 512; ++i) {
        double re = 0, im = 0, w = 0.25;
        for (int shift = 6; shift >= 0; shift -= 3, w *= 2) {
            const double a = pi / 4 * ((i >> shift) & 7);
            re += w * std::cos(a);
            im += w * std::sin(a);
        }
        const double norm = std::hypot(re, im);
        phaseSmooth_[i] = {float(re / norm), float(im / norm)};
    }
    // Decorrelator phases: exp(-i pi q f) at each band's centre frequency f.
    for (int cfg = 0; cfg < 2; ++cfg) {
        const ps::HybridLayout& lay = cfg ? ps::kLayout34 : ps::kLayout20;
        for (int k = 0; k < lay.allpassBands; ++k) {
            const double f =
                k < lay.subBands ? double(lay.centre[k]) / lay.centreDen : k - lay.qmfOffset + 0.5;
            phiFract_[cfg][k] = polar(-pi * double(ps::kPhiFraction) * f);
            for (int m = 0; m < ps::kLinks; ++m)
                qFract_[cfg][k][m] = polar(-pi * double(ps::kLinkFraction[m]) * f);
        }
    }
    // Before the first parameters: L = R = the mono signal.
    constexpr float kMono[8] = {1, 1, 0, 0, 0, 0, 0, 0};
    for (auto& slot : hSlot_)
        for (Matrix& h : slot)
            std::copy_n(kMono, 8, h);
}

void PsDecoder::apply(Zem32fc* const* l, const Zem32fc* const* ahead, Zem32fc* const* r, int top) {
    if (!fresh_)
        hold();
    fresh_ = false;
    if (started_ && cur_.is34 != is34_)
        switch_configuration(cur_.is34);
    const ps::HybridLayout& lay = is34_ ? ps::kLayout34 : ps::kLayout20;
    if (started_)
        slot_matrices(lay);
    load_filters(l, ahead);
    analyse(l, lay);
    decorrelate(lay, top);
    mix(lay);
    synthesise(l, r, lay);
}

void PsDecoder::follow(Zem32fc* const* l, const Zem32fc* const* ahead) { load_filters(l, ahead); }

// The inputs of the hybrid filters: the previous frame's last kLead slots, this frame's and the
// next frame's first kLead, of the five lowest QMF bands.
void PsDecoder::load_filters(Zem32fc* const* l, const Zem32fc* const* ahead) {
    for (auto& in : filterIn_)
        std::copy_n(in + kSlots, kLead, in);
    for (int q = 0; q < 5; ++q) {
        for (int n = 0; n < kSlots; ++n)
            filterIn_[q][kLead + n] = l[n][q];
        for (int n = 0; n < kLead; ++n)
            filterIn_[q][kLead + kSlots + n] = ahead[n][q];
    }
}

// A change between the 20- and 34-band configurations: the matrices carried over are mapped to
// the new bands, and the decorrelator starts afresh.
void PsDecoder::switch_configuration(bool to34) {
    float v[ps::kMaxParBands];
    auto map = [&](Matrix* h) {
        for (int j = 0; j < 8; ++j) {
            for (int b = 0; b < ps::kMaxParBands; ++b)
                v[b] = h[b][j];
            ps::map_values(v, to34);
            for (int b = 0; b < ps::kMaxParBands; ++b)
                h[b][j] = v[b];
        }
    };
    map(hEnd_);
    std::memset(peak_, 0, sizeof peak_);
    std::memset(power_, 0, sizeof power_);
    std::memset(peakDiff_, 0, sizeof peakDiff_);
    std::memset(delay_, 0, sizeof delay_);
    std::memset(allpass_, 0, sizeof allpass_);
    std::memset(ipdHist_, 0, sizeof ipdHist_);
    std::memset(opdHist_, 0, sizeof opdHist_);
    is34_ = to34;
}

// The mixing matrix of each parameter band at the end of each envelope, and per slot the linear
// interpolation from the previous envelope's end: H(n) = H(n_e) + (n - n_e) (H(n_e+1) -
// H(n_e)) / (n_e+1 - n_e).
void PsDecoder::slot_matrices(const ps::HybridLayout& lay) {
    const Params& p = cur_;
    const int nb = lay.parBands;
    for (int e = 0; e < p.numEnv; ++e) {
        int8_t iid[ps::kMaxParBands], icc[ps::kMaxParBands];
        int8_t ipd[ps::kMaxIpdBands] = {}, opd[ps::kMaxIpdBands] = {};
        ps::map_bands(p.iid[e], p.nrIid, iid, nb);
        ps::map_bands(p.icc[e], p.nrIcc, icc, nb);
        if (p.ipdOpd) {
            ps::map_bands(p.ipd[e], p.nrIpd, ipd, lay.ipdBands);
            ps::map_bands(p.opd[e], p.nrIpd, opd, lay.ipdBands);
        }
        Matrix target[ps::kMaxParBands];
        for (int b = 0; b < nb; ++b) {
            const int row = p.fineIid ? 30 + iid[b] : 7 + iid[b];
            const float* m = (p.mixingB ? mixB_ : mixA_)[row][icc[b]];
            float* h = target[b];
            if (p.ipdOpd && b < lay.ipdBands) {
                // Smoothed phases: the left channel turns by the OPD, the right by OPD - IPD.
                const int o = opdHist_[b] * 8 + opd[b], i = ipdHist_[b] * 8 + ipd[b];
                opdHist_[b] = int8_t(o & 63);
                ipdHist_[b] = int8_t(i & 63);
                const Zem32fc left = phaseSmooth_[o], ip = phaseSmooth_[i];
                const Zem32fc right = {left.re * ip.re + left.im * ip.im,
                                       left.im * ip.re - left.re * ip.im};
                const float v[8] = {m[0] * left.re,  m[1] * right.re, m[2] * left.re,
                                    m[3] * right.re, m[0] * left.im,  m[1] * right.im,
                                    m[2] * left.im,  m[3] * right.im};
                std::copy_n(v, 8, h);
            } else {
                const float v[8] = {m[0], m[1], m[2], m[3], 0, 0, 0, 0};
                std::copy_n(v, 8, h);
            }
        }
        const int start = p.border[e], stop = p.border[e + 1];
        if (stop > start) {
            const float width = 1.0f / float(stop - start);
            for (int b = 0; b < nb; ++b)
                for (int j = 0; j < 8; ++j) {
                    const float h0 = hEnd_[b][j], step = (target[b][j] - h0) * width;
                    for (int n = start + 1; n <= stop; ++n)
                        hSlot_[n][b][j] = h0 + step * float(n - start);
                }
        }
        std::memcpy(hEnd_, target, sizeof(Matrix) * nb);
    }
}

// Hybrid bands s[k] of this frame.
void PsDecoder::analyse(Zem32fc* const* l, const ps::HybridLayout& lay) {
    int k = 0;
    for (int q = 0; q < lay.splitQmf; ++q) {
        zemsAnalysisFilter_PS_32fc_D2(filterIn_[q], hybridOut_[0], lay.filter[q]);
        for (int n = 0; n < kSlots; ++n) {
            const Zem32fc* y = hybridOut_[n];
            if (lay.width[q] == 8 && lay.merged[q] == 6) {
                // 20 bands: the two negative-frequency outputs first, then the positive ones,
                // the upper four folded in pairs around the band's centre.
                s_[0][n] = y[6];
                s_[1][n] = y[7];
                s_[2][n] = y[0];
                s_[3][n] = y[1];
                s_[4][n] = {y[2].re + y[5].re, y[2].im + y[5].im};
                s_[5][n] = {y[3].re + y[4].re, y[3].im + y[4].im};
            } else if (lay.width[q] == 2 && (q & 1)) {
                // The spectrum of an odd QMF band is reversed: its high-pass half lies lower.
                s_[k][n] = y[1];
                s_[k + 1][n] = y[0];
            } else {
                for (int j = 0; j < lay.width[q]; ++j)
                    s_[k + j][n] = y[j];
            }
        }
        k += lay.merged[q];
    }
    for (int q = lay.splitQmf; q < kQmfBands; ++q) {
        Zem32fc* s = s_[q + lay.qmfOffset];
        for (int n = 0; n < kSlots; ++n)
            s[n] = l[n][q];
    }
}

// d[k]: s[k] through the all-pass chain (low bands) or a plain delay, scaled down where the
// power drops fast after a transient.
void PsDecoder::decorrelate(const ps::HybridLayout& lay, int top) {
    const int cfg = is34_ ? 1 : 0;
    // Bands above the high band's top carry nothing; their filters are cleared.
    const int topBand = std::clamp(top + lay.qmfOffset, 0, lay.bands);
    for (int k = topBand; k < lay.bands; ++k) {
        std::memset(delay_[k], 0, sizeof delay_[k]);
        if (k < lay.allpassBands)
            std::memset(allpass_[k], 0, sizeof allpass_[k]);
    }

    // Transient attenuation per parameter band: peak-decayed power against smoothed power.
    for (int i = 0; i < lay.parBands; ++i)
        std::fill_n(gain_[i], kSlots, 0.0f);
    for (int k = 0; k < lay.bands; ++k) {
        float* p = gain_[lay.parMap[k]];
        for (int n = 0; n < kSlots; ++n)
            p[n] += s_[k][n].re * s_[k][n].re + s_[k][n].im * s_[k][n].im;
    }
    // Slot by slot across the parameter bands, whose recursions are independent.
    const int nb = lay.parBands;
    float gains[kSlots][ps::kMaxParBands];
    for (int n = 0; n < kSlots; ++n)
        for (int i = 0; i < nb; ++i) {
            const float power = gain_[i][n];
            peak_[i] = std::max(ps::kPeakDecay * peak_[i], power);
            power_[i] += ps::kSmooth * (power - power_[i]);
            peakDiff_[i] += ps::kSmooth * (peak_[i] - power - peakDiff_[i]);
            const float limit = ps::kTransientImpact * peakDiff_[i];
            gains[n][i] = limit > power_[i] ? power_[i] / limit : 1.0f;
        }
    for (int i = 0; i < nb; ++i)
        for (int n = 0; n < kSlots; ++n)
            gain_[i][n] = gains[n][i];

    constexpr int kHold = ps::kLongDelay;
    Zem32fc line[kHold + kSlots];
    for (int k = lay.allpassBands; k < lay.bands; ++k) {
        std::copy_n(delay_[k], kHold, line);
        std::copy_n(s_[k], kSlots, line + kHold);
        std::copy_n(line + kSlots, kHold, delay_[k]);
        const float* g = gain_[lay.parMap[k]];
        Zem32fc* d = d_[k];
        const int lag = k < lay.shortDelayBand ? ps::kLongDelay : 1;
        for (int n = 0; n < kSlots; ++n)
            d[n] = {g[n] * line[kHold + n - lag].re, g[n] * line[kHold + n - lag].im};
    }
    for (int k = 0; k < lay.allpassBands; k += kLanes)
        allpass(lay, cfg, k, std::min(kLanes, lay.allpassBands - k));
}

// z^-2 phi_fract(k) prod_m (Q(k,m) z^-d(m) - a(m) g(k)) / (1 - a(m) g(k) Q(k,m) z^-d(m)) on
// bands k0 .. k0 + lanes - 1, each link as a lattice: w(n) = x(n) + ag y(n),
// y(n) = Q w(n - d) - ag x(n). The bands run side by side, one per lane, each with the
// arithmetic of a single band, so that the compiler vectorises across them.
void PsDecoder::allpass(const ps::HybridLayout& lay, int cfg, int k0, int lanes) {
    using Lanes = float __attribute__((vector_size(16))); // one band per lane
    static_assert(sizeof(Lanes) == kLanes * sizeof(float));
    constexpr int kHold = ps::kLongDelay, kMaxLink = 5;
    Lanes xr[kHold + kSlots] = {}, xi[kHold + kSlots] = {}, g[kSlots] = {};
    Lanes wr[ps::kLinks][kMaxLink + kSlots] = {}, wi[ps::kLinks][kMaxLink + kSlots] = {};
    Lanes phr = {}, phi = {}, ag[ps::kLinks] = {}, qr[ps::kLinks] = {}, qi[ps::kLinks] = {};
    for (int v = 0; v < lanes; ++v) {
        const int k = k0 + v;
        for (int n = 0; n < kHold; ++n) {
            xr[n][v] = delay_[k][n].re;
            xi[n][v] = delay_[k][n].im;
        }
        for (int n = 0; n < kSlots; ++n) {
            xr[kHold + n][v] = s_[k][n].re;
            xi[kHold + n][v] = s_[k][n].im;
            g[n][v] = gain_[lay.parMap[k]][n];
        }
        for (int n = 0; n < kHold; ++n)
            delay_[k][n] = {xr[kSlots + n][v], xi[kSlots + n][v]};
        const float slope =
            std::clamp(1.0f - ps::kDecaySlope * float(k - lay.decayCutoff), 0.0f, 1.0f);
        phr[v] = phiFract_[cfg][k].re;
        phi[v] = phiFract_[cfg][k].im;
        for (int m = 0; m < ps::kLinks; ++m) {
            ag[m][v] = ps::kLinkCoefficient[m] * slope;
            qr[m][v] = qFract_[cfg][k][m].re;
            qi[m][v] = qFract_[cfg][k][m].im;
            for (int n = 0; n < kMaxLink; ++n) {
                wr[m][n][v] = allpass_[k][m][n].re;
                wi[m][n][v] = allpass_[k][m][n].im;
            }
        }
    }
    for (int n = 0; n < kSlots; ++n) {
        const Lanes ar = xr[kHold + n - ps::kAllpassPreDelay],
                    ai = xi[kHold + n - ps::kAllpassPreDelay];
        Lanes x0 = ar * phr - ai * phi, x1 = ar * phi + ai * phr;
        for (int m = 0; m < ps::kLinks; ++m) {
            const Lanes br = wr[m][kMaxLink + n - ps::kLinkDelay[m]],
                        bi = wi[m][kMaxLink + n - ps::kLinkDelay[m]];
            const Lanes zr = br * qr[m] - bi * qi[m], zi = br * qi[m] + bi * qr[m];
            const Lanes yr = zr - ag[m] * x0, yi = zi - ag[m] * x1;
            wr[m][kMaxLink + n] = x0 + ag[m] * yr;
            wi[m][kMaxLink + n] = x1 + ag[m] * yi;
            x0 = yr;
            x1 = yi;
        }
        const Lanes dr = g[n] * x0, di = g[n] * x1;
        for (int v = 0; v < lanes; ++v)
            d_[k0 + v][n] = {dr[v], di[v]};
    }
    for (int v = 0; v < lanes; ++v)
        for (int m = 0; m < ps::kLinks; ++m)
            for (int n = 0; n < kMaxLink; ++n)
                allpass_[k0 + v][m][n] = {wr[m][kSlots + n][v], wi[m][kSlots + n][v]};
}

// L into s_, R into d_. The bands of negative frequency take the conjugate phase rotation. Each
// complex coefficient h = a + ib of a slot is laid out as the pairs (a, a) and (-b, b), so that
// a product h x is the pairwise sum x (a, a) + swap(x) (-b, b), in loops the compiler
// vectorises.
void PsDecoder::mix(const ps::HybridLayout& lay) {
    Zem32fc p[4][kSlots], q[4][kSlots];
    int loaded = -1;
    float loadedSign = 0;
    for (int k = 0; k < lay.bands; ++k) {
        const int b = lay.parMap[k];
        const float sign = k >= lay.negatedFrom && k <= lay.negatedTo ? -1.0f : 1.0f;
        if (b != loaded || sign != loadedSign) {
            for (int n = 0; n < kSlots; ++n)
                for (int j = 0; j < 4; ++j) {
                    const float re = hSlot_[n][b][j], im = sign * hSlot_[n][b][j + 4];
                    p[j][n] = {re, re};
                    q[j][n] = {-im, im};
                }
            loaded = b;
            loadedSign = sign;
        }
        Zem32fc* s = s_[k];
        Zem32fc* d = d_[k];
        for (int n = 0; n < kSlots; ++n) {
            const Zem32fc x = s[n], y = d[n];
            // h11 s + h21 d into the left channel, h12 s + h22 d into the right.
            s[n] = {
                (x.re * p[0][n].re + x.im * q[0][n].re) + (y.re * p[2][n].re + y.im * q[2][n].re),
                (x.im * p[0][n].im + x.re * q[0][n].im) + (y.im * p[2][n].im + y.re * q[2][n].im)};
            d[n] = {
                (x.re * p[1][n].re + x.im * q[1][n].re) + (y.re * p[3][n].re + y.im * q[3][n].re),
                (x.im * p[1][n].im + x.re * q[1][n].im) + (y.im * p[3][n].im + y.re * q[3][n].im)};
        }
    }
}

// Each split QMF band is the sum of its hybrid bands.
void PsDecoder::synthesise(Zem32fc* const* l, Zem32fc* const* r,
                           const ps::HybridLayout& lay) const {
    for (int n = 0; n < kSlots; ++n) {
        int k = 0;
        for (int q = 0; q < lay.splitQmf; ++q) {
            Zem32fc sl = {0, 0}, sr = {0, 0};
            for (int j = 0; j < lay.merged[q]; ++j, ++k) {
                sl = {sl.re + s_[k][n].re, sl.im + s_[k][n].im};
                sr = {sr.re + d_[k][n].re, sr.im + d_[k][n].im};
            }
            l[n][q] = sl;
            r[n][q] = sr;
        }
        for (int q = lay.splitQmf; q < kQmfBands; ++q) {
            l[n][q] = s_[q + lay.qmfOffset][n];
            r[n][q] = d_[q + lay.qmfOffset][n];
        }
    }
}

} // namespace zemdec
