// zemdec's parametric stereo: ps_data() written by the test writer and read back (both
// difference directions, 10/20/34 bands, fine IID, the IPD/OPD extension, variable borders and
// the envelope appended up to the frame's end), damaged payloads that must leave the previous
// parameters alone, and known answers of the stereo reconstruction (mono pass-through, IID level
// ratios, ICC coherence, IPD/OPD phases). Frames that build on the previous one are decoded in
// the syntax conformance streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <random>
#include <type_traits>
#include <vector>

#include "ps_decoder.hpp"
#include "ps_huffman_tables.hpp"
#include "support/ps_writer.hpp"

namespace zemdec {

struct PsDecoderProbe {
    static const auto& cur(const PsDecoder& d) { return d.cur_; }
    static bool same_state(const PsDecoder& a, const PsDecoder& b) {
        const auto &p = a.cur_, &q = b.cur_;
        const auto &g = a.header_, &h = b.header_;
        return p.numEnv == q.numEnv && !std::memcmp(p.border, q.border, sizeof p.border) &&
               p.nrIid == q.nrIid && p.nrIcc == q.nrIcc && p.nrIpd == q.nrIpd &&
               p.fineIid == q.fineIid && p.mixingB == q.mixingB && p.ipdOpd == q.ipdOpd &&
               p.is34 == q.is34 && !std::memcmp(p.iid, q.iid, sizeof p.iid) &&
               !std::memcmp(p.icc, q.icc, sizeof p.icc) &&
               !std::memcmp(p.ipd, q.ipd, sizeof p.ipd) &&
               !std::memcmp(p.opd, q.opd, sizeof p.opd) && g.enableIid == h.enableIid &&
               g.enableIcc == h.enableIcc && g.enableExt == h.enableExt && g.iidMode == h.iidMode &&
               g.iccMode == h.iccMode;
    }
};

} // namespace zemdec

