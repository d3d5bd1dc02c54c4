// The floating-point SBR QMF banks against a double-precision evaluation of their defining sums,
// slot by slot (relative RMS at most 1e-6), on noise, sines and full-scale input; slots split
// over calls of any size (empty ones too) give the same bits; the round trips through analysis
// and synthesis; the documented sizes, each bank refusing the others' states, and the known
// answers of single impulses.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <memory>
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
using Rows = std::vector<std::vector<float>>;
using GetSize = ZemStatus (*)(int32_t*, int32_t*, int32_t*);

// A state block (with the init and work buffers) placed at an odd address, so that nothing
// depends on alignment.
struct Block {
    std::vector<uint8_t> spec, init, work;
    Block(int32_t s, int32_t i, int32_t w) : spec(s + 3), init(i + 3), work(w + 3) {}
    uint8_t* mem() { return spec.data() + 3; }
    uint8_t* scratch() { return init.data() + 3; }
    uint8_t* buf() { return work.data() + 3; }
};

Block block(GetSize get) {
    int32_t sz[3];
    EXPECT_EQ(get(&sz[0], &sz[1], &sz[2]), zemStatusOk);
    return Block(sz[0], sz[1], sz[2]);
}

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
    for (int i = 0; i < n; ++i)
        x[i] = kind == Signal::Noise ? 0.3f * d(rng)
               : kind == Signal::Sines
                   ? float(0.5 * std::sin(0.0123 * i) + 0.25 * std::sin(1.777 * i + 0.3))
                   : ((i / 7) % 2 ? 32767.0f : -32768.0f);
    return x;
}

// ---- analysis ----

enum class AKind { Interleaved, Split, Real };

