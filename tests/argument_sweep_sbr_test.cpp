// Argument checks of the floating-point SBR QMF banks, in their documented order: each required
// pointer null, a null row pointer, a state of no bank, numBands outside 0..32, with nothing
// written on any failure. (States of the other banks: sbr_qmf_float_test.)
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

#include "support/argument_sweep.hpp"
#include "zemac.h"

namespace {

struct Arena {
    uint8_t analysisMem[3][2048];
    uint8_t synthesisMem[6][6144];
    uint8_t init[64];
    uint8_t work[1024];
    uint8_t stranger[64]; // memory that holds no state
    float src[64];
    float window[640];
    float rows[2][128];
    float dst[128];
    float* out[2];
    float* outIm[2];
    Zem32fc* outC[2];
    const float* in[2];
    const float* inIm[2];
    const Zem32fc* inC[2];
    int32_t sizes[3];
    ZemSbrAnalysisSpec_32f* analysis[3];
    ZemSbrSynthesisSpec_32f* synthesis[3];
    ZemSbrSynthesisDownSpec_32f* down[3];
};

template <class Fn> struct Named {
    const char* name;
    Fn fn;
};
using AnalysisInit = ZemStatus (*)(ZemSbrAnalysisSpec_32f**, uint8_t*, uint8_t*);
using SynthesisInit = ZemStatus (*)(ZemSbrSynthesisSpec_32f**, uint8_t*, uint8_t*);
using DownInit = ZemStatus (*)(ZemSbrSynthesisDownSpec_32f**, uint8_t*, uint8_t*);

// In the order of the arena's states: interleaved complex, split complex, real.
const Named<AnalysisInit> kAnalysisInits[3] = {
    {"zemsAnalysisFilterInit_SBR_RToC_32f32fc", zemsAnalysisFilterInit_SBR_RToC_32f32fc},
    {"zemsAnalysisFilterInit_SBR_RToC_32f", zemsAnalysisFilterInit_SBR_RToC_32f},
    {"zemsAnalysisFilterInit_SBR_RToR_32f", zemsAnalysisFilterInit_SBR_RToR_32f}};
// Split complex, interleaved complex, real.
const Named<SynthesisInit> kSynthesisInits[3] = {
    {"zemsSynthesisFilterInit_SBR_CToR_32f", zemsSynthesisFilterInit_SBR_CToR_32f},
    {"zemsSynthesisFilterInit_SBR_CToR_32fc32f", zemsSynthesisFilterInit_SBR_CToR_32fc32f},
    {"zemsSynthesisFilterInit_SBR_RToR_32f", zemsSynthesisFilterInit_SBR_RToR_32f}};
const Named<DownInit> kDownInits[3] = {
    {"zemsSynthesisDownFilterInit_SBR_CToR_32f", zemsSynthesisDownFilterInit_SBR_CToR_32f},
    {"zemsSynthesisDownFilterInit_SBR_CToR_32fc32f", zemsSynthesisDownFilterInit_SBR_CToR_32fc32f},
    {"zemsSynthesisDownFilterInit_SBR_RToR_32f", zemsSynthesisDownFilterInit_SBR_RToR_32f}};

struct Fixture {
    std::unique_ptr<Arena> owned = std::make_unique<Arena>();
    Arena& a = *owned;
    Fixture() {
        std::memset(&a, 0, sizeof a);
        for (int l = 0; l < 2; ++l) {
            a.out[l] = a.rows[l];
            a.outIm[l] = a.rows[l] + 64;
            a.outC[l] = reinterpret_cast<Zem32fc*>(a.rows[l]);
            a.in[l] = a.rows[l];
            a.inIm[l] = a.rows[l] + 64;
            a.inC[l] = reinterpret_cast<const Zem32fc*>(a.rows[l]);
        }
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(kAnalysisInits[i].fn(&a.analysis[i], a.analysisMem[i], a.init), zemStatusOk);
            EXPECT_EQ(kSynthesisInits[i].fn(&a.synthesis[i], a.synthesisMem[i], a.init),
                      zemStatusOk);
            EXPECT_EQ(kDownInits[i].fn(&a.down[i], a.synthesisMem[3 + i], a.init), zemStatusOk);
        }
    }
};

using Reject = zemtest::Reject<Arena>;

int64_t addr(const void* p) { return int64_t(reinterpret_cast<intptr_t>(p)); }

// Memory without a state in argument `arg`, and a null row pointer (checked with the arrays).
Reject stranger(const Arena& a, int arg) {
    return {"memory without this bank's state", arg,     addr(a.stranger),
            zemStatusContextMismatch,           nullptr, true};
}
template <auto Member> void null_row(Arena& a) { (a.*Member)[0] = nullptr; }

