// Argument checks of the SBR encoder tools and the PS hybrid analysis, with nothing written on
// any failure.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

#include "support/argument_sweep.hpp"
#include "zemac.h"

namespace {

struct Arena {
    uint8_t mem[1536];
    uint8_t init[64];
    uint8_t stranger[64];
    float src[640];
    float thr;
    float acc[64];
    Zem32fc in[44];
    Zem32fc out[32 * 12];
    int32_t sizes[2];
};

using Reject = zemtest::Reject<Arena>;

TEST(ArgumentSweep, SbrEncoderAndPsHybrid) {
    auto owned = std::make_unique<Arena>();
    Arena& a = *owned;
    std::memset(&a, 0, sizeof a);
    ASSERT_EQ(zemsAnalysisFilterEncInit_SBR_32f(a.mem, a.init), zemStatusOk);
    auto* spec = reinterpret_cast<ZemSbrAnalysisEncSpec_32f*>(a.mem);
    auto* none = reinterpret_cast<ZemSbrAnalysisEncSpec_32f*>(a.stranger);
    const int64_t noneAddr = int64_t(reinterpret_cast<intptr_t>(none));
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    sweep("zemsAnalysisFilterEncGetSize_SBR_32f", zemsAnalysisFilterEncGetSize_SBR_32f,
          std::tuple{&a.sizes[0], &a.sizes[1]}, {});
    sweep("zemsAnalysisFilterEncInit_SBR_32f", zemsAnalysisFilterEncInit_SBR_32f,
          std::tuple{a.mem, a.init}, {});
    ZemSbrAnalysisEncSpec_32f* allocated = nullptr;
    sweep("zemsAnalysisFilterEncInitAlloc_SBR_32f", zemsAnalysisFilterEncInitAlloc_SBR_32f,
          std::tuple{&allocated}, {}, zemtest::Sweep<Arena>::kNoValidCall);
    sweep("zemsAnalysisFilterEncFree_SBR_32f", zemsAnalysisFilterEncFree_SBR_32f, std::tuple{spec},
          {{"memory without a record", 0, noneAddr, zemStatusContextMismatch}});
    sweep("zemsAnalysisFilterEnc_SBR_32f32fc", zemsAnalysisFilterEnc_SBR_32f32fc,
          std::tuple{a.src, a.in, spec},
          {{"memory without a record", 2, noneAddr, zemStatusContextMismatch}});
    sweep("zemsDetectTransient_SBR_32f", zemsDetectTransient_SBR_32f,
          std::tuple{a.src, &a.thr, a.acc}, {});
    sweep("zemsAnalysisFilter_PS_32fc_D2", zemsAnalysisFilter_PS_32fc_D2,
          std::tuple{a.in, a.out, 2},
          {{"config 5", 2, 5, zemStatusBadArgument}, {"config -1", 2, -1, zemStatusBadArgument}});
}

} // namespace
