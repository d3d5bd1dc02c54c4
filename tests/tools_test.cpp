// The block FIR against direct convolution, and the numeric helpers against their formulas in
// double precision, their known answers, the inverse quantiser they share arithmetic with, and
// every alignment of their buffers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "support/seed.hpp"
#include "zemac.h"

namespace {

// Floats at a chosen offset (in elements) from a 16-byte boundary.
template <class T> struct Placed {
    std::vector<T> store;
    T* p;
    Placed(std::size_t n, int offset) : store(n + 16) {
        auto* base =
            reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(store.data()) + 15) & ~uintptr_t(15));
        p = base + offset;
    }
};

TEST(FirBlock, DirectConvolutionAcrossBlocksAtEveryAlignment) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int taps : {1, 2, 3, 5, 8})
        for (int len : {1, 7, 16, 33})
            for (int offset : {0, 1}) {
                ZemFirBlockState_32f* s = nullptr;
                ASSERT_EQ(zemsFIRBlockInitAlloc_32f(&s, taps, len), zemStatusOk);
                std::vector<std::vector<float>> past;
                for (int n = 0; n < 12; ++n) {
                    Placed<float> x(std::size_t(len), offset), y(std::size_t(len), offset),
                        h(std::size_t(taps), offset);
                    for (int i = 0; i < len; ++i)
                        x.p[i] = u(rng);
                    for (int k = 0; k < taps; ++k) // the taps may change from call to call
                        h.p[k] = u(rng);
                    past.insert(past.begin(), std::vector<float>(x.p, x.p + len));
                    ASSERT_EQ(zemsFIRBlockOne_32f(x.p, y.p, s, h.p),
                              offset == 0 ? zemStatusOk : zemWarnMisaligned);
                    for (int i = 0; i < len; ++i) {
                        double want = 0.0;
                        for (int k = 0; k < taps && k < int(past.size()); ++k)
                            want += double(h.p[k]) * past[std::size_t(k)][std::size_t(i)];
                        ASSERT_NEAR(y.p[i], want, 1e-5) << taps << " " << len << " " << n;
                    }
                }
                EXPECT_EQ(zemsFIRBlockFree_32f(s), zemStatusOk);
            }
}

TEST(NumericHelpers, GainsMantissasAndBandScaling) {
    const int16_t src[6] = {7, 11, 7 - 512, 7 + 511, 7 + 512, -32768};
    float g[6];
    ASSERT_EQ(zemsCalcSF_16s32f(src, 7, g, 6), zemStatusOk);
    // The last wraps around the table.
    EXPECT_EQ(std::vector<float>(g, g + 5),
              (std::vector<float>{1.0f, 2.0f, std::ldexp(1.0f, -128), float(std::exp2(511 / 4.0)),
                                  std::ldexp(1.0f, -128)}));
    // offset + 512 saturates to 32767: index (7 - 32767) mod 2^16 mod 1024 = 8, 2^(-126).
    ASSERT_EQ(zemsCalcSF_16s32f(src, 40000, g, 1), zemStatusOk);
    EXPECT_EQ(g[0], std::ldexp(1.0f, -126));

    // Every exponent the float can carry.
    int16_t m[254], e[254];
    float d[254];
    for (int i = 0; i < 254; ++i) {
        m[i] = int16_t(i % 2 ? 16384 : -12345);
        e[i] = int16_t(111 - i);
    }
    ASSERT_GE(zemsMakeFloat_16s32f(m, e, d, 254), zemStatusOk);
    for (int i = 0; i < 254; ++i)
        ASSERT_EQ(d[i], float(std::ldexp(double(m[i]), -15 - e[i]))) << i;
    float x[6] = {1, 1, 1, 1, 1, 1};
    const float f[2] = {2.0f, -0.5f};
    const int32_t bands[3] = {0, 2, 5};
    ASSERT_EQ(zemsScale_32f_I(x, f, bands, 2), zemStatusOk);
    EXPECT_EQ(std::vector<float>(x, x + 6), (std::vector<float>{2, 2, -0.5f, -0.5f, -0.5f, 1}));
}

