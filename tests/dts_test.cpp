// The DTS synthesis bank: its tables against the standard's listing, every call against the
// defining sum in double precision (with the prototype switched between calls over one
// history), the scalar and SSE2 kernels against each other, the matched analysis and synthesis
// round trip of both prototypes, and the state.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/seed.hpp"
#include "tables/dts_fir.hpp"
#include "tools/dts_kernels.hpp"
#include "transform/fft.hpp"
#include "zemac.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

double prototype(int select, int n) {
    const double s = select ? zem::dts::kPerfect[n] : zem::dts::kNonPerfect[n];
    return ((n / 64) % 2 ? -0.25 : 0.25) * s;
}

double kernel(int select, int k, int j) {
    return prototype(select, j) *
           std::cos(kPi * (k + 0.5) * (j - 255.5) / 32 + (k % 2 ? -1 : 1) * kPi / 4);
}

struct Bank {
    std::vector<uint8_t> mem = std::vector<uint8_t>(2923 + 16);
    ZemDtsSynthesisSpec_32f* spec;
    explicit Bank(int offset = 0) {
        EXPECT_EQ(zemsSynthesisFilterInit_DTS_32f(mem.data() + offset), zemStatusOk);
        spec = reinterpret_cast<ZemDtsSynthesisSpec_32f*>(mem.data() + offset);
    }
};

TEST(DtsSynthesis, TablesAreTheStandardsListing) {
    std::ifstream in(std::string(ZEM_TEST_DATA_DIR) + "/tables/dts_fir.txt");
    ASSERT_TRUE(in.good());
    std::string line;
    int n = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        int i;
        double nonPerfect, perfect;
        fields >> i >> nonPerfect >> perfect;
        ASSERT_EQ(i, n);
        EXPECT_EQ(zem::dts::kNonPerfect[i], float(nonPerfect)) << i;
        EXPECT_EQ(zem::dts::kPerfect[i], float(perfect)) << i;
        ++n;
    }
    EXPECT_EQ(n, 512);
    EXPECT_NEAR(prototype(0, 255), 0.004472072, 1e-9); // linear phase, its documented peak
}

TEST(DtsSynthesis, EveryCallFollowsTheDefiningSum) {
    std::mt19937 rng(zemtest::seed());
    std::normal_distribution<double> nd(0.0, 1.0);
    Bank bank(3);
    const int slots = 24;
    std::vector<std::vector<float>> x(slots, std::vector<float>(32));
    std::vector<int> select(slots);
    for (int m = 0; m < slots; ++m) {
        select[std::size_t(m)] = int(rng() % 2);
        for (float& v : x[std::size_t(m)])
            v = float(nd(rng));
        float out[32];
        ASSERT_EQ(zemsSynthesisFilter_DTS_32f(x[std::size_t(m)].data(), out, select[std::size_t(m)],
                                              bank.spec),
                  zemStatusOk);
        double err = 0.0, ref = 0.0;
        for (int n = 0; n < 32; ++n) {
            double want = 0.0; // the current call's prototype over the whole history
            for (int age = 0; age < 16 && age <= m; ++age)
                for (int k = 0; k < 32; ++k)
                    want += x[std::size_t(m - age)][std::size_t(k)] *
                            kernel(select[std::size_t(m)], k, n + 32 * age);
            err += (out[n] - want) * (out[n] - want);
            ref += want * want;
        }
        EXPECT_LT(std::sqrt(err / ref), 1e-6) << m;
    }
}

// Both kernel sets over a run of slots with a wrapping history: the same bits, values spread
// over many octaves so that any reordered sum would show.
TEST(DtsSynthesis, ScalarAndSse2KernelsAgreeToTheBit) {
    std::mt19937 rng(zemtest::seed());
    std::normal_distribution<float> nd(0.0f, 1.0f);
    alignas(32) uint8_t fftMem[160];
    zem::ZemFftSpec* fft = nullptr;
    ASSERT_EQ(zem::fft_init(&fft, 4, zem::FftNoScale, 0, fftMem, nullptr), zemStatusOk);
    auto window = std::make_unique<zem::dts::SlotWindow>();
    for (auto* rows : {window->even, window->odd})
        for (int g = 0; g < zem::dts::kSlots; ++g)
            for (int e = 0; e < 16; ++e)
                rows[g][e] = nd(rng) * std::ldexp(1.0f, int(rng() % 40) - 20);
    std::vector<float> history[2] = {std::vector<float>(512), std::vector<float>(512)};
    for (int m = 0; m < 40; ++m) {
        float x[32], work[2][32], y[2][32];
        for (float& v : x)
            v = nd(rng) * std::ldexp(1.0f, int(rng() % 40) - 20);
        const int slot = m % zem::dts::kSlots;
        for (int k = 0; k < 2; ++k) {
            const zem::dts::DtsKernels& kernels = k ? zem::dts::kDtsSse2 : zem::dts::kDtsScalar;
            kernels.fold(x, history[k].data() + 32 * slot, *fft, work[k]);
            kernels.window(history[k].data(), slot, *window, y[k]);
        }
        ASSERT_EQ(std::memcmp(history[0].data(), history[1].data(), 512 * sizeof(float)), 0) << m;
        ASSERT_EQ(std::memcmp(y[0], y[1], sizeof y[0]), 0) << m;
    }
}

// Matched analysis X_k[m] = sum_j f_k[j] x[32 m + j] then synthesis: the input times 1/2048,
// to -120 dB with the perfect prototype and about -85 dB with the other.
TEST(DtsSynthesis, MatchedAnalysisRoundTrip) {
    std::mt19937 rng(zemtest::seed());
    std::normal_distribution<double> nd(0.0, 1.0);
    for (int select : {0, 1}) {
        const int slots = 100;
        std::vector<double> x(32 * slots + 512);
        for (double& v : x)
            v = nd(rng);
        Bank bank;
        double err = 0.0, ref = 0.0;
        for (int m = 0; m < slots; ++m) {
            float sub[32], out[32];
            for (int k = 0; k < 32; ++k) {
                double s = 0.0;
                for (int j = 0; j < 512; ++j)
                    s += kernel(select, k, j) * x[std::size_t(32 * m + j)];
                sub[k] = float(s);
            }
            ASSERT_EQ(zemsSynthesisFilter_DTS_32f(sub, out, select, bank.spec), zemStatusOk);
            for (int n = 0; m >= 16 && n < 32; ++n) {
                const double want = x[std::size_t(32 * m + n)] / 2048.0;
                err += (out[n] - want) * (out[n] - want);
                ref += want * want;
            }
        }
        EXPECT_LT(10 * std::log10(err / ref), select ? -120.0 : -80.0) << select;
    }
}

// The documented size and state layout (tag, slot position 15, owned flag); the rejected
// calls, with nothing written, are in the argument sweep.
TEST(DtsSynthesis, SizeAndStateAfterInit) {
    int32_t size = 0;
    ASSERT_EQ(zemsSynthesisFilterGetSize_DTS_32f(&size), zemStatusOk);
    EXPECT_EQ(size, 2923);
    Bank bank(3);
    uint32_t header[3];
    std::memcpy(header, bank.mem.data() + 16, 12);
    EXPECT_EQ(std::vector<uint32_t>(header, header + 3),
              (std::vector<uint32_t>{0x434D416Bu, 15u, 0u}));
}

} // namespace
