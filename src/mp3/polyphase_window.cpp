#include "mp3/polyphase_window.hpp"

#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"
#include "tables/mp3_window.hpp"

#include <utility>

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

// The SSE2 kernel takes each product's upper half straight from the unsigned 32 x 32 -> 64-bit
// multiply. With a' = a + 2^31 (the sign bit flipped) and the Q30 coefficient D read as unsigned
// (D + 2^32 where it is negative), hi(a' D) = hi(a D) + 2^13 d + a' [D < 0] modulo 2^32: a' D is
// a D + 2^31 D, and 2^31 D / 2^32 = 2^13 d is an integer. The 2^13 d of an output's 16 terms add
// up to a constant; the a' of the terms with a negative coefficient are summed on the side.
// The lanes of an output group take one slot parity's values in ascending index order and the
// other's in descending order; the second kind accumulates in reversed lanes, so that no
// value needs a shuffle, and is turned around once at the end.
struct UnsignedWindow {
    uint32_t w[8][8][4][4];        // [group][i]: ascending lanes 0/2 and 1/3, reversed 0/2 and 1/3
    uint32_t negative[8][8][2][4]; // [group][i]: all ones in the lanes with D < 0, per direction
    uint32_t offset[32];           // sum of 2^13 d over an output's 16 terms, modulo 2^32
};

constexpr UnsignedWindow make_unsigned_window() {
    UnsignedWindow t{};
    for (int c = 0; c < 8; ++c)
        for (int i = 0; i < 8; ++i)
            for (int l = 0; l < 4; ++l) {
                const int up = 4 * c + l, down = 4 * c + 3 - l;
                // Groups 0-3 take the even-aged slot ascending, groups 4-7 the odd-aged one.
                const int32_t dUp = c < 4 ? kWindow.even[i][up] : kWindow.odd[i][up];
                const int32_t dDown = c < 4 ? kWindow.odd[i][down] : kWindow.even[i][down];
                t.w[c][i][l & 1][2 * (l >> 1)] = uint32_t(dUp);
                t.w[c][i][2 + (l & 1)][2 * (l >> 1)] = uint32_t(dDown);
                t.negative[c][i][0][l] = dUp < 0 ? ~0u : 0u;
                t.negative[c][i][1][l] = dDown < 0 ? ~0u : 0u;
            }
    for (int j = 0; j < 32; ++j)
        for (int i = 0; i < 8; ++i)
            t.offset[j] += uint32_t(kWindow.even[i][j] / 2 + kWindow.odd[i][j] / 2);
    return t;
}

constexpr UnsignedWindow kUnsignedWindow = make_unsigned_window();

// How many lanes of a direction's four have a negative coefficient: none, all, or some (masked).
enum class Negative { None, All, Some };

constexpr Negative negative_lanes(int c, int i, int direction) {
    int n = 0;
    for (uint32_t m : kUnsignedWindow.negative[c][i][direction])
        n += m != 0;
    return n == 0 ? Negative::None : n == 4 ? Negative::All : Negative::Some;
}

// D = d 2^14 with d an integer, so that 2^31 D / 2^32 = 2^13 d is one too.
constexpr bool window_is_q30_of_integers() {
    for (int32_t d : kSynthesisWindow16)
        if (d <= -(1 << 17) || d >= (1 << 17))
            return false;
    return true;
}
static_assert(window_is_q30_of_integers());

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

struct Sums {
    simd::I32x4 upEven, upOdd, downEven, downOdd; // products of lanes 0/2 and 1/3, as words
    simd::I32x4 upNegative, downNegative;         // a' of the terms with D < 0
};

// Adds a' D of four lanes (a' = a with its sign bit flipped) to the product sums, w holding the
// coefficients of lanes 0 and 2, then of lanes 1 and 3, at words 0 and 2.
template <Negative kind>
void accumulate(simd::I32x4 a, const uint32_t* w, const uint32_t* negative, simd::I32x4& even,
                simd::I32x4& odd, simd::I32x4& sumNegative) {
    using namespace simd;
    const I32x4 w02 = load(reinterpret_cast<const int32_t*>(w));
    const I32x4 w13 = load(reinterpret_cast<const int32_t*>(w + 4));
    even = even + mul_even_u32_words(a, w02);
    odd = odd + mul_even_u32_words(odd_lanes(a), w13);
    if constexpr (kind == Negative::All)
        sumNegative = sumNegative + a;
    else if constexpr (kind == Negative::Some)
        sumNegative = sumNegative + (a & load(reinterpret_cast<const int32_t*>(negative)));
}