TEST(NumericHelpers, ThreeQuarterPowers) {
    std::mt19937 rng(zemtest::seed());
    std::vector<float> in;
    for (int e = -36; e <= 36; ++e)
        in.push_back(float((rng() & 1 ? -1 : 1) * std::ldexp(1.0 + (rng() % 1000) / 1000.0, e)));
    in.insert(in.end(), {0.0f, -0.0f, 1e-38f, -16.0f, 1e6f, 2e6f});
    std::vector<float> out(in.size());
    ASSERT_GE(zemsPow34_32f(in.data(), out.data(), int32_t(in.size())), zemStatusOk);
    for (std::size_t i = 0; i < in.size(); ++i) {
        const double want = std::fabs(in[i]) <= 1e-37 ? 0.0 : std::pow(std::fabs(in[i]), 0.75);
        ASSERT_NEAR(out[i], want, want * 1.0 / 1024) << in[i];
    }
    alignas(16) int16_t q[8];
    alignas(16) const float f[4] = {-16.0f, 0.0f, 2e6f, 1000.0f};
    ASSERT_EQ(zemsPow34_32f16s(f, q, 4), zemStatusOk);
    EXPECT_EQ(std::vector<int16_t>(q, q + 3), (std::vector<int16_t>{8, 0, 31623}));
    EXPECT_NEAR(q[3], 178, 1);

    struct Case {
        int16_t x;
        int inScale, sf;
        int16_t want;
    } cases[] = {{1000, 0, 0, 178}, {2, 0, 2, 0},   {32767, 0, -4, 32767}, {0, 5, -5, 0},
                 {-81, 0, 0, 27},   {16, 4, 0, 64}, {3, 0, 0, 2}};
    for (const Case& c : cases) {
        int16_t out;
        ASSERT_EQ(zemsPow34_16s_Sfs(&c.x, c.inScale, &out, c.sf, 1), zemStatusOk);
        EXPECT_EQ(out, c.want) << c.x << " " << c.inScale << " " << c.sf;
    }
    for (int32_t extreme : {INT32_MIN, INT32_MAX}) { // defined for any scale
        int16_t out;
        const int16_t x = 5;
        ASSERT_EQ(zemsPow34_16s_Sfs(&x, extreme, &out, 0, 1), zemStatusOk);
        ASSERT_EQ(zemsPow34_16s_Sfs(&x, 0, &out, extreme, 1), zemStatusOk);
    }
}

TEST(NumericHelpers, FourThirdPowersAndTheInverseQuantiser) {
    const int16_t x[5] = {-8, 0, 8191, 1, -32768};
    float p[5];
    ASSERT_EQ(zemsPow43_16s32f(x, p, 5), zemStatusOk);
    EXPECT_EQ(std::vector<float>(p, p + 4), (std::vector<float>{-16.0f, 0.0f, 165113.5f, 1.0f}));
    EXPECT_FALSE(std::signbit(p[1]));
    EXPECT_EQ(zemsPow43_16s32f(x, p, 0), zemStatusOk);

    // With sfOffset 88 the result is the inverse quantiser's (scale factor 100, 3 fractional
    // bits): the same values for every magnitude up to 8191 and every scale factor.
    std::mt19937 rng(zemtest::seed());
    std::vector<int16_t> q(1024);
    for (std::size_t i = 0; i < q.size(); ++i)
        q[i] = int16_t(i < 200 ? int(i) - 100 : int(rng() % 16383) - 8191);
    for (int sf = 40; sf <= 200; sf += 7) {
        std::vector<int32_t> aac(q.begin(), q.end()), ours(1024);
        const std::vector<int16_t> sfsAll(49, int16_t(sf));
        const std::vector<uint8_t> cb(49, 11);
        const int32_t groupLen[1] = {1};
        ASSERT_EQ(
            zemsQuantInv_AAC_32s_I(aac.data(), sfsAll.data(), 1, groupLen, 49, cb.data(), 4, 1024),
            zemStatusOk);
        const std::vector<int32_t> offsets = {0, 1024};
        ASSERT_EQ(zemsPow43Scale_16s32s_Sf(q.data(), ours.data(), sfsAll.data(), offsets.data(), 88,
                                           1, 1, 0),
                  zemStatusOk);
        ASSERT_EQ(aac, ours) << "sf " << sf;
    }
    // groupLen multiplies the band offsets; scaleFactor weighs four steps.
    const int16_t two[4] = {1, 1, 1, 1};
    const int16_t sf[2] = {0, 4};
    const int32_t off[3] = {0, 1, 2};
    int32_t out[4];
    ASSERT_EQ(zemsPow43Scale_16s32s_Sf(two, out, sf, off, 0, 2, 2, 1), zemStatusOk);
    EXPECT_EQ(std::vector<int32_t>(out, out + 4), (std::vector<int32_t>{0, 0, 1, 1}));
}