struct Analysis {
    AKind kind;
    Block b;
    void* s = nullptr;
    explicit Analysis(AKind k)
        : kind(k), b(block(k == AKind::Real ? zemsAnalysisFilterGetSize_SBR_RToR_32f
                                            : zemsAnalysisFilterGetSize_SBR_RToC_32f)) {
        const auto init = k == AKind::Interleaved ? zemsAnalysisFilterInit_SBR_RToC_32f32fc
                          : k == AKind::Split     ? zemsAnalysisFilterInit_SBR_RToC_32f
                                                  : zemsAnalysisFilterInit_SBR_RToR_32f;
        ZemSbrAnalysisSpec_32f* spec = nullptr;
        EXPECT_EQ(init(&spec, b.mem(), b.scratch()), zemStatusOk);
        s = spec;
    }
    // Runs `slots` slots; rows[l] receives 64 values (interleaved complex, or 32 real).
    ZemStatus run(const float* src, const float* w, int slots, int numBands, Rows& rows,
                  int first = 0) {
        std::vector<Zem32fc*> c;
        std::vector<float*> re, im;
        Rows reRows(rows.size(), std::vector<float>(32)), imRows = reRows;
        auto* spec = static_cast<ZemSbrAnalysisSpec_32f*>(s);
        for (std::size_t l = 0; l < rows.size(); ++l) {
            c.push_back(reinterpret_cast<Zem32fc*>(rows[l].data()));
            re.push_back(kind == AKind::Real ? rows[l].data() : reRows[l].data());
            im.push_back(imRows[l].data());
        }
        ZemStatus st;
        switch (kind) {
        case AKind::Interleaved:
            return zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(src, c.data(), w, slots, first, numBands,
                                                           spec, b.buf());
        case AKind::Real:
            return zemsAnalysisFilter_SBR_RToR_32f_D2L(src, re.data(), w, slots, first, numBands,
                                                       spec, b.buf());
        case AKind::Split:
            st = zemsAnalysisFilter_SBR_RToC_32f_D2L(src, re.data(), im.data(), w, slots, first,
                                                     numBands, spec, b.buf());
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

// The 640-tap window of the 64-band synthesis, or its even taps for the 32-band banks.
std::vector<float> window(int bands) {
    const std::vector<double> c = bands == 64 ? zemtest::qmf_window() : zemtest::qmf_window_even();
    return std::vector<float>(c.begin(), c.end());
}

class AnalysisBank : public ::testing::TestWithParam<AKind> {};

// With random window taps, which the bank must take from its argument.
TEST_P(AnalysisBank, MatchesTheDefiningSumsAndAnyCallSplit) {
    const AKind kind = GetParam();
    const std::vector<float> w = signal(Signal::Noise, 320, zemtest::seed() + 3);
    constexpr int kSlots = 48;
    for (Signal sig : {Signal::Noise, Signal::Sines, Signal::FullScale}) {
        const std::vector<float> x = signal(sig, 32 * kSlots, zemtest::seed() + int(sig));
        Analysis whole(kind), pieces(kind);
        Rows rows(kSlots, std::vector<float>(64)), rows2 = rows;
        ASSERT_EQ(whole.run(x.data(), w.data(), kSlots, 32, rows), zemStatusOk);
        for (int l = 0, step = 1; l < kSlots; l += step, step = step % 5 + 1) {
            const int n = std::min(step, kSlots - l);
            ASSERT_EQ(pieces.run(x.data() + 32 * l, w.data(), n, 32, rows2, l), zemStatusOk);
        }
        zemtest::QmfAnalysisModel model(std::vector<double>(w.begin(), w.end()));
        double worst = 0;
        for (int l = 0; l < kSlots; ++l) {
            ASSERT_EQ(rows[l], rows2[l]) << "slot " << l;
            double src[32], r[32];
            cplx c[32];
            std::copy_n(x.begin() + 32 * l, 32, src);
            model.slot(src, c, r);
            const int n = kind == AKind::Real ? 32 : 64;
            const std::vector<double> got(rows[l].begin(), rows[l].begin() + n);
            const double* want = kind == AKind::Real ? r : reinterpret_cast<const double*>(c);
            if (l > 0) // the first slot sees mostly the silent history
                worst = std::max(worst, rel_rms(got.data(), want, n));
        }
        EXPECT_LE(worst, 1e-6) << "signal " << int(sig);
    }
}

// Calls of no slots write nothing and leave the state alone; the rows before the slot offset
// are not written.
TEST_P(AnalysisBank, OffsetsBandLimitAndEmptyCalls) {
    const AKind kind = GetParam();
    const std::vector<float> x = signal(Signal::Noise, 32 * 3, 9);
    Analysis a(kind);
    const Rows untouched(5, std::vector<float>(64, 7.0f));
    Rows rows = untouched;
    ASSERT_EQ(a.run(x.data(), window(32).data(), 0, 32, rows, 2), zemStatusOk);
    ASSERT_EQ(a.run(x.data(), window(32).data(), -1, 32, rows, 2), zemStatusOk);
    EXPECT_EQ(rows, untouched);
    ASSERT_EQ(a.run(x.data(), window(32).data(), 3, 32, rows, 2), zemStatusOk);
    Analysis fresh(kind); // what the empty calls must not have changed
    Rows want(untouched.begin(), untouched.begin() + 3);
    ASSERT_EQ(fresh.run(x.data(), window(32).data(), 3, 32, want), zemStatusOk);
    want.insert(want.begin(), untouched.begin(), untouched.begin() + 2);
    EXPECT_EQ(rows, want);
    // numBands 10 zeroes bands 10..31 (both parts), 0 the whole row; the line still advances.
    const std::vector<float> noise = signal(Signal::Noise, 64, 5);
    Analysis full(kind), cut(kind);
    Rows r1(2, std::vector<float>(64)), r2 = r1;
    full.run(noise.data(), window(32).data(), 2, 32, r1);
    cut.run(noise.data(), window(32).data(), 1, 10, r2);
    cut.run(noise.data() + 32, window(32).data(), 1, 0, r2, 1);
    const int per = kind == AKind::Real ? 1 : 2;
    for (int i = 0; i < 32 * per; ++i) {
        EXPECT_EQ(r2[0][i], i < 10 * per ? r1[0][i] : 0.0f) << i;
        EXPECT_EQ(r2[1][i], 0.0f);
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, AnalysisBank,
                         ::testing::Values(AKind::Interleaved, AKind::Split, AKind::Real));

// ---- synthesis ----

struct SynthesisVariant {
    int bands;
    int input; // 0 split complex, 1 interleaved complex, 2 real
};

constexpr GetSize kSynthesisSizes[2][3] = {
    {zemsSynthesisDownFilterGetSize_SBR_CToR_32f, zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f,
     zemsSynthesisDownFilterGetSize_SBR_RToR_32f},
    {zemsSynthesisFilterGetSize_SBR_CToR_32f, zemsSynthesisFilterGetSize_SBR_CToR_32fc32f,
     zemsSynthesisFilterGetSize_SBR_RToR_32f}};

struct Synthesis {
    SynthesisVariant v;
    Block b;
    void* s = nullptr;
    explicit Synthesis(const SynthesisVariant& var)
        : v(var), b(block(kSynthesisSizes[var.bands == 64][var.input])) {
        using Full = ZemStatus (*)(ZemSbrSynthesisSpec_32f**, uint8_t*, uint8_t*);
        using Down = ZemStatus (*)(ZemSbrSynthesisDownSpec_32f**, uint8_t*, uint8_t*);
        constexpr Full full[3] = {zemsSynthesisFilterInit_SBR_CToR_32f,
                                  zemsSynthesisFilterInit_SBR_CToR_32fc32f,
                                  zemsSynthesisFilterInit_SBR_RToR_32f};
        constexpr Down down[3] = {zemsSynthesisDownFilterInit_SBR_CToR_32f,
                                  zemsSynthesisDownFilterInit_SBR_CToR_32fc32f,
                                  zemsSynthesisDownFilterInit_SBR_RToR_32f};
        ZemSbrSynthesisSpec_32f* f = nullptr;
        ZemSbrSynthesisDownSpec_32f* d = nullptr;
        EXPECT_EQ(v.bands == 64 ? full[v.input](&f, b.mem(), b.scratch())
                                : down[v.input](&d, b.mem(), b.scratch()),
                  zemStatusOk);
        s = v.bands == 64 ? static_cast<void*>(f) : static_cast<void*>(d);
    }
    // rows: `slots` rows of 2 * bands floats (interleaved complex; the real bank reads the first
    // half as its row).
    ZemStatus run(const Rows& rows, const float* w, float* out, int slots) {
        std::vector<const float*> re, im;
        std::vector<const Zem32fc*> c;
        Rows split(2 * rows.size(), std::vector<float>(v.bands));
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

class SynthesisBank : public ::testing::TestWithParam<SynthesisVariant> {};

// With random window taps, which the bank must take from its argument.
TEST_P(SynthesisBank, MatchesTheDefiningSumsAndAnyCallSplit) {
    const SynthesisVariant v = GetParam();
    const std::vector<float> w = signal(Signal::Noise, 10 * v.bands, zemtest::seed() + 5);
    constexpr int kSlots = 40;
    for (Signal sig : {Signal::Noise, Signal::Sines, Signal::FullScale}) {
        const std::vector<float> x = signal(sig, 128 * kSlots, zemtest::seed() + 7 * int(sig));
        Rows rows(kSlots);
        for (int l = 0; l < kSlots; ++l)
            rows[l].assign(x.begin() + 128 * l, x.begin() + 128 * (l + 1));
        Synthesis whole(v), pieces(v);
        std::vector<float> y(v.bands * kSlots), y2(y.size());
        ASSERT_EQ(whole.run(rows, w.data(), y.data(), kSlots), zemStatusOk);
        // Steps of 0 to 4 slots; an empty call leaves the state and the output alone.
        for (int l = 0, step = 0; l < kSlots; l += step, step = (step + 1) % 5) {
            const int n = std::min(step, kSlots - l);
            const Rows part(rows.begin() + l, rows.begin() + std::min(l + n + 1, kSlots));
            ASSERT_EQ(pieces.run(part, w.data(), y2.data() + v.bands * l, n), zemStatusOk);
        }
        ASSERT_EQ(pieces.run(rows, w.data(), y2.data(), 0), zemStatusOk);
        EXPECT_EQ(y, y2);
        zemtest::QmfSynthesisModel model(v.bands, std::vector<double>(w.begin(), w.end()));
        double worst = 0;
        for (int l = 0; l < kSlots; ++l) {
            double want[64];
            if (v.input == 2) {
                const std::vector<double> X(rows[l].begin(), rows[l].begin() + v.bands);
                model.slot_real(X.data(), want, 1.0 / 32);
            } else {
                std::vector<cplx> X(v.bands);
                for (int k = 0; k < v.bands; ++k)
                    X[k] = cplx(rows[l][2 * k], rows[l][2 * k + 1]);
                model.slot_complex(X.data(), want, 1.0 / 64);
            }
            const std::vector<double> got(y.begin() + v.bands * l, y.begin() + v.bands * (l + 1));
            if (l >= 9) // from the tenth slot on, the whole window sees signal
                worst = std::max(worst, rel_rms(got.data(), want, v.bands));
        }
        EXPECT_LE(worst, 1e-6) << "signal " << int(sig);
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, SynthesisBank,
                         ::testing::Values(SynthesisVariant{64, 0}, SynthesisVariant{64, 1},
                                           SynthesisVariant{64, 2}, SynthesisVariant{32, 0},
                                           SynthesisVariant{32, 1}, SynthesisVariant{32, 2}));

TEST(SbrQmfFloat, DocumentedSizes) {
    const std::pair<GetSize, std::vector<int32_t>> cases[] = {
        {zemsAnalysisFilterGetSize_SBR_RToC_32f, {1455, 4, 4}},
        {zemsAnalysisFilterGetSize_SBR_RToC_32f32fc, {1455, 4, 4}},
        {zemsAnalysisFilterGetSize_SBR_RToR_32f, {1839, 4, 164}},
        {zemsSynthesisFilterGetSize_SBR_CToR_32f, {5295, 4, 4}},
        {zemsSynthesisFilterGetSize_SBR_CToR_32fc32f, {5295, 4, 4}},
        {zemsSynthesisFilterGetSize_SBR_RToR_32f, {5951, 4, 292}},
        {zemsSynthesisDownFilterGetSize_SBR_CToR_32f, {3375, 4, 548}},
        {zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f, {3375, 4, 548}},
        {zemsSynthesisDownFilterGetSize_SBR_RToR_32f, {3119, 4, 164}},
    };
    for (const auto& [get, want] : cases) {
        int32_t got[3];
        ASSERT_EQ(get(&got[0], &got[1], &got[2]), zemStatusOk);
        EXPECT_EQ(std::vector<int32_t>(got, got + 3), want);
    }
}

// Each of the nine banks runs on its own state and refuses the state of every other one.
TEST(SbrQmfFloat, ForeignStatesAreRefused) {
    std::vector<std::unique_ptr<Analysis>> analyses;
    std::vector<std::unique_ptr<Synthesis>> syntheses;
    for (AKind k : {AKind::Interleaved, AKind::Split, AKind::Real})
        analyses.push_back(std::make_unique<Analysis>(k));
    for (int bands : {64, 32})
        for (int input = 0; input < 3; ++input)
            syntheses.push_back(std::make_unique<Synthesis>(SynthesisVariant{bands, input}));
    std::vector<void*> states;
    for (const auto& a : analyses)
        states.push_back(a->s);
    for (const auto& y : syntheses)
        states.push_back(y->s);
    const std::vector<float> x(32), w(640);
    Rows rows(1, std::vector<float>(128));
    std::vector<float> out(64);
    for (std::size_t i = 0; i < states.size(); ++i)
        for (void* state : states) {
            void*& own = i < 3 ? analyses[i]->s : syntheses[i - 3]->s;
            own = state;
            const ZemStatus st = i < 3 ? analyses[i]->run(x.data(), w.data(), 1, 32, rows)
                                       : syntheses[i - 3]->run(rows, w.data(), out.data(), 1);
            own = states[i];
            EXPECT_EQ(st, state == states[i] ? zemStatusOk : zemStatusContextMismatch) << i;
        }
}

// y[n] = c[n] / 64 cos(pi/2 (2n - 255)/128) for X[0] = 1 into a fresh 64-band complex state.
TEST(SbrQmfFloat, SynthesisImpulse) {
    Synthesis s(SynthesisVariant{64, 1});
    Rows rows(1, std::vector<float>(128, 0.0f));
    rows[0][0] = 1.0f;
    const std::vector<float> w = window(64);
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
    Rows rows(kSlots, std::vector<float>(128, 0.0f));
    a.run(x.data(), window(32).data(), kSlots, 32, rows);
    Synthesis s(SynthesisVariant{synthBands, 1});
    std::vector<float> y(synthBands * kSlots);
    s.run(rows, window(synthBands).data(), y.data(), kSlots);
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
    std::vector<float> line(1280), taps(640);
    for (std::vector<float>* v : {&line, &taps})
        for (float& x : *v)
            x = d(rng);
    const auto simd = ZEMTEST_SIMD_KERNELS(zem::sbr::kQmfWindowSse2, zem::sbr::kQmfWindowAvx2);
    for (const auto& k : simd) {
        for (int32_t index = 0; index < 320; index += 32) {
            float a[64], b[64];
            zem::sbr::kQmfWindowScalar.fold(line.data(), index, taps.data(), a);
            k.fold(line.data(), index, taps.data(), b);
            EXPECT_EQ(0, std::memcmp(a, b, sizeof a)) << index;
        }
        for (int32_t bands : {32, 64})
            for (int32_t index = 0; index < 20 * bands; index += 2 * bands) {
                float a[64], b[64];
                zem::sbr::kQmfWindowScalar.output(line.data(), index, bands, taps.data(), a);
                k.output(line.data(), index, bands, taps.data(), b);
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
    // One step run by both twins, the first n output floats compared.
    const auto agree = [](int n, auto step) {
        alignas(16) float a[128], b[128];
        step(zem::sbr::kQmfRotationScalar, a);
        step(zem::sbr::kQmfRotationSse2, b);
        return std::memcmp(a, b, n * sizeof(float)) == 0;
    };
    EXPECT_TRUE(agree(64, [&](const auto& k, float* o) { k.analysis_pre(in[0], o); }));
    EXPECT_TRUE(agree(64, [&](const auto& k, float* o) { k.analysis_post(in[0], o); }));
    EXPECT_TRUE(agree(64, [&](const auto& k, float* o) { k.dct4_pre(in[0], false, o); }));
    EXPECT_TRUE(agree(64, [&](const auto& k, float* o) { k.dct4_pre(in[0], true, o); }));
    // Both halves of the output: the cosine transform's input, then the sine transform's.
    EXPECT_TRUE(
        agree(128, [&](const auto& k, float* o) { k.dct4_pre_interleaved(in[0], o, o + 64); }));
    EXPECT_TRUE(agree(128, [&](const auto& k, float* o) { k.dct4_combine(in[0], in[1], o); }));
    EXPECT_TRUE(agree(128, [&](const auto& k, float* o) { k.down_pre(in[0], in[1], o); }));
    EXPECT_TRUE(agree(64, [&](const auto& k, float* o) { k.down_post(in[0], o); }));
}

} // namespace
