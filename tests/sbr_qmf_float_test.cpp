// The floating-point SBR QMF banks against a double-precision evaluation of their defining sums,
// slot by slot (relative RMS at most 1e-6), on noise, sines and full-scale input; slots split
// over calls of any size give the same bits; the round trips through analysis and synthesis;
// the known answers of the layout (sizes, tags, delay index) and of single impulses.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

#include "sbr/qmf_float.hpp"
#include "support/sbr_qmf_model.hpp"
#include "support/seed.hpp"
#include "support/simd_kernels.hpp"
#include "zemac.h"

namespace {

using cplx = std::complex<double>;

// A state block (with the init and work buffers) placed at an odd address, so that nothing
// depends on alignment.
struct Block {
    std::vector<uint8_t> spec, init, work;
    Block(int32_t s, int32_t i, int32_t w) : spec(s + 3), init(i + 3), work(w + 3) {}
    uint8_t* mem() { return spec.data() + 3; }
    uint8_t* scratch() { return init.data() + 3; }
    uint8_t* buf() { return work.data() + 3; }
};

double rel_rms(const double* got, const double* want, int n) {
    double e = 0, p = 0;
    for (int i = 0; i < n; ++i) {
        e += (got[i] - want[i]) * (got[i] - want[i]);
        p += want[i] * want[i];
    }
    return p == 0 ? std::sqrt(e) : std::sqrt(e / p);
}

enum class Signal { Noise, Sines, FullScale };

std::vector<float> signal(Signal kind, int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    std::vector<float> x(n);
    for (int i = 0; i < n; ++i) {
        switch (kind) {
        case Signal::Noise:
            x[i] = 0.3f * d(rng);
            break;
        case Signal::Sines:
            x[i] = float(0.5 * std::sin(0.0123 * i) + 0.25 * std::sin(1.777 * i + 0.3));
            break;
        case Signal::FullScale:
            x[i] = (i / 7) % 2 ? 32767.0f : -32768.0f;
            break;
        }
    }
    return x;
}

// ---- analysis ----

enum class AKind { Interleaved, Split, Real };

struct Analysis {
    AKind kind;
    Block b;
    ZemSbrAnalysisSpec_32f* s = nullptr;
    static Block block(AKind k) {
        int32_t sz[3];
        if (k == AKind::Real)
            zemsAnalysisFilterGetSize_SBR_RToR_32f(&sz[0], &sz[1], &sz[2]);
        else
            zemsAnalysisFilterGetSize_SBR_RToC_32f(&sz[0], &sz[1], &sz[2]);
        return Block(sz[0], sz[1], sz[2]);
    }
    explicit Analysis(AKind k) : kind(k), b(block(k)) {
        const auto init = k == AKind::Interleaved ? zemsAnalysisFilterInit_SBR_RToC_32f32fc
                          : k == AKind::Split     ? zemsAnalysisFilterInit_SBR_RToC_32f
                                                  : zemsAnalysisFilterInit_SBR_RToR_32f;
        EXPECT_EQ(init(&s, b.mem(), b.scratch()), zemStatusOk);
    }
    // Runs `slots` slots; rows[l] receives 64 values (interleaved complex, or 32 real).
    ZemStatus run(const float* src, const float* w, int slots, int numBands,
                  std::vector<std::vector<float>>& rows, int first = 0) {
        std::vector<Zem32fc*> c;
        std::vector<float*> re, im;
        std::vector<std::vector<float>> reRows(rows.size(), std::vector<float>(32)),
            imRows = reRows;
        for (std::size_t l = 0; l < rows.size(); ++l) {
            c.push_back(reinterpret_cast<Zem32fc*>(rows[l].data()));
            re.push_back(kind == AKind::Real ? rows[l].data() : reRows[l].data());
            im.push_back(imRows[l].data());
        }
        ZemStatus st;
        switch (kind) {
        case AKind::Interleaved:
            return zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(src, c.data(), w, slots, first, numBands,
                                                           s, b.buf());
        case AKind::Real:
            return zemsAnalysisFilter_SBR_RToR_32f_D2L(src, re.data(), w, slots, first, numBands, s,
                                                       b.buf());
        case AKind::Split:
            st = zemsAnalysisFilter_SBR_RToC_32f_D2L(src, re.data(), im.data(), w, slots, first,
                                                     numBands, s, b.buf());
            for (std::size_t l = first; l < rows.size() && int(l) < first + slots; ++l)
                for (int k = 0; k < 32; ++k) {
                    rows[l][2 * k] = reRows[l][k];
                    rows[l][2 * k + 1] = imRows[l][k];
                }
            return st;
        }
        return zemStatusFailed;
    }
};

std::vector<float> even_window() {
    std::vector<float> w(320);
    for (int i = 0; i < 320; ++i)
        w[i] = float(zemtest::qmf_window_even()[i]);
    return w;
}

class AnalysisBank : public ::testing::TestWithParam<AKind> {};

TEST_P(AnalysisBank, MatchesTheDefiningSumsAndAnyCallSplit) {
    const AKind kind = GetParam();
    const std::vector<float> w = even_window();
    const std::vector<double> wd(w.begin(), w.end());
    constexpr int kSlots = 48;
    for (Signal sig : {Signal::Noise, Signal::Sines, Signal::FullScale}) {
        const std::vector<float> x = signal(sig, 32 * kSlots, zemtest::seed() + int(sig));
        Analysis whole(kind), pieces(kind);
        std::vector<std::vector<float>> rows(kSlots, std::vector<float>(64)), rows2 = rows;
        ASSERT_EQ(whole.run(x.data(), w.data(), kSlots, 32, rows), zemStatusOk);
        for (int l = 0, step = 1; l < kSlots; l += step, step = step % 5 + 1) {
            const int n = std::min(step, kSlots - l);
            ASSERT_EQ(pieces.run(x.data() + 32 * l, w.data(), n, 32, rows2, l), zemStatusOk);
        }
        zemtest::QmfAnalysisModel model(wd);
        double worst = 0;
        for (int l = 0; l < kSlots; ++l) {
            ASSERT_EQ(rows[l], rows2[l]) << "slot " << l;
            double src[32], got[64], want[64];
            cplx c[32];
            double r[32];
            for (int j = 0; j < 32; ++j)
                src[j] = x[32 * l + j];
            model.slot(src, c, r);
            const int n = kind == AKind::Real ? 32 : 64;
            for (int k = 0; k < 32; ++k) {
                if (kind == AKind::Real) {
                    want[k] = r[k];
                } else {
                    want[2 * k] = c[k].real();
                    want[2 * k + 1] = c[k].imag();
                }
            }
            for (int i = 0; i < n; ++i)
                got[i] = rows[l][i];
            if (l > 0) // the first slot sees mostly the silent history
                worst = std::max(worst, rel_rms(got, want, n));
        }
        EXPECT_LE(worst, 1e-6) << "signal " << int(sig);
    }
}

TEST_P(AnalysisBank, ImpulseBandLimitRowsAndEmptyCalls) {
    const AKind kind = GetParam();
    std::vector<float> w(320, 0.0f), x(32 * 3, 0.0f);
    w[0] = 1.0f;
    x[31] = 1.0f;
    Analysis a(kind);
    std::vector<std::vector<float>> rows(5, std::vector<float>(64, 7.0f));
    ASSERT_EQ(a.run(x.data(), w.data(), 0, 32, rows, 2), zemStatusOk);
    ASSERT_EQ(a.run(x.data(), w.data(), -1, 32, rows, 2), zemStatusOk);
    EXPECT_EQ(rows, std::vector<std::vector<float>>(5, std::vector<float>(64, 7.0f)));
    ASSERT_EQ(a.run(x.data(), w.data(), 3, 32, rows, 2), zemStatusOk);
    EXPECT_EQ(rows[0], std::vector<float>(64, 7.0f));
    EXPECT_EQ(rows[1], std::vector<float>(64, 7.0f));
    for (int k = 0; k < 32; ++k) {
        const double angle = -std::numbers::pi * (k + 0.5) / 128;
        if (kind == AKind::Real) {
            EXPECT_NEAR(rows[2][k], -2 * std::cos(std::numbers::pi * (2 * k + 1) / 4), 1e-6);
        } else {
            EXPECT_NEAR(rows[2][2 * k], 2 * std::cos(angle), 1e-6) << k;
            EXPECT_NEAR(rows[2][2 * k + 1], 2 * std::sin(angle), 1e-6) << k;
        }
    }
    // numBands 10 zeroes bands 10..31 (both parts), 0 the whole row; the line still advances.
    const std::vector<float> noise = signal(Signal::Noise, 64, 5);
    Analysis full(kind), cut(kind);
    std::vector<std::vector<float>> r1(2, std::vector<float>(64)), r2 = r1;
    full.run(noise.data(), even_window().data(), 2, 32, r1);
    cut.run(noise.data(), even_window().data(), 1, 10, r2);
    cut.run(noise.data() + 32, even_window().data(), 1, 0, r2, 1);
    const int per = kind == AKind::Real ? 1 : 2;
    for (int i = 0; i < 32 * per; ++i) {
        EXPECT_EQ(r2[0][i], i < 10 * per ? r1[0][i] : 0.0f) << i;
        EXPECT_EQ(r2[1][i], 0.0f);
    }
    EXPECT_EQ(cut.run(noise.data(), w.data(), 1, 33, r2), zemStatusBadSize);
    EXPECT_EQ(cut.run(noise.data(), w.data(), 1, -1, r2), zemStatusBadSize);
}

INSTANTIATE_TEST_SUITE_P(Variants, AnalysisBank,
                         ::testing::Values(AKind::Interleaved, AKind::Split, AKind::Real));

// ---- synthesis ----

struct SynthesisVariant {
    int bands;
    int input; // 0 split complex, 1 interleaved complex, 2 real
    int32_t size[3];
    uint32_t tag;
};

struct Synthesis {
    SynthesisVariant v;
    Block b;
    void* s = nullptr;
    explicit Synthesis(const SynthesisVariant& var)
        : v(var), b(var.size[0], var.size[1], var.size[2]) {
        EXPECT_EQ(init(), zemStatusOk);
    }
    ZemStatus init() {
        ZemSbrSynthesisSpec_32f* full = nullptr;
        ZemSbrSynthesisDownSpec_32f* down = nullptr;
        uint8_t* m = b.mem();
        uint8_t* scratch = b.scratch();
        ZemStatus st;
        switch (v.bands == 64 ? v.input : 3 + v.input) {
        case 0:
            st = zemsSynthesisFilterInit_SBR_CToR_32f(&full, m, scratch);
            break;
        case 1:
            st = zemsSynthesisFilterInit_SBR_CToR_32fc32f(&full, m, scratch);
            break;
        case 2:
            st = zemsSynthesisFilterInit_SBR_RToR_32f(&full, m, scratch);
            break;
        case 3:
            st = zemsSynthesisDownFilterInit_SBR_CToR_32f(&down, m, scratch);
            break;
        case 4:
            st = zemsSynthesisDownFilterInit_SBR_CToR_32fc32f(&down, m, scratch);
            break;
        default:
            st = zemsSynthesisDownFilterInit_SBR_RToR_32f(&down, m, scratch);
            break;
        }
        s = full != nullptr ? static_cast<void*>(full) : static_cast<void*>(down);
        return st;
    }
    int32_t index() const { return static_cast<const int32_t*>(s)[2]; }
    // rows: `slots` rows of 2 * bands floats (interleaved complex; the real bank reads the first
    // half as its row).
    ZemStatus run(const std::vector<std::vector<float>>& rows, const float* w, float* out,
                  int slots) {
        std::vector<const float*> re, im;
        std::vector<const Zem32fc*> c;
        std::vector<std::vector<float>> split(2 * rows.size(), std::vector<float>(v.bands));
        for (std::size_t l = 0; l < rows.size(); ++l) {
            for (int k = 0; k < v.bands; ++k) {
                split[2 * l][k] = rows[l][2 * k];
                split[2 * l + 1][k] = rows[l][2 * k + 1];
            }
            re.push_back(v.input == 2 ? rows[l].data() : split[2 * l].data());
            im.push_back(split[2 * l + 1].data());
            c.push_back(reinterpret_cast<const Zem32fc*>(rows[l].data()));
        }
        auto* full = static_cast<ZemSbrSynthesisSpec_32f*>(s);
        auto* down = static_cast<ZemSbrSynthesisDownSpec_32f*>(s);
        if (v.bands == 64) {
            if (v.input == 0)
                return zemsSynthesisFilter_SBR_CToR_32f_D2L(re.data(), im.data(), out, w, slots,
                                                            full, b.buf());
            if (v.input == 1)
                return zemsSynthesisFilter_SBR_CToR_32fc32f_D2L(c.data(), out, w, slots, full,
                                                                b.buf());
            return zemsSynthesisFilter_SBR_RToR_32f_D2L(re.data(), out, w, slots, full, b.buf());
        }
        if (v.input == 0)
            return zemsSynthesisDownFilter_SBR_CToR_32f_D2L(re.data(), im.data(), out, w, slots,
                                                            down, b.buf());
        if (v.input == 1)
            return zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(c.data(), out, w, slots, down,
                                                                b.buf());
        return zemsSynthesisDownFilter_SBR_RToR_32f_D2L(re.data(), out, w, slots, down, b.buf());
    }
};

std::vector<float> synthesis_window(int bands) {
    const std::vector<double> c = bands == 64 ? zemtest::qmf_window() : zemtest::qmf_window_even();
    return std::vector<float>(c.begin(), c.end());
}

class SynthesisBank : public ::testing::TestWithParam<SynthesisVariant> {};

TEST_P(SynthesisBank, SizesTagAndDelayIndex) {
    const SynthesisVariant v = GetParam();
    using GetSize = ZemStatus (*)(int32_t*, int32_t*, int32_t*);
    const GetSize sizes[2][3] = {{zemsSynthesisDownFilterGetSize_SBR_CToR_32f,
                                  zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f,
                                  zemsSynthesisDownFilterGetSize_SBR_RToR_32f},
                                 {zemsSynthesisFilterGetSize_SBR_CToR_32f,
                                  zemsSynthesisFilterGetSize_SBR_CToR_32fc32f,
                                  zemsSynthesisFilterGetSize_SBR_RToR_32f}};
    int32_t got[3];
    ASSERT_EQ(sizes[v.bands == 64][v.input](&got[0], &got[1], &got[2]), zemStatusOk);
    EXPECT_EQ(std::vector<int32_t>(got, got + 3), std::vector<int32_t>(v.size, v.size + 3));
    Synthesis s(v);
    EXPECT_EQ(*static_cast<const uint32_t*>(s.s), v.tag);
    const std::vector<std::vector<float>> rows(3, std::vector<float>(128, 0.25f));
    std::vector<float> out(3 * v.bands);
    ASSERT_EQ(s.run(rows, synthesis_window(v.bands).data(), out.data(), 3), zemStatusOk);
    EXPECT_EQ(s.index(), v.bands == 64 ? 896 : 448);
    std::vector<float> before = out;
    ASSERT_EQ(s.run(rows, synthesis_window(v.bands).data(), out.data(), 0), zemStatusOk);
    EXPECT_EQ(out, before);
    EXPECT_EQ(s.index(), v.bands == 64 ? 896 : 448);
}

TEST_P(SynthesisBank, MatchesTheDefiningSumsAndAnyCallSplit) {
    const SynthesisVariant v = GetParam();
    const std::vector<float> w = synthesis_window(v.bands);
    constexpr int kSlots = 40;
    for (Signal sig : {Signal::Noise, Signal::Sines, Signal::FullScale}) {
        const std::vector<float> x = signal(sig, 128 * kSlots, zemtest::seed() + 7 * int(sig));
        std::vector<std::vector<float>> rows(kSlots);
        for (int l = 0; l < kSlots; ++l)
            rows[l].assign(x.begin() + 128 * l, x.begin() + 128 * (l + 1));
        Synthesis whole(v), pieces(v);
        std::vector<float> y(v.bands * kSlots), y2(y.size());
        ASSERT_EQ(whole.run(rows, w.data(), y.data(), kSlots), zemStatusOk);
        for (int l = 0, step = 1; l < kSlots; l += step, step = step % 4 + 1) {
            const int n = std::min(step, kSlots - l);
            const std::vector<std::vector<float>> part(rows.begin() + l, rows.begin() + l + n);
            ASSERT_EQ(pieces.run(part, w.data(), y2.data() + v.bands * l, n), zemStatusOk);
        }
        EXPECT_EQ(y, y2);
        zemtest::QmfSynthesisModel model(v.bands, std::vector<double>(w.begin(), w.end()));
        double worst = 0;
        for (int l = 0; l < kSlots; ++l) {
            double want[64], got[64];
            if (v.input == 2) {
                const std::vector<double> X(rows[l].begin(), rows[l].begin() + v.bands);
                model.slot_real(X.data(), want, 1.0 / 32);
            } else {
                std::vector<cplx> X(v.bands);
                for (int k = 0; k < v.bands; ++k)
                    X[k] = cplx(rows[l][2 * k], rows[l][2 * k + 1]);
                model.slot_complex(X.data(), want, 1.0 / 64);
            }
            for (int n = 0; n < v.bands; ++n)
                got[n] = y[v.bands * l + n];
            if (l >= 9) // from the tenth slot on, the whole window sees signal
                worst = std::max(worst, rel_rms(got, want, v.bands));
        }
        EXPECT_LE(worst, 1e-6) << "signal " << int(sig);
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, SynthesisBank,
                         ::testing::Values(SynthesisVariant{64, 0, {5295, 4, 4}, 0x434D415A},
                                           SynthesisVariant{64, 1, {5295, 4, 4}, 0x434D4159},
                                           SynthesisVariant{64, 2, {5951, 4, 292}, 0x434D415B},
                                           SynthesisVariant{32, 0, {3375, 4, 548}, 0x434D415D},
                                           SynthesisVariant{32, 1, {3375, 4, 548}, 0x434D415C},
                                           SynthesisVariant{32, 2, {3119, 4, 164}, 0x434D415E}));

TEST(SbrQmfFloat, AnalysisSizesAndForeignStates) {
    int32_t s[3];
    ASSERT_EQ(zemsAnalysisFilterGetSize_SBR_RToC_32f32fc(&s[0], &s[1], &s[2]), zemStatusOk);
    EXPECT_EQ(std::vector<int32_t>(s, s + 3), (std::vector<int32_t>{1455, 4, 4}));
    ASSERT_EQ(zemsAnalysisFilterGetSize_SBR_RToR_32f(&s[0], &s[1], &s[2]), zemStatusOk);
    EXPECT_EQ(std::vector<int32_t>(s, s + 3), (std::vector<int32_t>{1839, 4, 164}));
    Analysis real(AKind::Real);
    EXPECT_EQ(*reinterpret_cast<const uint32_t*>(real.s), 0x434D4158u);
    std::vector<float> x(32), w(320);
    std::vector<std::vector<float>> rows(1, std::vector<float>(64));
    Analysis wrong(AKind::Interleaved);
    wrong.s = real.s;
    EXPECT_EQ(wrong.run(x.data(), w.data(), 1, 32, rows), zemStatusContextMismatch);
    SynthesisVariant down{32, 1, {3375, 4, 548}, 0}, full{64, 1, {5295, 4, 4}, 0};
    Synthesis d(down), f(full);
    f.s = d.s;
    std::vector<float> out(64);
    EXPECT_EQ(
        f.run(std::vector<std::vector<float>>(1, std::vector<float>(128)), w.data(), out.data(), 1),
        zemStatusContextMismatch);
}

// y[n] = c[n] / 64 cos(pi/2 (2n - 255)/128) for X[0] = 1 into a fresh 64-band complex state.
TEST(SbrQmfFloat, SynthesisImpulse) {
    Synthesis s(SynthesisVariant{64, 1, {5295, 4, 4}, 0});
    std::vector<std::vector<float>> rows(1, std::vector<float>(128, 0.0f));
    rows[0][0] = 1.0f;
    const std::vector<float> w = synthesis_window(64);
    std::vector<float> y(64);
    ASSERT_EQ(s.run(rows, w.data(), y.data(), 1), zemStatusOk);
    for (int n = 0; n < 64; ++n)
        EXPECT_NEAR(y[n], w[n] / 64 * std::cos(std::numbers::pi * 0.5 * (2 * n - 255) / 128), 1e-9)
            << n;
}

// Analysis then synthesis gives the input back, delayed: 32 bands into 32 (same rate) and into
// 64 with the upper bands silent (twice the rate). Measured on noise from the second half.
double round_trip_db(int synthBands, int* delay) {
    constexpr int kSlots = 200;
    const std::vector<float> x = signal(Signal::Noise, 32 * kSlots, zemtest::seed());
    Analysis a(AKind::Interleaved);
    std::vector<std::vector<float>> rows(kSlots, std::vector<float>(128, 0.0f));
    a.run(x.data(), even_window().data(), kSlots, 32, rows);
    Synthesis s(synthBands == 64 ? SynthesisVariant{64, 1, {5295, 4, 4}, 0}
                                 : SynthesisVariant{32, 1, {3375, 4, 548}, 0});
    std::vector<float> y(synthBands * kSlots);
    s.run(rows, synthesis_window(synthBands).data(), y.data(), kSlots);
    // The 64-band output runs at twice the rate: its samples 2i + delay are the input's.
    const int ratio = synthBands / 32;
    double best = 1e9;
    for (int d = 0; d < 1400; ++d) {
        double e = 0, p = 0;
        for (int i = 16 * kSlots; i < 30 * kSlots; ++i) {
            const int j = ratio * i + d;
            if (j >= int(y.size()))
                break;
            e += (y[j] - x[i]) * (y[j] - x[i]);
            p += double(x[i]) * x[i];
        }
        const double db = 10 * std::log10(e / p);
        if (db < best) {
            best = db;
            *delay = d;
        }
    }
    return best;
}

TEST(SbrQmfFloat, RoundTrips) {
    int delay = 0;
    EXPECT_LE(round_trip_db(32, &delay), -58.0);
    EXPECT_EQ(delay, 289);
    EXPECT_LE(round_trip_db(64, &delay), -58.0);
    EXPECT_EQ(delay, 578);
}

TEST(SbrQmfFloat, WindowKernelsAgreeToTheBit) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    std::vector<float> line(1280), window(640);
    for (float& v : line)
        v = d(rng);
    for (float& v : window)
        v = d(rng);
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::sbr::kQmfWindowSse2, zem::sbr::kQmfWindowAvx2);
    for (const auto& k : simd) {
        for (int32_t index = 0; index < 320; index += 32) {
            float a[64], b[64];
            zem::sbr::kQmfWindowScalar.fold(line.data(), index, window.data(), a);
            k.fold(line.data(), index, window.data(), b);
            EXPECT_EQ(0, std::memcmp(a, b, sizeof a)) << index;
        }
        for (int32_t bands : {32, 64})
            for (int32_t index = 0; index < 20 * bands; index += 2 * bands) {
                float a[64], b[64];
                zem::sbr::kQmfWindowScalar.output(line.data(), index, bands, window.data(), a);
                k.output(line.data(), index, bands, window.data(), b);
                EXPECT_EQ(0, std::memcmp(a, b, bands * sizeof(float))) << bands << " " << index;
            }
    }
}