TEST(NumericHelpers, SpreadingFunction) {
    struct Case {
        int16_t a, b;
        int sf;
        int16_t want;
    } cases[] = {{0, 0, 0, 32767}, {0, 1, 0, 237}, {1, 0, 0, 661},
                 {0, 2, 0, 0},     {0, 16, -3, 0}, {5, 0, 0, 0}};
    for (const Case& c : cases) {
        int16_t out = -1;
        ASSERT_EQ(zemsSpread_16s_Sfs(c.a, c.b, c.sf, &out), zemStatusOk);
        EXPECT_NEAR(out, c.want, 1) << c.a << " " << c.b;
    }
    // Half-Bark steps against the formula, both sides of the masker.
    for (int z = -12; z <= 24; ++z) {
        int16_t out = -1;
        ASSERT_EQ(zemsSpread_16s_Sfs(0, int16_t(z), -1, &out), zemStatusOk);
        const double d = z >= 0 ? 1.5 * z : 0.75 * z, t = d + 0.474, v = d - 0.5;
        const double level =
            15.811389 + 7.5 * t - 17.5 * std::sqrt(1 + t * t) + 8 * std::min(v * v - 2 * v, 0.0);
        const double want =
            d > 12 || d < -6 ? 0.0 : std::min(std::pow(10.0, level / 10) * 32768, 32767.0);
        EXPECT_NEAR(out, want, 1.0) << z;
    }
}

// Every value lands in its channel and back, for lengths around the vector widths (two
// channels have their own path) and full-range 16-bit values.
template <class T, class Deinterleave, class Interleave>
void interleave_round_trips(Deinterleave deinterleave, Interleave interleave) {
    for (int ch = 1; ch <= 5; ++ch)
        for (int len : {1, 5, 7, 8, 9, 64, 67}) {
            Placed<T> flat(std::size_t(ch * len), 0), back(std::size_t(ch * len), 0);
            std::vector<Placed<T>> planes;
            std::vector<T*> dst;
            for (int c = 0; c < ch; ++c)
                dst.push_back(planes.emplace_back(std::size_t(len), 0).p);
            std::vector<const T*> src(dst.begin(), dst.end());
            for (int i = 0; i < ch * len; ++i)
                flat.p[i] = T(i * 4099 - 32768); // wraps over the whole 16-bit range
            ASSERT_EQ(deinterleave(flat.p, ch, len, dst.data()), zemStatusOk);
            for (int c = 0; c < ch; ++c)
                for (int i = 0; i < len; ++i)
                    ASSERT_EQ(dst[std::size_t(c)][i], flat.p[i * ch + c]) << ch << " " << len;
            ASSERT_EQ(interleave(src.data(), ch, len, back.p), zemStatusOk);
            ASSERT_TRUE(std::equal(flat.p, flat.p + ch * len, back.p)) << ch << " " << len;
        }
}

TEST(NumericHelpers, InterleaveRoundTrips) {
    interleave_round_trips<float>(zemsDeinterleave_32f, zemsInterleave_32f);
    interleave_round_trips<int16_t>(zemsDeinterleave_16s, zemsInterleave_16s);
}

// The helpers with a 128-bit path: at every offset of every buffer within 16 bytes (sources and
// destinations independently) the scalar path gives the bits of the aligned 128-bit one, with
// zemWarnMisaligned exactly when a buffer is off. Lengths with tails of every width.
struct Buf {
    int bytes, count;
    bool output;
};

