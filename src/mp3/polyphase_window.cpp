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

void polyphase_window_sse2(const int32_t* v, int pos, int32_t* sum) {
    using namespace simd;
    I32x4 acc[8];
    for (I32x4& a : acc)
        a = splat(0);
    for (int i = 0; i < 8; ++i) {
        const int32_t* e = v + 32 * ((pos + 2 * i) & 15);
        const int32_t* o = v + 32 * ((pos + 2 * i + 1) & 15);
        // The slot values of outputs 0..31 in groups of four (see the index maps above).
        const I32x4 even[8] = {load(e + 16),
                               load(e + 20),
                               load(e + 24),
                               load(e + 28),
                               shift_up(reverse(load(e + 28))),
                               reverse(load(e + 25)),
                               reverse(load(e + 21)),
                               reverse(load(e + 17))};
        const I32x4 odd[8] = {reverse(load(o + 13)),
                              reverse(load(o + 9)),
                              reverse(load(o + 5)),
                              reverse(load(o + 1)),
                              load(o),
                              load(o + 4),
                              load(o + 8),
                              load(o + 12)};
        for (int c = 0; c < 8; ++c)
            acc[c] = acc[c] + mul_hi(even[c], load(kWindow.even[i] + 4 * c)) +
                     mul_hi(odd[c], load(kWindow.odd[i] + 4 * c));
    }
    for (int c = 0; c < 8; ++c)
        store(sum + 4 * c, acc[c]);
}

} // namespace zem::mp3
