// Argument checks of the fixed-point SBR QMF banks, with nothing written on any failure.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>

#include "support/argument_sweep.hpp"
#include "zemac.h"

namespace {

struct Arena {
    uint8_t analysis[2][1344];
    uint8_t synthesis[2][5184];
    uint8_t down[2][2624];
    uint8_t stranger[64];
    int32_t src[128];
    int32_t dst[128];
    Zem32sc csrc[64];
    Zem32sc cdst[32];
    int32_t size;
};

template <class Fn> struct Named {
    const char* name;
    Fn fn;
};

template <class T> int64_t addr(const T* p) { return int64_t(reinterpret_cast<intptr_t>(p)); }

TEST(ArgumentSweep, SbrQmfFixed) {
    auto owned = std::make_unique<Arena>();
    Arena& a = *owned;
    std::memset(&a, 0, sizeof a);
    // Analysis, synthesis and down-sampled synthesis, each high quality then low power.
    uint8_t* const mems[6] = {a.analysis[0],  a.analysis[1], a.synthesis[0],
                              a.synthesis[1], a.down[0],     a.down[1]};
    const Named<ZemStatus (*)(uint8_t*)> inits[6] = {
        {"zemsAnalysisFilterInit_SBRHQ_32s32sc", zemsAnalysisFilterInit_SBRHQ_32s32sc},
        {"zemsAnalysisFilterInit_SBRLP_32s", zemsAnalysisFilterInit_SBRLP_32s},
        {"zemsSynthesisFilterInit_SBRHQ_32sc32s", zemsSynthesisFilterInit_SBRHQ_32sc32s},
        {"zemsSynthesisFilterInit_SBRLP_32s", zemsSynthesisFilterInit_SBRLP_32s},
        {"zemsSynthesisDownFilterInit_SBRHQ_32sc32s", zemsSynthesisDownFilterInit_SBRHQ_32sc32s},
        {"zemsSynthesisDownFilterInit_SBRLP_32s", zemsSynthesisDownFilterInit_SBRLP_32s}};
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(inits[i].fn(mems[i]), zemStatusOk);
    auto* aHq = reinterpret_cast<ZemSbrAnalysisSpec_32s*>(a.analysis[0]);
    auto* aLp = reinterpret_cast<ZemSbrAnalysisSpec_32s*>(a.analysis[1]);
    auto* sHq = reinterpret_cast<ZemSbrSynthesisSpec_32s*>(a.synthesis[0]);
    auto* sLp = reinterpret_cast<ZemSbrSynthesisSpec_32s*>(a.synthesis[1]);
    auto* dHq = reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(a.down[0]);
    auto* dLp = reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(a.down[1]);
    using Reject = zemtest::Reject<Arena>;
    const auto foreign = [&](int arg) {
        return Reject{"memory without this bank's record", arg, addr(a.stranger),
                      zemStatusContextMismatch};
    };
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    constexpr ZemStatus kNoValidCall = zemtest::Sweep<Arena>::kNoValidCall;

    const Named<ZemStatus (*)(int32_t*)> sizes[6] = {
        {"zemsAnalysisFilterGetSize_SBRHQ_32s32sc", zemsAnalysisFilterGetSize_SBRHQ_32s32sc},
        {"zemsAnalysisFilterGetSize_SBRLP_32s", zemsAnalysisFilterGetSize_SBRLP_32s},
        {"zemsSynthesisFilterGetSize_SBRHQ_32sc32s", zemsSynthesisFilterGetSize_SBRHQ_32sc32s},
        {"zemsSynthesisFilterGetSize_SBRLP_32s", zemsSynthesisFilterGetSize_SBRLP_32s},
        {"zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s",
         zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s},
        {"zemsSynthesisDownFilterGetSize_SBRLP_32s", zemsSynthesisDownFilterGetSize_SBRLP_32s}};
    for (int i = 0; i < 6; ++i) {
        sweep(sizes[i].name, sizes[i].fn, std::tuple{&a.size}, {});
        sweep(inits[i].name, inits[i].fn, std::tuple{mems[i]}, {});
    }

    ZemSbrAnalysisSpec_32s* an = nullptr;
    ZemSbrSynthesisSpec_32s* sy = nullptr;
    ZemSbrSynthesisDownSpec_32s* dn = nullptr;
    sweep("zemsAnalysisFilterInitAlloc_SBRHQ_32s32sc", zemsAnalysisFilterInitAlloc_SBRHQ_32s32sc,
          std::tuple{&an}, {}, kNoValidCall);
    sweep("zemsAnalysisFilterInitAlloc_SBRLP_32s", zemsAnalysisFilterInitAlloc_SBRLP_32s,
          std::tuple{&an}, {}, kNoValidCall);
    sweep("zemsSynthesisFilterInitAlloc_SBRHQ_32sc32s", zemsSynthesisFilterInitAlloc_SBRHQ_32sc32s,
          std::tuple{&sy}, {}, kNoValidCall);
    sweep("zemsSynthesisFilterInitAlloc_SBRLP_32s", zemsSynthesisFilterInitAlloc_SBRLP_32s,
          std::tuple{&sy}, {}, kNoValidCall);
    sweep("zemsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s",
          zemsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s, std::tuple{&dn}, {}, kNoValidCall);
    sweep("zemsSynthesisDownFilterInitAlloc_SBRLP_32s", zemsSynthesisDownFilterInitAlloc_SBRLP_32s,
          std::tuple{&dn}, {}, kNoValidCall);

    sweep("zemsAnalysisFilterFree_SBRHQ_32s32sc", zemsAnalysisFilterFree_SBRHQ_32s32sc,
          std::tuple{aHq}, {foreign(0)});
    sweep("zemsAnalysisFilterFree_SBRLP_32s", zemsAnalysisFilterFree_SBRLP_32s, std::tuple{aLp},
          {foreign(0)});
    sweep("zemsSynthesisFilterFree_SBRHQ_32sc32s", zemsSynthesisFilterFree_SBRHQ_32sc32s,
          std::tuple{sHq}, {foreign(0)});
    sweep("zemsSynthesisFilterFree_SBRLP_32s", zemsSynthesisFilterFree_SBRLP_32s, std::tuple{sLp},
          {foreign(0)});
    sweep("zemsSynthesisDownFilterFree_SBRHQ_32sc32s", zemsSynthesisDownFilterFree_SBRHQ_32sc32s,
          std::tuple{dHq}, {foreign(0)});
    sweep("zemsSynthesisDownFilterFree_SBRLP_32s", zemsSynthesisDownFilterFree_SBRLP_32s,
          std::tuple{dLp}, {foreign(0)});

    const Reject bands33{"numBands 33", 2, 33, zemStatusBadSize};
    const Reject bandsNeg{"numBands -1", 2, -1, zemStatusBadSize};
    sweep("zemsAnalysisFilter_SBRHQ_32s32sc", zemsAnalysisFilter_SBRHQ_32s32sc,
          std::tuple{a.src, a.cdst, 32, aHq}, {foreign(3), bands33, bandsNeg});
    sweep("zemsAnalysisFilter_SBRLP_32s", zemsAnalysisFilter_SBRLP_32s,
          std::tuple{a.src, a.dst, 32, aLp}, {foreign(3), bands33, bandsNeg});
    sweep("zemsSynthesisFilter_SBRHQ_32sc32s", zemsSynthesisFilter_SBRHQ_32sc32s,
          std::tuple{a.csrc, a.dst, sHq}, {foreign(2)});
    sweep("zemsSynthesisFilter_SBRLP_32s", zemsSynthesisFilter_SBRLP_32s,
          std::tuple{a.src, a.dst, sLp}, {foreign(2)});
    sweep("zemsSynthesisDownFilter_SBRHQ_32sc32s", zemsSynthesisDownFilter_SBRHQ_32sc32s,
          std::tuple{a.csrc, a.dst, dHq}, {foreign(2)});
    sweep("zemsSynthesisDownFilter_SBRLP_32s", zemsSynthesisDownFilter_SBRLP_32s,
          std::tuple{a.src, a.dst, dLp}, {foreign(2)});
}

} // namespace
