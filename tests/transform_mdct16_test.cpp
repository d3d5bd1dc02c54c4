// 16-bit forward MDCT: sizes and record layout, accuracy against the double-precision
// definition at several scale factors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/mdct_model.hpp"
#include "support/seed.hpp"
#include "zemac.h"

namespace {

struct Mdct16 {
    std::vector<uint8_t> mem, init, work;
    int32_t specSize = 0, initSize = 0, workSize = 0;
    ZemMdctFwdSpec_16s* spec = nullptr;
    explicit Mdct16(int32_t n, int32_t misalign = 0) {
        EXPECT_EQ(zemsMDCTFwdGetSize_16s(n, &specSize, &initSize, &workSize), zemStatusOk);
        mem.assign(std::size_t(specSize + misalign + 32), 0xA5);
        init.resize(std::size_t(initSize) + 1);
        work.resize(std::size_t(workSize));
        EXPECT_EQ(zemsMDCTFwdInit_16s(&spec, n, mem.data() + misalign, init.data()), zemStatusOk);
        for (std::size_t i = std::size_t(specSize + misalign); i < mem.size(); ++i)
            EXPECT_EQ(mem[i], 0xA5) << n << " " << misalign;
    }
};

std::vector<int16_t> random_samples(int32_t n, int32_t amplitude, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int32_t> d(-amplitude, amplitude);
    std::vector<int16_t> v(static_cast<std::size_t>(n));
    for (int16_t& x : v)
        x = int16_t(std::clamp(d(rng), -32768, 32767));
    return v;
}

} // namespace

TEST(TransformMdct16, SizesAndLayout) {
    // From N = 64 the 16-bit FFT takes the complex FFT's sizes of order log2(N/4), work + 8 N/4.
    struct Row {
        int32_t n, spec, init, work;
    } rows[] = {
        {32, 348, 64, 192},    {64, 400, 32, 352},         {128, 464, 32, 672},
        {256, 1244, 32, 1376}, {8192, 27036, 2144, 41056},
    };
    for (const Row& r : rows)
        for (int32_t misalign : {0, 5, 31}) {
            Mdct16 m(r.n, misalign);
            EXPECT_EQ(m.specSize, r.spec) << r.n;
            EXPECT_EQ(m.initSize, r.init) << r.n;
            EXPECT_EQ(m.workSize, r.work) << r.n;
            int32_t buf = 0;
            EXPECT_EQ(zemsMDCTFwdGetBufSize_16s(m.spec, &buf), zemStatusOk);
            EXPECT_EQ(buf, r.work);
        }
}

// Against X[k] 2^-sf of the definition: within a few output steps plus a small fraction of the
// peak coefficient (the Q14 twiddles carry about 15 bits).
TEST(TransformMdct16, AccuracyAcrossScaleFactors) {
    const uint32_t seed = zemtest::seed();
    double worst = 0;
    for (int32_t n : {32, 256, 2048}) {
        Mdct16 m(n);
        for (int32_t amplitude : {32768, 3000, 40}) {
            const std::vector<int16_t> x = random_samples(n, amplitude, seed + uint32_t(amplitude));
            const std::vector<double> ref = zemtest::mdct(std::vector<double>(x.begin(), x.end()));
            double peak = 0;
            for (double v : ref)
                peak = std::max(peak, std::fabs(v));
            const int32_t fit = int32_t(std::ceil(std::log2(peak / 32767.0)));
            for (int32_t sf : {fit, fit + 3, fit - 2}) {
                std::vector<int16_t> out(static_cast<std::size_t>(n / 2));
                ASSERT_EQ(zemsMDCTFwd_16s_Sfs(x.data(), out.data(), m.spec, sf, m.work.data()),
                          zemStatusOk);
                const double scale = std::ldexp(1.0, -sf);
                for (std::size_t k = 0; k < out.size(); ++k) {
                    const double want = std::clamp(ref[k] * scale, -32768.0, 32767.0);
                    const double err = std::fabs(out[k] - want);
                    worst = std::max(worst, err / (peak * scale));
                    ASSERT_LE(err, 1.0 + 1e-4 * peak * scale)
                        << n << " amplitude " << amplitude << " sf " << sf << " k " << k;
                }
            }
        }
    }
    RecordProperty("worst_error_relative_to_peak", std::to_string(worst));
}