// run(pointers, rng) fills the inputs from rng and calls the helper; every call sees the same
// inputs, placed at that call's offsets.
template <class Run> void every_offset(const std::vector<Buf>& bufs, Run run) {
    const std::size_t n = bufs.size();
    auto call = [&](const std::vector<int>& offsets, std::vector<Placed<uint8_t>>& mem) {
        std::vector<uint8_t*> p;
        for (std::size_t i = 0; i < n; ++i) {
            mem.emplace_back(std::size_t(bufs[i].bytes * bufs[i].count + 16), 0);
            std::fill(mem.back().store.begin(), mem.back().store.end(), uint8_t(0x5A));
            p.push_back(mem.back().p + offsets[i]);
        }
        std::mt19937 rng(zemtest::seed());
        return std::make_pair(run(p, rng), p);
    };
    std::vector<Placed<uint8_t>> refMem;
    const auto ref = call(std::vector<int>(n, 0), refMem);
    ASSERT_EQ(ref.first, zemStatusOk);
    for (int step = 1; step < 16; ++step)
        for (std::size_t moving = 0; moving <= n; ++moving) { // all buffers, then each alone
            std::vector<int> offsets(n, 0);
            for (std::size_t i = 0; i < n; ++i)
                if (moving == n || moving == i)
                    offsets[i] = step % (16 / bufs[i].bytes) * bufs[i].bytes;
            const bool off =
                std::any_of(offsets.begin(), offsets.end(), [](int o) { return o != 0; });
            std::vector<Placed<uint8_t>> mem;
            const auto got = call(offsets, mem);
            ASSERT_EQ(got.first, off ? zemWarnMisaligned : zemStatusOk);
            for (std::size_t i = 0; i < n; ++i) {
                if (!bufs[i].output)
                    continue;
                ASSERT_EQ(std::memcmp(ref.second[i], got.second[i],
                                      std::size_t(bufs[i].bytes * bufs[i].count)),
                          0)
                    << "buffer " << i << " offsets " << offsets[0] << " " << offsets[i];
            }
        }
}

template <class T> T* as(uint8_t* p) { return reinterpret_cast<T*>(p); }

TEST(NumericHelpers, ScalarPathsEqualTheVectorPathAtEveryOffset) {
    for (int len : {1023, 37, 4, 3}) {
        SCOPED_TRACE(len);
        every_offset({{2, len, false}, {2, len, false}, {4, len, true}},
                     [len](std::vector<uint8_t*> p, std::mt19937& rng) {
                         for (int i = 0; i < len; ++i) {
                             as<int16_t>(p[0])[i] = int16_t(rng());
                             as<int16_t>(p[1])[i] = int16_t(int(rng() % 200) - 100);
                         }
                         return zemsMakeFloat_16s32f(as<int16_t>(p[0]), as<int16_t>(p[1]),
                                                     as<float>(p[2]), len);
                     });
        every_offset({{4, len, false}, {4, len, true}},
                     [len](std::vector<uint8_t*> p, std::mt19937& rng) {
                         for (int i = 0; i < len; ++i)
                             as<float>(p[0])[i] = i % 97 == 5 ? NAN : float(int32_t(rng())) * 1e-4f;
                         return zemsPow34_32f(as<float>(p[0]), as<float>(p[1]), len);
                     });
        every_offset(
            {{4, len, false}, {2, len, true}}, [len](std::vector<uint8_t*> p, std::mt19937& rng) {
                for (int i = 0; i < len; ++i)
                    as<float>(p[0])[i] =
                        i % 97 == 5 ? NAN : float(int32_t(rng() % 6000000) - 3000000) * 0.5f;
                return zemsPow34_32f16s(as<float>(p[0]), as<int16_t>(p[1]), len);
            });
        for (int ch : {2, 3}) {
            std::vector<Buf> planes16(std::size_t(ch), Buf{2, len, true});
            planes16.insert(planes16.begin(), Buf{2, ch * len, false});
            every_offset(planes16, [len, ch](std::vector<uint8_t*> p, std::mt19937& rng) {
                for (int i = 0; i < ch * len; ++i)
                    as<int16_t>(p[0])[i] = int16_t(rng());
                int16_t* dst[3] = {as<int16_t>(p[1]), as<int16_t>(p[2]),
                                   ch > 2 ? as<int16_t>(p[3]) : nullptr};
                return zemsDeinterleave_16s(as<int16_t>(p[0]), ch, len, dst);
            });
            std::vector<Buf> planes32(std::size_t(ch), Buf{4, len, false});
            planes32.insert(planes32.begin(), Buf{4, ch * len, true});
            every_offset(planes32, [len, ch](std::vector<uint8_t*> p, std::mt19937& rng) {
                for (int c = 1; c <= ch; ++c)
                    for (int i = 0; i < len; ++i)
                        as<float>(p[std::size_t(c)])[i] = float(int32_t(rng()));
                const float* src[3] = {as<float>(p[1]), as<float>(p[2]),
                                       ch > 2 ? as<float>(p[3]) : nullptr};
                return zemsInterleave_32f(src, ch, len, as<float>(p[0]));
            });
        }
    }
}

} // namespace