namespace {

using zemdec::BitReader;
using zemdec::PsDecoder;
using P = zemdec::PsDecoderProbe;
using zemtest::Frame;
using zemtest::Values;
using zemtest::write;

Values random_values(std::mt19937& rng, int envs, int bands, int lo, int hi) {
    std::uniform_int_distribution<int> d(lo, hi);
    Values v(std::size_t(envs), std::vector<int>(std::size_t(bands), 0));
    for (auto& e : v)
        for (int& x : e)
            x = d(rng);
    return v;
}

// Has ps read f as written, with `extra` bits more (or fewer) in the extension than the frame
// takes and the payload cut to `cut` bytes (0: whole). A frame taken leaves the reader at its
// end, one refused at the end of the extension.
bool feed(PsDecoder& ps, const Frame& f, int extra = 0, int cut = 0) {
    const zemtest::BitBuilder w = write(f);
    std::vector<uint8_t> data = w.bytes();
    if (cut)
        data.resize(std::size_t(cut));
    const int bits = int(w.bit_count()), left = bits + extra;
    BitReader br(data.data(), int(data.size()));
    const bool ok = ps.read(br, left);
    EXPECT_EQ(br.position(), ok ? bits : left);
    return ok;
}

struct ParseCase {
    const char* name;
    int iidMode, iccMode, frameClass, envIdx;
    std::vector<int> borders;
    const char* dt; // per envelope, for every parameter: '1' time, '0' frequency differences
    bool ipdOpd;
    std::vector<int> ends; // the envelopes' ends after the frame's end was filled in
};

TEST(PsParse, RoundTrips) {
    const ParseCase cases[] = {
        {"20 bands, one envelope, df", 1, 1, 0, 1, {}, "0", false, {31}},
        {"10 bands, two fixed envelopes, dt", 0, 0, 0, 2, {}, "01", false, {15, 31}},
        {"34 bands, four fixed envelopes", 2, 2, 0, 3, {}, "0101", false, {7, 15, 23, 31}},
        {"fine IID, 34, variable, end appended", 5, 2, 1, 1, {7, 20}, "01", false, {7, 20, 31}},
        {"fine IID 20, mixing B, last border 31", 4, 4, 1, 2, {0, 9, 31}, "101", false, {0, 9, 31}},
        {"IPD/OPD, 11 bands", 1, 1, 1, 2, {3, 10, 31}, "011", true, {3, 10, 31}},
        {"IPD/OPD, 17 bands, escaped ext. size", 2, 5, 0, 3, {}, "0111", true, {7, 15, 23, 31}},
        {"IPD/OPD, 5 bands", 3, 0, 1, 0, {12}, "1", true, {12, 31}},
    };
    std::mt19937 rng(2024);
    for (const ParseCase& c : cases) {
        SCOPED_TRACE(c.name);
        const int envs = int(std::strlen(c.dt));
        const int nIid = zemdec::ps::kNrParBands[c.iidMode];
        const int nIcc = zemdec::ps::kNrParBands[c.iccMode];
        const int nIpd = zemdec::ps::kNrIpdBands[c.iidMode];
        const int lim = c.iidMode > 2 ? 15 : 7;
        Frame f;
        f.iidMode = c.iidMode;
        f.iccMode = c.iccMode;
        f.frameClass = c.frameClass;
        f.envIdx = c.envIdx;
        f.borders = c.borders;
        f.iidV = random_values(rng, envs, nIid, -lim, lim);
        f.iccV = random_values(rng, envs, nIcc, 0, 7);
        for (int e = 0; e < envs; ++e)
            f.iidDt.push_back(c.dt[e] == '1');
        f.iccDt = f.ipdDt = f.opdDt = f.iidDt;
        f.ext = c.ipdOpd;
        if (c.ipdOpd) {
            f.ipdV = random_values(rng, envs, nIpd, 0, 7);
            f.opdV = random_values(rng, envs, nIpd, 0, 7);
        }
        PsDecoder ps;
        ASSERT_TRUE(feed(ps, f, 5));
        EXPECT_TRUE(ps.started());
        const auto& got = P::cur(ps);
        ASSERT_EQ(got.numEnv, int(c.ends.size()));
        EXPECT_EQ(got.ipdOpd, c.ipdOpd);
        for (int e = 0; e < got.numEnv; ++e) {
            EXPECT_EQ(got.border[e + 1], c.ends[std::size_t(e)]);
            const auto src = std::size_t(std::min(e, envs - 1)); // an appended one repeats the last
            for (int b = 0; b < nIid; ++b)
                ASSERT_EQ(got.iid[e][b], f.iidV[src][std::size_t(b)]) << e;
            for (int b = 0; b < nIcc; ++b)
                ASSERT_EQ(got.icc[e][b], f.iccV[src][std::size_t(b)]) << e;
            for (int b = 0; c.ipdOpd && b < nIpd; ++b) {
                ASSERT_EQ(got.ipd[e][b], f.ipdV[src][std::size_t(b)]) << e;
                ASSERT_EQ(got.opd[e][b], f.opdV[src][std::size_t(b)]) << e;
            }
        }
    }
}

Frame valid_frame() {
    Frame f;
    f.envIdx = 2;
    f.iidV = Values(2, std::vector<int>(20, 1));
    f.iccV = Values(2, std::vector<int>(20, 2));
    f.iidDt = f.iccDt = {false, true};
    return f;
}

// A valid frame changed by `change` and fed as feed() does is refused, the rest of the extension
// passed over, and the parameters of the frame before (fine IID values beyond the default grid
// when `fineHeld`) kept.
TEST(PsParse, DamagedDataKeepsThePreviousParameters) {
    const auto check = [](const char* name, auto change, int extra = 0, int cut = 0,
                          bool fineHeld = false) {
        SCOPED_TRACE(name);
        PsDecoder ps, before;
        Frame prime;
        prime.iidMode = fineHeld ? 4 : 1;
        prime.iidV = Values(1, std::vector<int>(20, fineHeld ? 12 : -3));
        prime.iccV = Values(1, std::vector<int>(20, 4));
        prime.iidDt = prime.iccDt = {false};
        ASSERT_TRUE(feed(ps, prime) && feed(before, prime));
        Frame f = valid_frame();
        change(f);
        EXPECT_FALSE(feed(ps, f, extra, cut));
        EXPECT_TRUE(P::same_state(ps, before));
    };
    const auto unchanged = [](Frame&) {};
    check("reserved iid_mode", [](Frame& f) { f.iidMode = 6; });
    check("reserved icc_mode", [](Frame& f) { f.iccMode = 7; });
    check("IID beyond the grid", [](Frame& f) { f.iidV[0][3] = 8; });
    check("ICC below 0", [](Frame& f) { f.iccV[1][19] = -1; });
    check("borders going back", [](Frame& f) {
        f.frameClass = 1;
        f.envIdx = 1;
        f.borders = {20, 10};
    });
    check("truncated payload", unchanged, 0, 3);
    check("ps_data longer than the extension", unchanged, -8);
    check("extension size shorter than its data", [](Frame& f) {
        f.ext = true;
        f.ipdV = f.opdV = Values(2, std::vector<int>(11, 5));
        f.ipdDt = f.opdDt = {false, false};
        f.extBytes = 1;
    });
    const auto hugeExtension = [](Frame& f) {
        f.ext = true;
        f.extBytes = 200;
    };
    check("extension size beyond the payload", hugeExtension, 0, 12);
    const auto noEnvelopes = [](Frame& f) {
        f.envIdx = 0;
        f.iidV.clear();
        f.iccV.clear();
    };
    check("held fine IID under a default grid", noEnvelopes, 0, 0, true);
}

// ---- Stereo reconstruction ----

constexpr int kSlots = 32, kBands = 64, kLead = 6;
using cf = std::complex<float>;

struct Signal {
    std::vector<Zem32fc> l, r;
    std::vector<Zem32fc*> lr, rr;
    Signal() : l(kSlots * kBands), r(kSlots * kBands), lr(kSlots), rr(kSlots) {
        for (int n = 0; n < kSlots; ++n) {
            lr[std::size_t(n)] = &l[std::size_t(n * kBands)];
            rr[std::size_t(n)] = &r[std::size_t(n * kBands)];
        }
    }
    cf L(int n, int q) const {
        return {l[std::size_t(n * kBands + q)].re, l[std::size_t(n * kBands + q)].im};
    }
    cf R(int n, int q) const {
        return {r[std::size_t(n * kBands + q)].re, r[std::size_t(n * kBands + q)].im};
    }
};

// A decoder fed with constant parameters: IID index, ICC index, optional IPD/OPD indices.
struct PsSetup {
    int iidMode, iccMode, iid, icc, ipd = -1, opd = 0;
    int iidBand = -1; // >= 0: the IID in this parameter band only, 0 elsewhere
};

void read_constant(PsDecoder& ps, const PsSetup& s) {
    Frame f;
    f.iidMode = s.iidMode;
    f.iccMode = s.iccMode;
    const int n = zemdec::ps::kNrParBands[s.iidMode], m = zemdec::ps::kNrParBands[s.iccMode];
    f.iidV = Values(1, std::vector<int>(std::size_t(n), s.iidBand < 0 ? s.iid : 0));
    if (s.iidBand >= 0)
        f.iidV[0][std::size_t(s.iidBand)] = s.iid;
    f.iccV = Values(1, std::vector<int>(std::size_t(m), s.icc));
    f.iidDt = f.iccDt = {false};
    if (s.ipd >= 0) {
        const int k = zemdec::ps::kNrIpdBands[s.iidMode];
        f.ext = true;
        f.ipdV = Values(1, std::vector<int>(std::size_t(k), s.ipd));
        f.opdV = Values(1, std::vector<int>(std::size_t(k), s.opd));
        f.ipdDt = f.opdDt = {false};
    }
    ASSERT_TRUE(feed(ps, f));
}

// Runs `frames` frames of complex noise, or of source(slot, band), and calls
// check(frame, out, input) on each; the decoder sees kLead slots of the next frame ahead.
template <typename Check, typename Source = std::nullptr_t>
void run(PsDecoder& ps, const PsSetup& s, int frames, Check check, float amplitude = 1.0f,
         Source source = nullptr) {
    std::mt19937 rng(99);
    std::normal_distribution<float> g(0.0f, amplitude);
    const int rows = frames * kSlots + kLead;
    std::vector<Zem32fc> in(std::size_t(rows * kBands));
    for (int n = 0; n < rows; ++n)
        for (int q = 0; q < kBands; ++q) {
            cf v(g(rng), g(rng));
            if constexpr (!std::is_same_v<Source, std::nullptr_t>)
                v = source(n, q);
            in[std::size_t(n * kBands + q)] = {v.real(), v.imag()};
        }
    for (int f = 0; f < frames; ++f) {
        read_constant(ps, s);
        Signal x;
        std::copy_n(in.begin() + f * kSlots * kBands, kSlots * kBands, x.l.begin());
        const Zem32fc* ahead[kLead];
        for (int n = 0; n < kLead; ++n)
            ahead[n] = &in[std::size_t(((f + 1) * kSlots + n) * kBands)];
        ps.apply(x.lr.data(), ahead, x.rr.data(), kBands);
        check(f, x, [&](int n, int q) {
            const Zem32fc v = in[std::size_t((f * kSlots + n) * kBands + q)];
            return cf(v.re, v.im);
        });
    }
}

// Constant parameters over noise, measured from frame 2 on (the first fade in from silence over
// frame 0). ICC 1: the IID alone sets the level ratio, L/R = 10^(IID/20), and L^2 + R^2 = 2 s^2;
// with IID 0 too, both procedures give L = R = s (the hybrid filters sum to a pure delay). IID 0:
// the coherence of L and R follows the ICC (the decorrelated signal has the power of s and no
// correlation with it).
TEST(PsApply, IidSetsTheLevelsAndIccTheCoherence) {
    struct Case {
        PsSetup s;
        double db, rho;
    };
    const Case cases[] = {
        {{1, 1, 0, 0}, 0, 1},       {{1, 4, 0, 0}, 0, 1},       {{2, 2, 0, 0}, 0, 1},
        {{5, 5, 0, 0}, 0, 1},       {{0, 0, 0, 0}, 0, 1},       {{1, 1, 3, 0}, 7, 1},
        {{4, 1, -10, 0}, -25, 1},   {{0, 3, -5, 0}, -14, 1},    {{2, 5, 7, 0}, 25, 1},
        {{5, 2, 15, 0}, 50, 1},     {{1, 1, 0, 1}, 0, 0.937},   {{1, 1, 0, 3}, 0, 0.60092},
        {{1, 1, 0, 5}, 0, 0},       {{1, 1, 0, 7}, 0, -1},      {{2, 2, 0, 2}, 0, 0.84118},
        {{1, 4, 0, 4}, 0, 0.36764}, {{1, 4, 0, 3}, 0, 0.60092},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "modes " << c.s.iidMode << "/" << c.s.iccMode
                                        << ", indices " << c.s.iid << "/" << c.s.icc);
        const bool coherent = c.rho == 1, mono = coherent && c.db == 0;
        PsDecoder ps;
        double el = 0, er = 0, es = 0;
        std::complex<double> cross = 0;
        float worst = 0; // of |L - s| and |R - s| under mono parameters
        run(ps, c.s, coherent ? 4 : 40, [&](int f, const Signal& x, auto input) {
            for (int n = 0; f >= 2 && n < kSlots; ++n)
                for (int q = 0; q < (coherent ? kBands : 60); ++q) {
                    const cf l = x.L(n, q), r = x.R(n, q), s = input(n, q);
                    el += std::norm(l);
                    er += std::norm(r);
                    es += std::norm(s);
                    cross += std::complex<double>(l * std::conj(r));
                    if (mono)
                        worst = std::max({worst, std::abs(l - s), std::abs(r - s)});
                }
        });
        if (coherent) {
            EXPECT_NEAR(10 * std::log10(el / er), c.db, 0.01);
            EXPECT_NEAR((el + er) / es, 2.0, 1e-4);
        } else {
            EXPECT_NEAR(cross.real() / std::sqrt(el * er), c.rho, 0.06);
            EXPECT_NEAR(el / er, 1.0, 0.1);
        }
        EXPECT_LT(worst, 2e-5f);
    }
}

