#include "sbr_channel.hpp"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "sbr_tables.hpp"

namespace zemdec {

namespace {

constexpr int kHfAdj = 2; // t_HFAdj: the high band lags the envelope grid by two slots
constexpr int kHfGen = 8; // t_HFGen: low-band rows before the frame's first slot
constexpr float kLimiterGain[4] = {0.70795f, 1.0f, 1.41254f, 1e10f};
constexpr float kSmooth[5] = {0.33333333333333f, 0.30150283239582f, 0.21816949906249f,
                              0.11516383427084f, 0.03183050093751f};

int band_of(const uint8_t* table, int count, int k) { // table[i] <= k < table[i + 1]
    int i = 0;
    while (i + 1 < count && table[i + 1] <= k)
        ++i;
    return i;
}

// One patch's bands of one generated row: x0 + alpha0 x1 + alpha1 x2 with the coefficients as
// (a, a) and (-b, b) pairs. The output never overlaps the inputs, which lets the loop vectorise.
void patch_row(Zem32fc* __restrict y, const Zem32fc* x0, const Zem32fc* x1, const Zem32fc* x2,
               const Zem32fc* p0, const Zem32fc* q0, const Zem32fc* p1, const Zem32fc* q1, int n) {
    for (int x = 0; x < n; ++x) {
        y[x].re = x2[x].re * p1[x].re + x2[x].im * q1[x].re + x1[x].re * p0[x].re +
                  x1[x].im * q0[x].re + x0[x].re;
        y[x].im = x2[x].im * p1[x].im + x2[x].re * q1[x].im + x1[x].im * p0[x].im +
                  x1[x].re * q0[x].im + x0[x].im;
    }
}

} // namespace

void dequantise_sbr(const SbrBands& b, const SbrChannelData* d, int channels, bool coupling,
                    SbrLevels* levels) {
    for (int c = 0; c < channels; ++c) {
        const float a = d[c].ampRes ? 1.0f : 0.5f;
        for (int l = 0; l < d[c].numEnv; ++l)
            for (int k = 0; k < b.n[d[c].freqRes[l]]; ++k)
                levels[c].env[l][k] = std::exp2(a * d[c].env[l][k] + 6.0f);
        for (int l = 0; l < d[c].numNoise; ++l)
            for (int k = 0; k < b.nQ; ++k)
                levels[c].noise[l][k] = std::exp2(6.0f - d[c].noise[l][k]);
    }
    if (!coupling || channels != 2)
        return;
    // The pair's level, split by the balance around its centre (the pan offset).
    const float a = d[0].ampRes ? 1.0f : 0.5f;
    const float pan = d[0].ampRes ? 12.0f : 24.0f;
    for (int l = 0; l < d[0].numEnv; ++l)
        for (int k = 0; k < b.n[d[0].freqRes[l]]; ++k) {
            const float level = std::exp2(a * d[0].env[l][k] + 7.0f);
            const float ratio = std::exp2(a * (pan - d[1].env[l][k]));
            levels[0].env[l][k] = level / (1.0f + ratio);
            levels[1].env[l][k] = levels[0].env[l][k] * ratio;
        }
    for (int l = 0; l < d[0].numNoise; ++l)
        for (int k = 0; k < b.nQ; ++k) {
            const float level = std::exp2(7.0f - d[0].noise[l][k]);
            const float ratio = std::exp2(12.0f - d[1].noise[l][k]);
            levels[0].noise[l][k] = level / (1.0f + ratio);
            levels[1].noise[l][k] = levels[0].noise[l][k] * ratio;
        }
}

// The sign of a real band's first reflection coefficient tells which of its edges holds its
// energy (the lower one when it is negative in an even band or positive in an odd, mirrored,
// band). Where a band and the one below lean toward their common edge, a sinusoid there shows
// in both, with its alias.
void aliasing_degrees(const int32_t* reflection, int k0, float* degree) {
    float r[32];
    for (int k = 0; k < k0; ++k) {
        r[k] = float(reflection[k]) * 0x1p-29f;
        degree[k] = 0.0f;
    }
    for (int k = 2; k < k0; ++k) {
        const float lean = k & 1 ? -1.0f : 1.0f;
        if (lean * r[k] >= 0.0f)
            continue;
        const float partial = 1.0f - r[k - 1] * r[k - 1];
        if (lean * r[k - 1] < 0.0f) {
            degree[k] = 1.0f;
            if (lean * r[k - 2] > 0.0f)
                degree[k - 1] = partial;
        } else if (lean * r[k - 2] > 0.0f) {
            degree[k] = partial;
        }
    }
}

// Runs of aliasing bands without sinusoids move toward their common gain, keeping the energy of
// the run, so that an alias and its sinusoid are scaled alike.
void reduce_aliasing(float* gain, const float* energy, const uint8_t* sines, const float* degree,
                     int m) {
    auto reduce = [&](int lo, int hi) {
        float estimated = 0.0f, target = 0.0f;
        for (int j = lo; j < hi; ++j) {
            estimated += energy[j];
            target += energy[j] * gain[j] * gain[j];
        }
        const float common = estimated > 0.0f ? target / estimated : 0.0f;
        float g2[kSbrMaxBands], reached = 0.0f;
        for (int j = lo; j < hi; ++j) {
            const float alias = j + 1 < m ? std::max(degree[j], degree[j + 1]) : degree[j];
            g2[j] = alias * common + (1.0f - alias) * gain[j] * gain[j];
            reached += g2[j] * energy[j];
        }
        const float norm = reached > 0.0f ? target / reached : 0.0f;
        for (int j = lo; j < hi; ++j)
            gain[j] = std::sqrt(g2[j] * norm);
    };
    int start = -1;
    for (int j = 0; j + 1 < m; ++j) {
        const bool joins = degree[j + 1] != 0.0f && !sines[j];
        if (joins && start < 0) {
            start = j;
        } else if (!joins && start >= 0) {
            reduce(start, sines[j] ? j : j + 1);
            start = -1;
        }
    }
    if (start >= 0)
        reduce(start, m);
}

SbrChannel::SbrChannel(bool lowPower) : lowPower_(lowPower) {
    int32_t spec = 0, init = 0, work = 0;
    if (lowPower) {
        zemsAnalysisFilterGetSize_SBRLP_32s(&spec);
        analysisMem_.resize(std::size_t(spec));
        zemsAnalysisFilterInit_SBRLP_32s(analysisMem_.data());
        zemsSynthesisFilterGetSize_SBRLP_32s(&spec);
        synthesisMem_.resize(std::size_t(spec));
        zemsSynthesisFilterInit_SBRLP_32s(synthesisMem_.data());
    } else {
        zemsAnalysisFilterGetSize_SBR_RToC_32f32fc(&spec, &init, &work);
        analysisMem_.resize(std::size_t(spec + init));
        zemsAnalysisFilterInit_SBR_RToC_32f32fc(&analysis_, analysisMem_.data(),
                                                analysisMem_.data() + spec);
        zemsSynthesisFilterGetSize_SBR_CToR_32fc32f(&spec, &init, &work);
        synthesisMem_.resize(std::size_t(spec + init));
        zemsSynthesisFilterInit_SBR_CToR_32fc32f(&synthesis_, synthesisMem_.data(),
                                                 synthesisMem_.data() + spec);
    }
    for (int i = 0; i < 320; ++i)
        window32_[i] = kSbrQmfWindow[2 * i];
    for (int i = 0; i < kQmfSlots; ++i)
        xRows_[i] = x_[i];
    for (int i = 0; i < 6; ++i)
        aheadRows_[i] = low_[kQmfSlots + kHfAdj + i];
}

void SbrChannel::analyse(const int32_t* core, float scale) {
    std::memmove(low_[0], low_[kQmfSlots], sizeof(low_[0]) * kHfGen);
    if (lowPower_) {
        analyse_low_power(core, scale);
        return;
    }
    float x[1024];
    for (int n = 0; n < 1024; ++n)
        x[n] = float(core[n]) * scale;
    Zem32fc* rows[kQmfSlots];
    for (int l = 0; l < kQmfSlots; ++l)
        rows[l] = low_[kHfGen + l];
    zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(x, rows, window32_, kQmfSlots, 0, 32, analysis_, work_);
}

// The bandwidth (chirp) factor of each noise band from this and the previous frame's inverse
// filtering modes, smoothed over frames.
void SbrChannel::chirp(const SbrBands& b, const SbrChannelData& d) {
    constexpr float kNewBw[4] = {0.0f, 0.75f, 0.9f, 0.98f};
    for (int i = 0; i < b.nQ; ++i) {
        const int cur = d.invf[i], prev = prevInvf_[i];
        // Between off and low the factor takes a middle value.
        const float newBw = cur + prev == 1 ? 0.6f : kNewBw[cur];
        const float bw =
            newBw < bw_[i] ? 0.75f * newBw + 0.25f * bw_[i] : 0.90625f * newBw + 0.09375f * bw_[i];
        bw_[i] = bw < 0.015625f ? 0.0f : std::min(bw, 0.99609375f);
        prevInvf_[i] = uint8_t(cur);
    }
}

// Each patch copies low bands up, whitened by the second-order predictor of each source band.
void SbrChannel::hf_generate(const SbrBands& b, const SbrChannelData& d) {
    if (lowPower_) {
        const int32_t* fixedRows[kLowRows];
        for (int r = 0; r < kLowRows; ++r)
            fixedRows[r] = lowFixed_[r];
        int32_t reflection[32] = {};
        for (int k = 0; k < b.k0; ++k) {
            int32_t a0 = 0, a1 = 0;
            zemsPredictOneCoef_SBRLP_32s_D2L(fixedRows, &a0, &a1, &reflection[k], k, kLowRows - 2,
                                             1);
            alpha0_[k] = {float(a0) * 0x1p-29f, 0.0f};
            alpha1_[k] = {float(a1) * 0x1p-29f, 0.0f};
        }
        patch_degrees(b, reflection);
    } else {
        const Zem32fc* lowRows[kLowRows];
        for (int r = 0; r < kLowRows; ++r)
            lowRows[r] = low_[r];
        zemsPredictCoef_SBR_C_32fc_D2L(lowRows, alpha0_, alpha1_, b.k0, kLowRows - 2);
    }
    const int first = 2 * d.tE[0] + kHfAdj, end = 2 * d.tE[d.numEnv] + kHfAdj;
    // Per generated band the chirp-weighted coefficients, as (a, a) and (-b, b) pairs for a
    // coefficient a + ib, so that each output pair is the same sum of pairwise products.
    Zem32fc a0[kSbrMaxBands], s0[kSbrMaxBands], a1[kSbrMaxBands], s1[kSbrMaxBands];
    int k = b.kx;
    for (int p = 0; p < b.numPatches; ++p)
        for (int x = 0; x < b.patchBands[p]; ++x, ++k) {
            const int src = b.patchStart[p] + x;
            const float bw = bw_[band_of(b.fNoise, b.nQ, k)];
            const float c0r = alpha0_[src].re * bw, c0i = alpha0_[src].im * bw;
            const float c1r = alpha1_[src].re * bw * bw, c1i = alpha1_[src].im * bw * bw;
            a0[k] = {c0r, c0r};
            s0[k] = {-c0i, c0i};
            a1[k] = {c1r, c1r};
            s1[k] = {-c1i, c1i};
        }
    const int covered = k; // a last patch narrower than three bands is left out
    for (int r = first; r < end; ++r) {
        Zem32fc* out = high_[r];
        k = b.kx;
        for (int p = 0; p < b.numPatches; ++p) {
            const int n = b.patchBands[p], from = b.patchStart[p];
            patch_row(out + k, low_[r] + from, low_[r - 1] + from, low_[r - 2] + from, a0 + k,
                      s0 + k, a1 + k, s1 + k, n);
            k += n;
        }
        std::fill(out + covered, out + b.kx + b.m, Zem32fc{0.0f, 0.0f});
    }
}

// Each high band takes the aliasing degree of its source band, except the first band of a patch,
// whose neighbour below comes from elsewhere.
void SbrChannel::patch_degrees(const SbrBands& b, const int32_t* reflection) {
    float degree[32];
    aliasing_degrees(reflection, b.k0, degree);
    std::fill(degree_, degree_ + kSbrMaxBands, 0.0f);
    int j = 0;
    for (int p = 0; p < b.numPatches; ++p)
        for (int x = 0; x < b.patchBands[p]; ++x, ++j)
            degree_[j] = x ? degree[b.patchStart[p] + x] : 0.0f;
}

// The transmitted envelopes, noise floors and sinusoids on the QMF bands of the high band,
// and the energies the generator produced there.
void SbrChannel::map_and_estimate(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d,
                                  const SbrLevels& levels) {
    const int kx = b.kx, m = b.m;
    for (int l = 0; l < d.numEnv; ++l) {
        const int res = d.freqRes[l];
        const uint8_t* table = b.f[res];
        for (int i = 0; i < b.n[res]; ++i)
            for (int k = table[i]; k < table[i + 1]; ++k)
                eOrig_[l][k - kx] = levels.env[l][i];
        const int q = d.numNoise > 1 && d.tE[l] >= d.tQ[1] ? 1 : 0;
        for (int i = 0; i < b.nQ; ++i)
            for (int k = b.fNoise[i]; k < b.fNoise[i + 1]; ++k)
                qMapped_[l][k - kx] = levels.noise[q][i];
        // A sinusoid sits in the middle of its high-resolution band, from the transient
        // envelope on, or from the start when the previous frame flagged it already (also when
        // that frame's transient, at its very end, left no envelope for it to start in).
        uint8_t* s = sIndex_[l];
        std::fill(s, s + m, uint8_t(0));
        if (d.addHarmonicFlag)
            for (int i = 0; i < b.n[1]; ++i) {
                const int mid = ((b.f[1][i] + b.f[1][i + 1]) >> 1) - kx;
                s[mid] =
                    uint8_t(d.addHarmonic[i] && (l >= d.transientEnv || harmonicsPrev_[i] == 1));
            }
        for (int i = 0; i < b.n[res]; ++i) {
            const uint8_t any =
                std::any_of(s + table[i] - kx, s + table[i + 1] - kx, [](uint8_t v) { return v; });
            std::fill(sMapped_[l] + table[i] - kx, sMapped_[l] + table[i + 1] - kx, any);
        }
        // Energies of the generated bands, per QMF band or averaged over each envelope band.
        const int r0 = 2 * d.tE[l] + kHfAdj, r1 = 2 * d.tE[l + 1] + kHfAdj;
        // A real QMF value carries half the energy of the complex one on average.
        const float perSlot = (lowPower_ ? 2.0f : 1.0f) / float(r1 - r0);
        float* e = eCurr_[l];
        std::fill(e, e + m, 0.0f);
        for (int r = r0; r < r1; ++r) {
            const Zem32fc* x = high_[r] + kx;
            for (int j = 0; j < m; ++j)
                e[j] += x[j].re * x[j].re + x[j].im * x[j].im;
        }
        for (int j = 0; j < m; ++j)
            e[j] *= perSlot;
        if (!h.interpolFreq)
            for (int i = 0; i < b.n[res]; ++i) {
                const int lo = table[i] - kx, hi = table[i + 1] - kx;
                float sum = 0.0f;
                for (int j = lo; j < hi; ++j)
                    sum += e[j];
                std::fill(e + lo, e + hi, sum / float(hi - lo));
            }
    }
    for (int i = 0; i < kSbrMaxBands; ++i)
        harmonicsPrev_[i] = uint8_t(d.addHarmonicFlag && i < b.n[1] && d.addHarmonic[i]);
}

// Gains toward the transmitted energies, limited per limiter band and compensated.
void SbrChannel::gains(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d) {
    const int kx = b.kx;
    for (int l = 0; l < d.numEnv; ++l) {
        const bool noiseAllowed = l != d.transientEnv && !(l == 0 && prevTransientAtEnd_);
        float *g = gain_[l], *qm = qM_[l], *sm = sM_[l];
        const float *eo = eOrig_[l], *q = qMapped_[l], *ec = eCurr_[l];
        for (int lim = 0; lim < b.nLim; ++lim) {
            const int lo = b.fLim[lim] - kx, hi = b.fLim[lim + 1] - kx;
            float sumOrig = 0.0f, sumCurr = 0.0f;
            for (int j = lo; j < hi; ++j) {
                const float t = eo[j] / (1.0f + q[j]);
                qm[j] = std::sqrt(t * q[j]);
                sm[j] = std::sqrt(t * float(sIndex_[l][j]));
                g[j] =
                    sMapped_[l][j]
                        ? std::sqrt(eo[j] * q[j] / ((1.0f + ec[j]) * (1.0f + q[j])))
                        : std::sqrt(eo[j] / ((1.0f + ec[j]) * (noiseAllowed ? 1.0f + q[j] : 1.0f)));
                g[j] += FLT_MIN;
                sumOrig += eo[j];
                sumCurr += ec[j];
            }
            const float gMax =
                std::min(kLimiterGain[h.limiterGains] *
                             std::sqrt((FLT_EPSILON + sumOrig) / (FLT_EPSILON + sumCurr)),
                         100000.0f);
            for (int j = lo; j < hi; ++j) {
                qm[j] = std::min(qm[j], qm[j] * gMax / g[j]);
                g[j] = std::min(g[j], gMax);
            }
            float sumAdjusted = 0.0f;
            for (int j = lo; j < hi; ++j)
                sumAdjusted += ec[j] * g[j] * g[j] + sm[j] * sm[j] +
                               (noiseAllowed && sm[j] == 0.0f ? qm[j] * qm[j] : 0.0f);
            const float boost = std::min(
                std::sqrt((FLT_EPSILON + sumOrig) / (FLT_EPSILON + sumAdjusted)), 1.584893192f);
            for (int j = lo; j < hi; ++j) {
                g[j] *= boost;
                qm[j] *= boost;
                sm[j] *= boost;
            }
        }
        if (lowPower_)
            reduce_aliasing(gain_[l], eCurr_[l], sMapped_[l], degree_, b.m);
    }
}

// Low power: on the slots where a sinusoid's real phase is zero, the bank would show it as an
// alias in the neighbouring bands; a small opposite term there cancels it.
void SbrChannel::add_sinusoid_leakage(int kx, int m, int l, Zem32fc* row) {
    constexpr float kLeak = 0.00815f;
    const float* s = sM_[l];
    const float c = indexSine_ == 1 ? kLeak : -kLeak;
    auto at = [&](int j) { return j >= 0 && j < m ? s[j] : 0.0f; };
    const int top = std::min(kx + m, kSbrMaxBands - 1);
    for (int n = kx - 1; n <= top; ++n) {
        const float v = c * (at(n - 1 - kx) - at(n + 1 - kx));
        row[n].re -= n & 1 ? -v : v;
    }
}

// Gains (smoothed over time outside transients), noise floor and sinusoids on the generated
// high band of each slot.
void SbrChannel::assemble(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d,
                          bool reset) {
    const int smoothing = h.smoothingMode ? 0 : 4;
    const int kx = b.kx, m = b.m;
    const int start = 2 * d.tE[0];
    if (reset) {
        // New band tables restart the noise sequence and the smoothing history.
        indexNoise_ = 0;
        for (int i = 0; i < smoothing; ++i) {
            std::copy(gain_[0], gain_[0] + m, gTemp_[start + i]);
            std::copy(qM_[0], qM_[0] + m, qTemp_[start + i]);
        }
    } else if (smoothing) {
        for (int i = 0; i < 4; ++i) {
            std::memmove(gTemp_[start + i], gTemp_[2 * prevTrail_ + i], sizeof(gTemp_[0]));
            std::memmove(qTemp_[start + i], qTemp_[2 * prevTrail_ + i], sizeof(qTemp_[0]));
        }
    }
    for (int l = 0; l < d.numEnv; ++l)
        for (int i = 2 * d.tE[l]; i < 2 * d.tE[l + 1]; ++i) {
            std::copy(gain_[l], gain_[l] + m, gTemp_[smoothing + i]);
            std::copy(qM_[l], qM_[l] + m, qTemp_[smoothing + i]);
        }
    // Rows outside this frame's envelopes are read as silence (only a frame whose first border
    // does not follow the previous one's last leaves some of them unwritten).
    Zem32fc(*y)[kSbrMaxBands] = adjusted_[current_];
    for (int i = 0; i < kAdjustedRows; ++i) {
        if (i < start || i >= 2 * d.tE[d.numEnv])
            std::fill(y[i] + kx, y[i] + kx + m, Zem32fc{0.0f, 0.0f});
        if (lowPower_) { // the bands beside the high band, where sinusoids leak
            y[i][kx - 1] = {0.0f, 0.0f};
            y[i][std::min(kx + m, kSbrMaxBands - 1)] = {0.0f, 0.0f};
        }
    }
    for (int l = 0; l < d.numEnv; ++l) {
        const bool transient = l == d.transientEnv || (l == 0 && prevTransientAtEnd_);
        const bool sines = std::any_of(sM_[l], sM_[l] + m, [](float v) { return v != 0.0f; });
        for (int i = 2 * d.tE[l]; i < 2 * d.tE[l + 1]; ++i) {
            float gFilt[kSbrMaxBands], qFilt[kSbrMaxBands];
            if (smoothing && !transient) {
                std::fill(gFilt, gFilt + m, 0.0f);
                std::fill(qFilt, qFilt + m, 0.0f);
                for (int t = 0; t <= smoothing; ++t) {
                    const float *g = gTemp_[i + smoothing - t], *q = qTemp_[i + smoothing - t];
                    for (int j = 0; j < m; ++j) {
                        gFilt[j] += g[j] * kSmooth[t];
                        qFilt[j] += q[j] * kSmooth[t];
                    }
                }
            } else {
                std::copy(gTemp_[i + smoothing], gTemp_[i + smoothing] + m, gFilt);
                std::copy(qTemp_[i + smoothing], qTemp_[i + smoothing] + m, qFilt);
            }
            const Zem32fc* src = high_[i + kHfAdj] + kx;
            Zem32fc* out = y[i] + kx;
            // The sinusoid's phase turns by a quarter per slot; its imaginary part alternates
            // in sign from band to band. Bands with a sinusoid (and all of a transient
            // envelope) take it instead of the noise, which walks the table from the next entry.
            const float phiRe = indexSine_ == 0 ? 1.0f : indexSine_ == 2 ? -1.0f : 0.0f;
            const float phiIm = (indexSine_ == 1   ? 1.0f
                                 : indexSine_ == 3 ? -1.0f
                                                   : 0.0f) *
                                (kx & 1 ? -1.0f : 1.0f);
            const float* sm = sM_[l];
            Zem32fc add[kSbrMaxBands];
            auto sine = [&](int j) {
                return Zem32fc{sm[j] * phiRe, sm[j] * (j & 1 ? -phiIm : phiIm)};
            };
            if (transient) {
                for (int j = 0; j < m; ++j)
                    add[j] = sine(j);
            } else {
                const int first = (indexNoise_ + 1) & 511;
                const int run = std::min(m, 512 - first); // up to the table's end, then from 0
                const float(*v)[2] = kSbrNoiseTable + first;
                for (int j = 0; j < run; ++j)
                    add[j] = {qFilt[j] * v[j][0], qFilt[j] * v[j][1]};
                for (int j = run; j < m; ++j)
                    add[j] = {qFilt[j] * kSbrNoiseTable[j - run][0],
                              qFilt[j] * kSbrNoiseTable[j - run][1]};
                if (sines)
                    for (int j = 0; j < m; ++j)
                        if (sm[j] != 0.0f)
                            add[j] = sine(j);
            }
            for (int j = 0; j < m; ++j) {
                out[j].re = src[j].re * gFilt[j] + add[j].re;
                out[j].im = src[j].im * gFilt[j] + add[j].im;
            }
            if (lowPower_ && (indexSine_ & 1))
                add_sinusoid_leakage(kx, m, l, y[i]);
            indexNoise_ = (indexNoise_ + m) & 511;
            indexSine_ = (indexSine_ + 1) & 3;
        }
    }
}

// The QMF matrix of the frame: the low band delayed by the HF generator's lead, the high band
// of the previous frame where its last envelope reaches into this one, then this frame's.
void SbrChannel::build_x(int kx, int m, int trailOfFrame) {
    const int carried = std::max(2 * prevTrail_ - kQmfSlots, 0);
    const Zem32fc(*prev)[kSbrMaxBands] = adjusted_[current_ ^ 1];
    const Zem32fc(*cur)[kSbrMaxBands] = adjusted_[current_];
    for (int i = 0; i < kQmfSlots; ++i) {
        Zem32fc* row = x_[i];
        const bool early = i < carried;
        const int lowEnd = early ? prevKx_ : kx;
        const int highEnd = lowEnd + (early ? prevM_ : m);
        std::copy(low_[i + kHfAdj], low_[i + kHfAdj] + std::min(lowEnd, 32), row);
        std::fill(row + std::min(lowEnd, 32), row + kSbrMaxBands, Zem32fc{0.0f, 0.0f});
        const Zem32fc* high = early ? prev[i + kQmfSlots] : cur[i];
        std::copy(high + lowEnd, high + highEnd, row + lowEnd);
        if (lowPower_ && highEnd > lowEnd) { // sinusoid leakage beside the high band
            row[lowEnd - 1].re += high[lowEnd - 1].re;
            if (highEnd < kSbrMaxBands)
                row[highEnd].re += high[highEnd].re;
        }
    }
    prevTrail_ = trailOfFrame;
    prevKx_ = kx;
    prevM_ = m;
    current_ ^= 1;
}

void SbrChannel::generate(const SbrBands& b, const SbrHeader& h, const SbrChannelData& d,
                          const SbrLevels& levels, bool reset) {
    chirp(b, d);
    hf_generate(b, d);
    map_and_estimate(b, h, d, levels);
    gains(b, h, d);
    assemble(b, h, d, reset);
    build_x(b.kx, b.m, d.tE[d.numEnv]);
    prevTransientAtEnd_ = d.transientEnv == d.numEnv;
}

void SbrChannel::pass_through() {
    for (auto& row : adjusted_[current_])
        std::fill(row, row + kSbrMaxBands, Zem32fc{0.0f, 0.0f});
    build_x(32, 0, kSbrTimeSlots);
    prevTransientAtEnd_ = false;
}

// The fixed-point real bank takes the core at 256 times the PCM scale and gives twice the real
// bank's values at the PCM scale; the synthesis bank returns from there to the PCM scale.
void SbrChannel::analyse_low_power(const int32_t* core, float scale) {
    std::memmove(lowFixed_[0], lowFixed_[kQmfSlots], sizeof(lowFixed_[0]) * kHfGen);
    const int64_t gain = std::llround(256.0f * scale); // 1, or 32 for the LTP history
    int32_t x[32];
    for (int l = 0; l < kQmfSlots; ++l) {
        constexpr int32_t kTop = (1 << 30) - 1; // the bank's input range
        if (gain == 1)
            for (int n = 0; n < 32; ++n)
                x[n] = std::clamp(core[32 * l + n], -kTop, kTop);
        else
            for (int n = 0; n < 32; ++n)
                x[n] = int32_t(std::clamp<int64_t>(gain * core[32 * l + n], -kTop, kTop));
        int32_t* row = lowFixed_[kHfGen + l];
        zemsAnalysisFilter_SBRLP_32s(
            x, row, 32, reinterpret_cast<ZemSbrAnalysisSpec_32s*>(analysisMem_.data()));
        for (int k = 0; k < 32; ++k)
            low_[kHfGen + l][k] = {0.5f * float(row[k]), 0.0f};
    }
}

// The synthesis bank truncates each of its products: fed 8 times the values it expects, its
// mean bias of about -5.5 output units shrinks to 0.7 LSB, and full scale still fits.
void SbrChannel::synthesise_low_power(Zem32fc* const* rows, float* out) {
    constexpr float kLimit = 67108863.0f; // the bank's input range, 2^26
    constexpr float kHeadroom = 8.0f;
    int32_t x[64], y[64];
    for (int l = 0; l < kQmfSlots; ++l) {
        // Without branches: the signs of the values are as good as random.
        for (int k = 0; k < 64; ++k) {
            const float v = 2.0f * kHeadroom * rows[l][k].re;
            const float c = std::min(kLimit, std::max(-kLimit, v)); // NaN to -kLimit
            x[k] = int32_t(c + std::copysign(0.5f, c)); // to nearest, halves away from 0
        }
        zemsSynthesisFilter_SBRLP_32s(
            x, y, reinterpret_cast<ZemSbrSynthesisSpec_32s*>(synthesisMem_.data()));
        for (int n = 0; n < 64; ++n)
            out[64 * l + n] = float(y[n]) * (1.0f / kHeadroom);
    }
}

void SbrChannel::synthesise(Zem32fc* const* rows, float* out) {
    if (lowPower_) {
        synthesise_low_power(rows, out);
        return;
    }
    zemsSynthesisFilter_SBR_CToR_32fc32f_D2L(rows, out, kSbrQmfWindow, kQmfSlots, synthesis_,
                                             work_);
}

} // namespace zemdec
