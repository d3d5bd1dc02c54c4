// Every allocation the library makes may fail. Each InitAlloc is driven through the failing
// allocator at every allocation index in turn, and so is every call that allocates its work
// buffer when the caller gives none: each failure gives zemStatusNoMemory, writes nothing the
// caller can see and leaves nothing allocated; the first call that succeeds works, and Free
// releases everything.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "zemac.h"
#include "zemcore_testing.h"

namespace {

struct Lifecycle {
    const char* name;
    std::function<ZemStatus(void**)> init;
    std::function<ZemStatus(void*)> free;
    bool nullOnFailure = false; // the handle is set to null rather than left alone
};

template <class T> T** as_out(void** p) { return reinterpret_cast<T**>(p); }
template <class T> T* as(void* p) { return static_cast<T*>(p); }

// InitAlloc(&state, args...) and Free(state) of one export family.
template <class T, class... A>
Lifecycle lifecycle(const char* name, ZemStatus (*init)(T**, A...), ZemStatus (*release)(T*),
                    A... args) {
    return {name, [=](void** out) { return init(as_out<T>(out), args...); },
            [=](void* s) { return release(as<T>(s)); }};
}

Lifecycle nulls_on_failure(Lifecycle l) {
    l.nullOnFailure = true;
    return l;
}

const float kCodebook[4 * 6] = {0.5f, -0.25f, 1.0f};

TEST(Allocation, EveryInitAllocFailsCleanlyAtEveryIndex) {
    const Lifecycle all[] = {
        lifecycle("MDCT forward", zemsMDCTFwdInitAlloc_32f, zemsMDCTFwdFree_32f, int32_t(8192)),
        lifecycle("MDCT inverse", zemsMDCTInvInitAlloc_32f, zemsMDCTInvFree_32f, int32_t(36)),
        lifecycle("MDCT 16-bit", zemsMDCTFwdInitAlloc_16s, zemsMDCTFwdFree_16s, int32_t(8192)),
        lifecycle("PQMF analysis", zemsAnalysisFilterInitAlloc_PQMF_MP3_32f,
                  zemsAnalysisFilterFree_PQMF_MP3_32f),
        lifecycle("PQMF synthesis", zemsSynthesisFilterInitAlloc_PQMF_MP3_32f,
                  zemsSynthesisFilterFree_PQMF_MP3_32f),
        lifecycle("SBR HQ analysis", zemsAnalysisFilterInitAlloc_SBRHQ_32s32sc,
                  zemsAnalysisFilterFree_SBRHQ_32s32sc),
        lifecycle("SBR LP analysis", zemsAnalysisFilterInitAlloc_SBRLP_32s,
                  zemsAnalysisFilterFree_SBRLP_32s),
        lifecycle("SBR HQ synthesis", zemsSynthesisFilterInitAlloc_SBRHQ_32sc32s,
                  zemsSynthesisFilterFree_SBRHQ_32sc32s),
        lifecycle("SBR LP synthesis", zemsSynthesisFilterInitAlloc_SBRLP_32s,
                  zemsSynthesisFilterFree_SBRLP_32s),
        lifecycle("SBR HQ down-sampling synthesis", zemsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s,
                  zemsSynthesisDownFilterFree_SBRHQ_32sc32s),
        lifecycle("SBR LP down-sampling synthesis", zemsSynthesisDownFilterInitAlloc_SBRLP_32s,
                  zemsSynthesisDownFilterFree_SBRLP_32s),
        nulls_on_failure(lifecycle("SBR encoder analysis", zemsAnalysisFilterEncInitAlloc_SBR_32f,
                                   zemsAnalysisFilterEncFree_SBR_32f)),
        lifecycle("DTS synthesis", zemsSynthesisFilterInitAlloc_DTS_32f,
                  zemsSynthesisFilterFree_DTS_32f),
        lifecycle("frequency-domain prediction", zemsFDPInitAlloc_32f, zemsFDPFree_32f,
                  int32_t(1024)),
        lifecycle("block FIR", zemsFIRBlockInitAlloc_32f, zemsFIRBlockFree_32f, int32_t(5),
                  int32_t(33)),
        {"VQ codebook",
         [](void** out) {
             return zemsVQCodeBookInitAlloc_32f(kCodebook, as_out<ZemVqCodebook_32f>(out), 4, 6);
         },
         [](void* s) { return zemsVQCodeBookFree_32f(as<ZemVqCodebook_32f>(s)); }},
    };
    void* const untouched = reinterpret_cast<void*>(uintptr_t(0x5A5A5A50));
    for (const Lifecycle& l : all) {
        const long before = zemcoreOutstandingBlocks();
        void* state = untouched;
        long k = 1;
        for (;; ++k) {
            zemcoreFailAllocation(k);
            const ZemStatus st = l.init(&state);
            zemcoreFailAllocation(0);
            if (st == zemStatusOk)
                break;
            ASSERT_EQ(st, zemStatusNoMemory) << l.name << " allocation " << k;
            ASSERT_EQ(state, l.nullOnFailure ? nullptr : untouched)
                << l.name << " allocation " << k;
            ASSERT_EQ(zemcoreOutstandingBlocks(), before) << l.name << " allocation " << k;
        }
        EXPECT_GT(k, 1) << l.name << " allocated nothing";
        ASSERT_NE(state, untouched) << l.name;
        EXPECT_EQ(l.free(state), zemStatusOk) << l.name;
        EXPECT_EQ(zemcoreOutstandingBlocks(), before) << l.name;
    }
}

// The transforms called without a work buffer allocate one for the call. With that allocation
// failing the output keeps its bytes; otherwise the result equals the one with a caller buffer.
TEST(Allocation, WorkBufferOfOneCall) {
    const long before = zemcoreOutstandingBlocks();
    for (int32_t n : {12, 256, 8192}) {
        ZemMdctFwdSpec_32f* fwd = nullptr;
        ZemMdctInvSpec_32f* inv = nullptr;
        ASSERT_EQ(zemsMDCTFwdInitAlloc_32f(&fwd, n), zemStatusOk);
        ASSERT_EQ(zemsMDCTInvInitAlloc_32f(&inv, n), zemStatusOk);
        int32_t bytes = 0;
        ASSERT_EQ(zemsMDCTFwdGetBufSize_32f(fwd, &bytes), zemStatusOk);
        std::vector<uint8_t> work(static_cast<std::size_t>(bytes));
        std::vector<float> x(static_cast<std::size_t>(n));
        for (std::size_t i = 0; i < x.size(); ++i)
            x[i] = float(int(i * 7919 % 201) - 100) / 64.0f;
        const std::vector<float> kept(static_cast<std::size_t>(n), 5.0f);
        std::vector<float> spectrum(static_cast<std::size_t>(n / 2)),
            y(static_cast<std::size_t>(n));
        ASSERT_EQ(zemsMDCTFwd_32f(x.data(), spectrum.data(), fwd, work.data()), zemStatusOk);
        ASSERT_EQ(zemsMDCTInv_32f(spectrum.data(), y.data(), inv, work.data()), zemStatusOk);
        const std::function<ZemStatus(std::vector<float>&)> calls[] = {
            [&](std::vector<float>& out) {
                return zemsMDCTFwd_32f(x.data(), out.data(), fwd, nullptr);
            },
            [&](std::vector<float>& out) {
                return zemsMDCTInv_32f(spectrum.data(), out.data(), inv, nullptr);
            },
        };
        const std::vector<float>* wants[] = {&spectrum, &y};
        for (int c = 0; c < 2; ++c) {
            std::vector<float> out(kept.begin(), kept.begin() + long(wants[c]->size()));
            zemcoreFailAllocation(1);
            EXPECT_EQ(calls[c](out), zemStatusNoMemory) << n << " " << c;
            zemcoreFailAllocation(0);
            EXPECT_TRUE(std::equal(out.begin(), out.end(), kept.begin())) << n << " " << c;
            EXPECT_EQ(calls[c](out), zemStatusOk) << n << " " << c;
            EXPECT_EQ(out, *wants[c]) << n << " " << c;
        }
        EXPECT_EQ(zemsMDCTFwdFree_32f(fwd), zemStatusOk);
        EXPECT_EQ(zemsMDCTInvFree_32f(inv), zemStatusOk);

        // The 16-bit transform: silence needs no buffer, anything else does.
        ZemMdctFwdSpec_16s* spec16 = nullptr;
        ASSERT_EQ(zemsMDCTFwdInitAlloc_16s(&spec16, n < 32 ? 32 : n), zemStatusOk);
        const int32_t n16 = n < 32 ? 32 : n;
        const std::vector<int16_t> zeros(std::size_t(n16), 0);
        std::vector<int16_t> in(std::size_t(n16), 1000), out16(std::size_t(n16 / 2), 99);
        zemcoreFailAllocation(1);
        EXPECT_EQ(zemsMDCTFwd_16s_Sfs(in.data(), out16.data(), spec16, 0, nullptr),
                  zemStatusNoMemory);
        EXPECT_EQ(out16, std::vector<int16_t>(std::size_t(n16 / 2), 99));
        zemcoreFailAllocation(1);
        EXPECT_EQ(zemsMDCTFwd_16s_Sfs(zeros.data(), out16.data(), spec16, 0, nullptr), zemStatusOk);
        zemcoreFailAllocation(0);
        EXPECT_EQ(out16, std::vector<int16_t>(std::size_t(n16 / 2), 0));
        EXPECT_EQ(zemsMDCTFwdFree_16s(spec16), zemStatusOk);
    }
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);
}

} // namespace