// A tone at a known frequency inside a split QMF band reaches the parameter band of its hybrid
// band (a 25 dB IID there moves it most), and IPD/OPD turn the other way in the bands of
// negative frequency.
TEST(PsApply, SubBandsTakeTheirParametersAndPhases) {
    struct Case {
        const char* name;
        int iidMode, qmf;
        double omega; // radians per slot in the QMF band
        int parBand;
        bool negated;
    };
    constexpr double pi = std::numbers::pi;
    const Case cases[] = {
        {"20: band 0, 8-band q0", 1, 0, pi / 8, 0, false},
        {"20: band 0, 8-band q6", 1, 0, -3 * pi / 8, 1, true},
        {"20: band 0, 8-band q7", 1, 0, -pi / 8, 0, true},
        {"20: band 0, 8-band q2 + q5", 1, 0, 5 * pi / 8, 2, false},
        {"20: band 1, low half of the real filter", 1, 1, 3 * pi / 4, 4, false},
        {"20: band 1, high half", 1, 1, pi / 4, 5, false},
        {"20: band 2, low half", 1, 2, pi / 4, 6, false},
        {"34: band 0, 12-band q1", 2, 0, pi / 4, 1, false},
        {"34: band 0, 12-band q10", 2, 0, -pi / 4, 1, true},
        {"34: band 1, 8-band q0", 2, 1, pi / 8, 10, false},
        {"34: band 1, 8-band q5", 2, 1, -5 * pi / 8, 7, false},
        {"34: band 3, 4-band q1", 2, 3, 3 * pi / 4, 11, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto tone = [&](int t, int q) {
            return q == c.qmf ? std::polar(1.0f, float(c.omega * t)) : cf(0);
        };
        double el = 0, er = 0;
        std::complex<double> cross = 0, turn = 0;
        int from = 2; // the first frame applied in full
        auto measure = [&](int f, const Signal& x, auto input) {
            if (f < from)
                return;
            for (int n = 0; n < kSlots; ++n) {
                el += std::norm(x.L(n, c.qmf));
                er += std::norm(x.R(n, c.qmf));
                cross += std::complex<double>(x.L(n, c.qmf) * std::conj(x.R(n, c.qmf)));
                turn += std::complex<double>(x.L(n, c.qmf) * std::conj(input(n, c.qmf)));
            }
        };
        // The tone leaks into the neighbouring hybrid bands (13-tap filters), so its level ratio
        // is compared across parameter bands: largest with the IID in its own band.
        int loudest = -1;
        double best = 0;
        for (int p = 0; p < zemdec::ps::kNrParBands[c.iidMode]; ++p) {
            PsDecoder level;
            el = er = 0;
            run(level, {c.iidMode, c.iidMode, 7, 0, -1, 0, p}, 4, measure, 0.0f, tone);
            if (loudest < 0 || el / er > best) {
                loudest = p;
                best = el / er;
            }
        }
        EXPECT_EQ(loudest, c.parBand);
        // IPD pi/2, OPD pi/4: L turns by the OPD, R by OPD - IPD. The smoothing over three
        // envelopes settles after two frames, the interpolation after one more.
        PsDecoder phase;
        from = 4;
        cross = turn = 0;
        run(phase, {c.iidMode, c.iidMode, 0, 0, 2, 1}, 6, measure, 0.0f, tone);
        const double sign = c.negated ? -1 : 1;
        EXPECT_NEAR(std::arg(cross), sign * pi / 2, 0.2);
        EXPECT_NEAR(std::arg(turn), sign * pi / 4, 0.2);
    }
}

// Silence in, silence out; a burst after silence (transient attenuation at work) stays finite.
TEST(PsApply, SilenceAndBurstsStayFinite) {
    for (const PsSetup& s :
         {PsSetup{1, 1, -7, 4, 3, 5}, PsSetup{5, 5, 15, 7}, PsSetup{2, 3, 0, 5}}) {
        PsDecoder ps;
        run(
            ps, s, 3,
            [&](int, const Signal& x, auto) {
                for (int i = 0; i < kSlots * kBands; ++i) {
                    ASSERT_EQ(x.l[std::size_t(i)].re, 0.0f);
                    ASSERT_EQ(x.r[std::size_t(i)].im, 0.0f);
                }
            },
            0.0f);
        run(
            ps, s, 3,
            [&](int, const Signal& x, auto) {
                for (int i = 0; i < kSlots * kBands; ++i)
                    ASSERT_TRUE(std::isfinite(x.l[std::size_t(i)].re + x.l[std::size_t(i)].im +
                                              x.r[std::size_t(i)].re + x.r[std::size_t(i)].im));
            },
            3e4f);
    }
}

} // namespace