TEST(SbrQmfFloat, RotationKernelsAgreeToTheBit) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    alignas(16) float in[2][128];
    for (auto& row : in)
        for (float& v : row)
            v = d(rng);
    const auto& s = zem::sbr::kQmfRotationScalar;
    const auto& v = zem::sbr::kQmfRotationSse2;
    const auto same = [](const float* a, const float* b, int n) {
        return std::memcmp(a, b, n * sizeof(float)) == 0;
    };
    alignas(16) float a[128], b[128];
    s.analysis_pre(in[0], a);
    v.analysis_pre(in[0], b);
    EXPECT_TRUE(same(a, b, 64));
    s.analysis_post(in[0], a);
    v.analysis_post(in[0], b);
    EXPECT_TRUE(same(a, b, 64));
    for (bool reversed : {false, true}) {
        s.dct4_pre(in[0], reversed, a);
        v.dct4_pre(in[0], reversed, b);
        EXPECT_TRUE(same(a, b, 64)) << reversed;
    }
    s.dct4_combine(in[0], in[1], a);
    v.dct4_combine(in[0], in[1], b);
    EXPECT_TRUE(same(a, b, 128));
    s.down_pre(in[0], in[1], a);
    v.down_pre(in[0], in[1], b);
    EXPECT_TRUE(same(a, b, 128));
    s.down_post(in[0], a);
    v.down_post(in[0], b);
    EXPECT_TRUE(same(a, b, 64));
}

} // namespace