// Term I of outputs 4C .. 4C + 3. Groups 0-3 read the even-aged slots ascending from value
// 16 + 4C and the odd-aged ones descending from 13 - 4C; groups 4-7 the odd-aged ones ascending
// from 4C - 16 and the even-aged ones descending from 45 - 4C, except group 4, whose lane for
// output 16 has a zero window: it reads from 28 and moves the values down one lane.
// slot[2I] and slot[2I + 1] are the even- and odd-aged slots of term I.
template <int C, int I> void window_term(const int32_t* const* slot, Sums& s) {
    using namespace simd;
    const int32_t* e = slot[2 * I];
    const int32_t* o = slot[2 * I + 1];
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
    const I32x4 bias = splat(int32_t(0x80000000u));
    const UnsignedWindow& t = kUnsignedWindow;
    accumulate<negative_lanes(C, I, 0)>(u ^ bias, t.w[C][I][0], t.negative[C][I][0], s.upEven,
                                        s.upOdd, s.upNegative);
    accumulate<negative_lanes(C, I, 1)>(d ^ bias, t.w[C][I][2], t.negative[C][I][1], s.downEven,
                                        s.downOdd, s.downNegative);
    // Left alone, the compiler reassociates the unrolled sums and spills every product; this
    // empty statement makes it finish each term's additions before the next term starts.
    asm(""
        : "+x"(s.upEven.v), "+x"(s.upOdd.v), "+x"(s.downEven.v), "+x"(s.downOdd.v),
          "+x"(s.upNegative.v), "+x"(s.downNegative.v));
}

template <int C, int... I>
void window_group(const int32_t* const* slot, int32_t* out, std::integer_sequence<int, I...>) {
    using namespace simd;
    Sums s{splat(0), splat(0), splat(0), splat(0), splat(0), splat(0)};
    (window_term<C, I>(slot, s), ...);
    const I32x4 ascending = high_words(s.upEven, s.upOdd) - s.upNegative;
    const I32x4 descending = high_words(s.downEven, s.downOdd) - s.downNegative;
    const I32x4 offset = load(reinterpret_cast<const int32_t*>(kUnsignedWindow.offset + 4 * C));
    store(out + 4 * C, ascending + reverse(descending) - offset);
}

template <int C> void window_group(const int32_t* const* slot, int32_t* out) {
    window_group<C>(slot, out, std::make_integer_sequence<int, 8>());
}

} // namespace

void polyphase_window_sse2(const int32_t* v, int pos, int32_t* sum) {
    const int32_t* slot[16];
    for (int k = 0; k < 16; ++k)
        slot[k] = v + 32 * ((pos + k) & 15);
    // Read back from memory where a term needs them: held in vector registers instead, each
    // pointer would cost an extraction and a spill.
    asm("" : : "r"(slot) : "memory");
    window_group<0>(slot, sum);
    window_group<1>(slot, sum);
    window_group<2>(slot, sum);
    window_group<3>(slot, sum);
    window_group<4>(slot, sum);
    window_group<5>(slot, sum);
    window_group<6>(slot, sum);
    window_group<7>(slot, sum);
}