TEST(ArgumentSweep, SbrQmfFloatLayout) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    using GetSize = ZemStatus (*)(int32_t*, int32_t*, int32_t*);
    const Named<GetSize> sizes[] = {
        {"zemsAnalysisFilterGetSize_SBR_RToC_32f", zemsAnalysisFilterGetSize_SBR_RToC_32f},
        {"zemsAnalysisFilterGetSize_SBR_RToC_32f32fc", zemsAnalysisFilterGetSize_SBR_RToC_32f32fc},
        {"zemsAnalysisFilterGetSize_SBR_RToR_32f", zemsAnalysisFilterGetSize_SBR_RToR_32f},
        {"zemsSynthesisFilterGetSize_SBR_CToR_32f", zemsSynthesisFilterGetSize_SBR_CToR_32f},
        {"zemsSynthesisFilterGetSize_SBR_CToR_32fc32f",
         zemsSynthesisFilterGetSize_SBR_CToR_32fc32f},
        {"zemsSynthesisFilterGetSize_SBR_RToR_32f", zemsSynthesisFilterGetSize_SBR_RToR_32f},
        {"zemsSynthesisDownFilterGetSize_SBR_CToR_32f",
         zemsSynthesisDownFilterGetSize_SBR_CToR_32f},
        {"zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f",
         zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f},
        {"zemsSynthesisDownFilterGetSize_SBR_RToR_32f",
         zemsSynthesisDownFilterGetSize_SBR_RToR_32f}};
    for (const auto& [name, fn] : sizes)
        sweep(name, fn, std::tuple{&a.sizes[0], &a.sizes[1], &a.sizes[2]}, {});
    ZemSbrAnalysisSpec_32f* analysis = nullptr;
    ZemSbrSynthesisSpec_32f* synthesis = nullptr;
    ZemSbrSynthesisDownSpec_32f* down = nullptr;
    for (int i = 0; i < 3; ++i) {
        const auto& [an, af] = kAnalysisInits[i];
        sweep(an, af, std::tuple{&analysis, a.analysisMem[i], a.init}, {});
        const auto& [sn, sf] = kSynthesisInits[i];
        sweep(sn, sf, std::tuple{&synthesis, a.synthesisMem[i], a.init}, {});
        const auto& [dn, df] = kDownInits[i];
        sweep(dn, df, std::tuple{&down, a.synthesisMem[3 + i], a.init}, {});
    }
}

TEST(ArgumentSweep, SbrQmfFloatAnalysis) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    // numBands is checked after the state in every bank; for the split bank before the data.
    const Reject bands33{"numBands 33", 5, 33, zemStatusBadSize};
    const Reject bandsNeg{"numBands -1", 5, -1, zemStatusBadSize};
    sweep("zemsAnalysisFilter_SBR_RToC_32f32fc_D2L", zemsAnalysisFilter_SBR_RToC_32f32fc_D2L,
          std::tuple{a.src, a.outC, a.window, 1, 0, 32, a.analysis[0], a.work},
          {stranger(a, 6),
           {"null row", -1, 0, zemStatusNullPointer, null_row<&Arena::outC>},
           bands33,
           bandsNeg});
    sweep("zemsAnalysisFilter_SBR_RToR_32f_D2L", zemsAnalysisFilter_SBR_RToR_32f_D2L,
          std::tuple{a.src, a.out, a.window, 1, 0, 32, a.analysis[2], a.work},
          {stranger(a, 6),
           {"null row", -1, 0, zemStatusNullPointer, null_row<&Arena::out>},
           bands33,
           bandsNeg});
    sweep("zemsAnalysisFilter_SBR_RToC_32f_D2L", zemsAnalysisFilter_SBR_RToC_32f_D2L,
          std::tuple{a.src, a.out, a.outIm, a.window, 1, 0, 32, a.analysis[1], a.work},
          {stranger(a, 7),
           {"numBands 33", 6, 33, zemStatusBadSize, nullptr, true},
           {"numBands -1", 6, -1, zemStatusBadSize, nullptr, true},
           {"null imaginary row", -1, 0, zemStatusNullPointer, null_row<&Arena::outIm>}});
}

TEST(ArgumentSweep, SbrQmfFloatSynthesis) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    const Reject nullRe{"null row", -1, 0, zemStatusNullPointer, null_row<&Arena::in>};
    const Reject nullIm{"null imaginary row", -1, 0, zemStatusNullPointer, null_row<&Arena::inIm>};
    const Reject nullC{"null row", -1, 0, zemStatusNullPointer, null_row<&Arena::inC>};
    sweep("zemsSynthesisFilter_SBR_CToR_32f_D2L", zemsSynthesisFilter_SBR_CToR_32f_D2L,
          std::tuple{a.in, a.inIm, a.dst, a.window, 1, a.synthesis[0], a.work},
          {stranger(a, 5), nullRe, nullIm});
    sweep("zemsSynthesisFilter_SBR_CToR_32fc32f_D2L", zemsSynthesisFilter_SBR_CToR_32fc32f_D2L,
          std::tuple{a.inC, a.dst, a.window, 1, a.synthesis[1], a.work}, {stranger(a, 4), nullC});
    sweep("zemsSynthesisFilter_SBR_RToR_32f_D2L", zemsSynthesisFilter_SBR_RToR_32f_D2L,
          std::tuple{a.in, a.dst, a.window, 1, a.synthesis[2], a.work}, {stranger(a, 4), nullRe});
    sweep("zemsSynthesisDownFilter_SBR_CToR_32f_D2L", zemsSynthesisDownFilter_SBR_CToR_32f_D2L,
          std::tuple{a.in, a.inIm, a.dst, a.window, 1, a.down[0], a.work},
          {stranger(a, 5), nullRe, nullIm});
    sweep("zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L",
          zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L,
          std::tuple{a.inC, a.dst, a.window, 1, a.down[1], a.work}, {stranger(a, 4), nullC});
    sweep("zemsSynthesisDownFilter_SBR_RToR_32f_D2L", zemsSynthesisDownFilter_SBR_RToR_32f_D2L,
          std::tuple{a.in, a.dst, a.window, 1, a.down[2], a.work}, {stranger(a, 4), nullRe});
}

} // namespace