namespace {

struct Codebooks {
    int S, H;
    std::vector<float> table[2];
    std::vector<std::vector<uint8_t>> mem;
    const ZemVqCodebook_32f* cb[2];
    Codebooks(int s, int h, std::mt19937& rng) : S(s), H(h) {
        std::uniform_real_distribution<float> u(-1.0f, 1.0f);
        int32_t size = 0;
        EXPECT_EQ(zemsVQCodeBookGetSize_32f(S, H, &size), zemStatusOk);
        EXPECT_EQ(size, (16 * S + 208) * H + 976);
        for (int b = 0; b < 2; ++b) {
            table[b].resize(std::size_t(S * H));
            for (float& v : table[b])
                v = u(rng);
            mem.emplace_back(std::size_t(size));
            ZemVqCodebook_32f* r = nullptr;
            EXPECT_EQ(zemsVQCodeBookInit_32f(table[b].data(), &r, S, H, mem.back().data()),
                      zemStatusOk);
            cb[b] = r;
        }
    }
    float at(int b, int r, int k) const { return table[b][std::size_t(r * S + k)]; }
};

// The weighted error of the average of two signed code vectors, summed in index order.
float pair_error(const Codebooks& c, const float* x, const float* w, int n, int a, int sa, int b,
                 int sb, float divisor) {
    float d = 0.0f;
    for (int k = 0; k < n; ++k) {
        const float e =
            x[k] -
            (float(1 - 2 * sb) * c.at(1, b, k) + float(1 - 2 * sa) * c.at(0, a, k)) / divisor;
        d += w[k] * e * e;
    }
    return d;
}

// The weighted distances of code vector r of a book from x and from -x.
std::pair<float, float> signed_distances(const Codebooks& c, int book, int r, const float* x,
                                         const float* w, int n) {
    float plus = 0, minus = 0;
    for (int k = 0; k < n; ++k) {
        plus += w[k] * (c.at(book, r, k) - x[k]) * (c.at(book, r, k) - x[k]);
        minus += w[k] * (c.at(book, r, k) + x[k]) * (c.at(book, r, k) + x[k]);
    }
    return {plus, minus};
}

// Every search against exhaustive ones on small random codebooks: the preliminary ranking
// (signs and ties as documented), the pair found from all candidates equals the best of all
// pairs (each vector with its own best sign), and the reconstruction of the chosen pair is their
// average.
TEST(VectorQuantiser, SearchesMatchExhaustiveOnes) {
    std::mt19937 rng(zemtest::seed());
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int trial = 0; trial < 20; ++trial) {
        const int S = 2 + trial % 5, H = 3 + trial % 7;
        Codebooks c(S, H, rng);
        const int numSub = 2;
        const int32_t len[2] = {S, S - 1};
        std::vector<float> x(std::size_t(2 * S)), w(std::size_t(2 * S));
        for (std::size_t i = 0; i < x.size(); ++i) {
            x[i] = u(rng);
            w[i] = 0.1f + std::fabs(u(rng));
        }
        const int32_t modes[2] = {1, trial % 2};
        // Preliminary selection of codebook 0 keeps the sorted distances.
        const int numCand = 1 + trial % (H - 1);
        std::vector<int32_t> idx(std::size_t(numSub * numCand)), sgn(idx.size());
        ASSERT_EQ(zemsVQPreliminarySelect_32f(x.data(), w.data(), numSub, len, idx.data(),
                                              sgn.data(), numCand, modes, c.cb[0]),
                  zemStatusOk);
        for (int j = 0, at = 0; j < numSub; at += len[j], ++j) {
            std::vector<std::pair<float, int>> all;
            for (int r = 0; r < H; ++r) {
                const auto [plus, minus] = signed_distances(c, 0, r, &x[at], &w[at], len[j]);
                all.push_back({modes[j] == 1 && minus <= plus ? minus : plus, r});
            }
            std::stable_sort(all.begin(), all.end(),
                             [](auto& a, auto& b) { return a.first < b.first; });
            for (int k = 0; k < numCand; ++k)
                ASSERT_EQ(idx[std::size_t(j * numCand + k)], all[std::size_t(k)].second);
        }
        // The combined search with every candidate: the best pair of all.
        const int32_t* modeRows[2] = {modes, modes};
        std::vector<int32_t> i0(2), i1(2), s0(2), s1(2);
        int32_t* ppIndex[2] = {i0.data(), i1.data()};
        int32_t* ppSign[2] = {s0.data(), s1.data()};
        ASSERT_EQ(zemsVQIndexSelect_32f(x.data(), w.data(), numSub, len, H, modeRows, ppIndex,
                                        ppSign, c.cb, 2),
                  zemStatusOk);
        for (int j = 0, at = 0; j < numSub; at += len[j], ++j) {
            // Each code vector with the sign that suits it alone (ties keep it), then all pairs.
            auto own_sign = [&](int book, int r) {
                const auto [plus, minus] = signed_distances(c, book, r, &x[at], &w[at], len[j]);
                return modes[j] == 1 && plus > minus ? 1 : 0;
            };
            float best = 1e38f;
            for (int a = 0; a < H; ++a)
                for (int b = 0; b < H; ++b)
                    best = std::min(best, pair_error(c, x.data() + at, w.data() + at, len[j], a,
                                                     own_sign(0, a), b, own_sign(1, b), 2.0f));
            const float got =
                pair_error(c, x.data() + at, w.data() + at, len[j], i0[std::size_t(j)],
                           s0[std::size_t(j)], i1[std::size_t(j)], s1[std::size_t(j)], 2.0f);
            ASSERT_NEAR(got, best, 1e-5f * (1.0f + best)) << trial << " " << j;
        }
        // The main selection over all candidates in natural order finds the same error.
        std::vector<int32_t> cand(std::size_t(numSub * H)), zero(cand.size(), 0);
        for (int j = 0; j < numSub; ++j)
            for (int r = 0; r < H; ++r)
                cand[std::size_t(j * H + r)] = r;
        const int32_t* candIdx[2] = {cand.data(), cand.data()};
        const int32_t* candSgn[2] = {zero.data(), zero.data()};
        std::vector<int32_t> m0(2), m1(2), t0(2), t1(2);
        int32_t* mIndex[2] = {m0.data(), m1.data()};
        int32_t* mSign[2] = {t0.data(), t1.data()};
        ASSERT_EQ(zemsVQMainSelect_32f(x.data(), w.data(), len, numSub, H, candIdx, candSgn, mIndex,
                                       mSign, c.cb, 2),
                  zemStatusOk);
        // Reconstruction of that pair: the average of the two code vectors.
        const int32_t plus[2] = {1, 1};
        const int32_t* rIdx[2] = {m0.data(), m1.data()};
        const int32_t* rSgn[2] = {plus, plus};
        std::vector<float> y(std::size_t(2 * S - 1));
        ASSERT_EQ(zemsVQReconstruction_32f(rIdx, rSgn, len, numSub, 2, y.data(), c.cb),
                  zemStatusOk);
        for (int j = 0, at = 0; j < numSub; at += len[j], ++j) {
            float best = 1e38f;
            for (int a = 0; a < H; ++a)
                for (int b = 0; b < H; ++b)
                    best = std::min(best, pair_error(c, x.data() + at, w.data() + at, len[j], a, 0,
                                                     b, 0, 2.0f));
            ASSERT_EQ(pair_error(c, x.data() + at, w.data() + at, len[j], m0[std::size_t(j)], 0,
                                 m1[std::size_t(j)], 0, 2.0f),
                      best);
            for (int k = 0; k < len[j]; ++k)
                ASSERT_FLOAT_EQ(y[std::size_t(at + k)],
                                (c.at(0, m0[std::size_t(j)], k) + c.at(1, m1[std::size_t(j)], k)) *
                                    0.5f);
        }
    }
}

// Equal code vectors and a zero source with sign mode 1: equal distances keep the index order,
// and every candidate is negated.
TEST(VectorQuantiser, TiesKeepIndexOrderAndNegate) {
    const std::vector<float> table(12, 0.5f);
    ZemVqCodebook_32f* r = nullptr;
    ASSERT_EQ(zemsVQCodeBookInitAlloc_32f(table.data(), &r, 3, 4), zemStatusOk);
    const float x[3] = {0, 0, 0}, w[3] = {1, 1, 1};
    const int32_t len[1] = {3}, mode[1] = {1};
    int32_t idx[4], sgn[4];
    ASSERT_EQ(zemsVQPreliminarySelect_32f(x, w, 1, len, idx, sgn, 4, mode, r), zemStatusOk);
    EXPECT_EQ(std::vector<int32_t>(idx, idx + 4), (std::vector<int32_t>{0, 1, 2, 3}));
    EXPECT_EQ(std::vector<int32_t>(sgn, sgn + 4), (std::vector<int32_t>{1, 1, 1, 1}));
    EXPECT_EQ(zemsVQCodeBookFree_32f(r), zemStatusOk);
}

} // namespace