#if ZEM_HAS_AVX2_KERNELS
namespace {

// The AVX2 kernel takes the signed products directly, eight outputs per group: groups 0 and 1
// read the even-aged slot ascending from 16 + 8C and the odd-aged one descending from 16 - 8C;
// groups 2 and 3 the odd-aged slot ascending from 8C - 16 and the even-aged one descending from
// 48 - 8C (group 2's output 16 has a zero window: it reads from 24 with the values moved down one
// lane). The descending terms accumulate in reversed lanes, turned around once at the end. The
// products' words are summed with 32-bit additions, so that the upper words add up modulo 2^32
// without carries from the lower ones.
struct SignedWindow {
    // [group][term][ascending, reversed][even, odd lanes][lane]: the coefficients of the even
    // lanes in place, those of the odd lanes moved down one lane, where the multiply reads them.
    int32_t w[4][8][2][2][8];
};

constexpr SignedWindow make_signed_window() {
    SignedWindow t{};
    for (int c = 0; c < 4; ++c)
        for (int i = 0; i < 8; ++i)
            for (int l = 0; l < 8; ++l) {
                const int up = 8 * c + l, down = 8 * c + 7 - l;
                const int32_t dUp = c < 2 ? kWindow.even[i][up] : kWindow.odd[i][up];
                const int32_t dDown = c < 2 ? kWindow.odd[i][down] : kWindow.even[i][down];
                const int lane = l & 1 ? l - 1 : l, half = l & 1;
                t.w[c][i][0][half][lane] = dUp;
                t.w[c][i][1][half][lane] = dDown;
            }
    return t;
}

constexpr SignedWindow kSignedWindow = make_signed_window();

struct WordSums {
    simd::I64x4 even, odd;
};

ZEM_AVX2 inline void accumulate_avx2(simd::I32x8 a, const int32_t (&w)[2][8], WordSums& s) {
    using namespace simd;
    s.even.v = _mm256_add_epi32(s.even.v, mul_even(a, load8(w[0])).v);
    s.odd.v = _mm256_add_epi32(s.odd.v, mul_even(odd_words(a), load8(w[1])).v);
}

template <int C> ZEM_AVX2 void window_group_avx2(const int32_t* const* slot, int32_t* out) {
    using namespace simd;
    WordSums up{zero64x4(), zero64x4()}, down{zero64x4(), zero64x4()};
#pragma GCC unroll 8
    for (int i = 0; i < 8; ++i) {
        const int32_t* e = slot[2 * i];
        const int32_t* o = slot[2 * i + 1];
        I32x8 u, d;
        if constexpr (C < 2) {
            u = load8(e + 16 + 8 * C);
            d = load8(o + 9 - 8 * C);
        } else if constexpr (C == 2) {
            u = load8(o);
            d = I32x8{_mm256_permutevar8x32_epi32(load8(e + 24).v,
                                                  _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 7))};
        } else {
            u = load8(o + 8 * C - 16);
            d = load8(e + 41 - 8 * C);
        }
        accumulate_avx2(u, kSignedWindow.w[C][i][0], up);
        accumulate_avx2(d, kSignedWindow.w[C][i][1], down);
        // As in the SSE2 kernel: each term's additions finish before the next term starts.
        asm("" : "+x"(up.even.v), "+x"(up.odd.v), "+x"(down.even.v), "+x"(down.odd.v));
    }
    const I32x8 ascending = high_words(up.even, up.odd);
    const I32x8 descending = high_words(down.even, down.odd);
    store(out + 8 * C, ascending + reverse(descending));
}

} // namespace

ZEM_AVX2 void polyphase_window_avx2(const int32_t* v, int pos, int32_t* sum) {
    const int32_t* slot[16];
    for (int k = 0; k < 16; ++k)
        slot[k] = v + 32 * ((pos + k) & 15);
    window_group_avx2<0>(slot, sum);
    window_group_avx2<1>(slot, sum);
    window_group_avx2<2>(slot, sum);
    window_group_avx2<3>(slot, sum);
}
#endif

void polyphase_pcm_scalar(const int32_t* sum, int16_t* out, int stride) {
    for (int j = 0; j < 32; ++j) {
        const int32_t v = wrap_add(sum[j], 64) >> 7;
        out[stride * j] = int16_t(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
    }
}

namespace {

// Compiled into each kernel with that kernel's instruction set (the AVX2 one stores the strided
// samples straight from the vector).
[[gnu::always_inline]] inline void write_pcm(const int32_t* sum, int16_t* out, int stride) {
    using namespace simd;
    for (int j = 0; j < 32; j += 8) {
        const I32x4 a = sar(load(sum + j) + splat(64), 7);
        const I32x4 b = sar(load(sum + j + 4) + splat(64), 7);
        if (stride == 1)
            store_sat16(out + j, a, b);
        else
            store_sat16_stride2(out + 2 * j, a, b);
    }
}

} // namespace

void polyphase_pcm_sse2(const int32_t* sum, int16_t* out, int stride) {
    write_pcm(sum, out, stride);
}

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void polyphase_pcm_avx2(const int32_t* sum, int16_t* out, int stride) {
    write_pcm(sum, out, stride);
}
#endif

const PolyphaseKernels& polyphase_kernels() {
    return ZEM_CHOSEN_KERNELS(kPolyphaseSse2, kPolyphaseAvx2);
}

} // namespace zem::mp3
