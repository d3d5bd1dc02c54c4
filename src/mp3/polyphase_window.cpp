#include "mp3/polyphase_window.hpp"

#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "tables/mp3_window.hpp"

namespace zem::mp3 {
namespace {

// Output j takes V[j] of the even-aged slots and V[32 + j] of the odd-aged ones; in terms of a
// slot's DCT values A: V[j] = A[16 + j] (j < 16), 0 (j = 16), -A[48 - j] (j > 16), and
// V[32 + j] = -A[16 - j] (j < 16), -A[0] (j = 16), -A[j - 16] (j > 16). The signs are folded
// into the window, so each product is hi(A D') = hi(V D) exactly.
struct Window {
    uint8_t evenIndex[32], oddIndex[32];
    int32_t even[8][32], odd[8][32]; // Q30
};

constexpr Window make_window() {
    Window t{};
    for (int j = 0; j < 32; ++j) {
        const int evenSign = j < 16 ? 1 : j == 16 ? 0 : -1;
        t.evenIndex[j] = uint8_t(j < 16 ? 16 + j : j == 16 ? 0 : 48 - j);
        t.oddIndex[j] = uint8_t(j < 16 ? 16 - j : j == 16 ? 0 : j - 16);
        for (int i = 0; i < 8; ++i) {
            t.even[i][j] = evenSign * kSynthesisWindow16[64 * i + j] * 16384;
            t.odd[i][j] = -kSynthesisWindow16[64 * i + 32 + j] * 16384;
        }
    }
    return t;
}

constexpr Window kWindow = make_window();

// The SSE2 kernel forms the exact products with the unsigned 32 x 32 -> 64-bit multiply. With
// the window in units of 2^-16 (D = d 2^14, |d| < 2^17), a' = a + 2^31 and d' = d + 2^18, both
// non-negative: hi(a D) = floor(a d / 2^18) = floor(a' d' / 2^18) - a' - 2^13 d exactly. Over
// the 16 terms of an output the a' sum to the a modulo 2^32, and the 2^13 d to a constant.
// The lanes of an output group take one slot parity's values in ascending index order and the
// other's in descending order; the second kind accumulates in reversed lanes, so that no
// value needs a shuffle, and is turned around once at the end.
struct UnsignedWindow {
    uint32_t w[8][8][4][4]; // [group][i]: ascending lanes 0/2 and 1/3, reversed lanes 0/2 and 1/3
    uint32_t offset[32];    // sum of 2^13 d over an output's 16 terms, modulo 2^32
};

constexpr UnsignedWindow make_unsigned_window() {
    UnsignedWindow t{};
    for (int c = 0; c < 8; ++c)
        for (int i = 0; i < 8; ++i)
            for (int l = 0; l < 4; ++l) {
                const int up = 4 * c + l, down = 4 * c + 3 - l;
                // Groups 0-3 take the even-aged slot ascending, groups 4-7 the odd-aged one.
                const int32_t dUp = (c < 4 ? kWindow.even[i][up] : kWindow.odd[i][up]) / 16384;
                const int32_t dDown =
                    (c < 4 ? kWindow.odd[i][down] : kWindow.even[i][down]) / 16384;
                t.w[c][i][l & 1][2 * (l >> 1)] = uint32_t(dUp + (1 << 18));
                t.w[c][i][2 + (l & 1)][2 * (l >> 1)] = uint32_t(dDown + (1 << 18));
            }
    for (int j = 0; j < 32; ++j)
        for (int i = 0; i < 8; ++i)
            t.offset[j] += uint32_t(kWindow.even[i][j] / 2 + kWindow.odd[i][j] / 2);
    return t;
}

constexpr UnsignedWindow kUnsignedWindow = make_unsigned_window();

constexpr bool biased_window_is_unsigned() {
    for (int32_t d : kSynthesisWindow16)
        if (d <= -(1 << 18) || d >= (1 << 18))
            return false;
    return true;
}
static_assert(biased_window_is_unsigned());

} // namespace

void polyphase_window_scalar(const int32_t* v, int pos, int32_t* sum) {
    for (int j = 0; j < 32; ++j)
        sum[j] = 0;
    for (int i = 0; i < 8; ++i) {
        const int32_t* even = v + 32 * ((pos + 2 * i) & 15);
        const int32_t* odd = v + 32 * ((pos + 2 * i + 1) & 15);
        for (int j = 0; j < 32; ++j)
            sum[j] =
                wrap_add(sum[j], wrap_add(mul_hi32(even[kWindow.evenIndex[j]], kWindow.even[i][j]),
                                          mul_hi32(odd[kWindow.oddIndex[j]], kWindow.odd[i][j])));
    }
}

namespace {

// Adds floor(a' d' / 2^18) of the four lanes to two 64-bit accumulators (lanes 0/2 and 1/3);
// w holds d' of lanes 0 and 2, then of lanes 1 and 3, at words 0 and 2.
void accumulate(simd::I32x4 a, const uint32_t* w, simd::U64x2& even, simd::U64x2& odd) {
    using namespace simd;
    const I32x4 w02 = load(reinterpret_cast<const int32_t*>(w));
    const I32x4 w13 = load(reinterpret_cast<const int32_t*>(w + 4));
    even = even + shr(mul_even_u32(a, w02), 18);
    odd = odd + shr(mul_even_u32(odd_lanes(a), w13), 18);
}

} // namespace

namespace {

// Outputs 4C .. 4C + 3. Groups 0-3 read the even-aged slots ascending from value 16 + 4C and
// the odd-aged ones descending from 13 - 4C; groups 4-7 the odd-aged ones ascending from
// 4C - 16 and the even-aged ones descending from 45 - 4C, except group 4, whose lane for
// output 16 has a zero window: it reads from 28 and moves the values down one lane.
// slot[2i] and slot[2i + 1] are the even- and odd-aged slots of term i.
template <int C> void window_group(const int32_t* const* slot, int32_t* out) {
    using namespace simd;
    const I32x4 bias = splat(int32_t(0x80000000u));
    U64x2 upEven = zero64(), upOdd = upEven, downEven = upEven, downOdd = upEven;
    I32x4 upSum = splat(0), downSum = upSum;
    // Unrolled, the compiler reassociates the sums and spills every product.
#if defined(__clang__)
#pragma clang loop unroll(disable)
#else
#pragma GCC unroll 1
#endif
    for (int i = 0; i < 8; ++i) {
        const int32_t* e = slot[2 * i];
        const int32_t* o = slot[2 * i + 1];
        I32x4 u, d;
        if constexpr (C < 4) {
            u = load(e + 16 + 4 * C);
            d = load(o + 13 - 4 * C);
        } else if constexpr (C == 4) {
            u = load(o);
            d = shift_down(load(e + 28));
        } else {
            u = load(o + 4 * C - 16);
            d = load(e + 45 - 4 * C);
        }
        u = u ^ bias;
        d = d ^ bias;
        upSum = upSum + u;
        downSum = downSum + d;
        accumulate(u, kUnsignedWindow.w[C][i][0], upEven, upOdd);
        accumulate(d, kUnsignedWindow.w[C][i][2], downEven, downOdd);
    }
    const I32x4 ascending = low_words(upEven, upOdd) - upSum;
    const I32x4 descending = low_words(downEven, downOdd) - downSum;
    const I32x4 offset = load(reinterpret_cast<const int32_t*>(kUnsignedWindow.offset + 4 * C));
    store(out + 4 * C, ascending + reverse(descending) - offset);
}

} // namespace

void polyphase_window_sse2(const int32_t* v, int pos, int32_t* sum) {
    const int32_t* slot[16];
    for (int k = 0; k < 16; ++k)
        slot[k] = v + 32 * ((pos + k) & 15);
    window_group<0>(slot, sum);
    window_group<1>(slot, sum);
    window_group<2>(slot, sum);
    window_group<3>(slot, sum);
    window_group<4>(slot, sum);
    window_group<5>(slot, sum);
    window_group<6>(slot, sum);
    window_group<7>(slot, sum);
}

} // namespace zem::mp3
