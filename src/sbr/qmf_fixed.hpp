// The fixed-point SBR QMF banks: their record (tag, the offset of the two-word delay descriptor,
// ownedByLibrary; the descriptor holds the delay line's offset and the write index; the line
// starts 32 bytes after the record) and the Q30 tables, all made at compile time from the
// single-precision prototype.
#pragma once

#include <cstdint>

#include "core/state.hpp"
#include "tables/sbr_qmf_window.hpp"
#include "transform/fixed_fft.hpp"
#include "transform/twiddle.hpp"

namespace zem::sbr {

struct FixedRecord {
    uint32_t tag;
    int32_t descriptorOffset; // 16
    int32_t ownedByLibrary;
    int32_t reserved;
    int32_t delayOffset; // the descriptor: the line (32), then the write index
    int32_t index;
    int32_t reserved2[2];
};
static_assert(sizeof(FixedRecord) == 32);

inline FixedRecord* fixed_record(void* handle) {
    return align_up<16>(static_cast<FixedRecord*>(handle));
}
inline int32_t* fixed_delay(FixedRecord* r) {
    return reinterpret_cast<int32_t*>(reinterpret_cast<uint8_t*>(r) + r->delayOffset);
}

// c[i] 2^30 truncated toward zero, every coefficient and every second one.
struct FixedWindows {
    int32_t full[640];
    int32_t even[320];
};
constexpr FixedWindows make_fixed_windows() {
    FixedWindows w{};
    for (int i = 0; i < 640; ++i) {
        const int32_t q = int32_t(double(kQmfWindow[i]) * 1073741824.0);
        w.full[i] = q;
        if (i % 2 == 0)
            w.even[i / 2] = q;
    }
    return w;
}
inline constexpr FixedWindows kFixedWindows = make_fixed_windows();
static_assert(kFixedWindows.even[1] == -603195 && kFixedWindows.even[160] == 916694784);

// Rotation factors (cos, sin) in Q30, rounded to nearest.
struct Q30Pair {
    int32_t c, s;
};
constexpr Q30Pair q30_turn(int64_t num, int64_t den) {
    const CosSin a = cos_sin_constexpr(double(num), double(den));
    return {int32_t(cmath::round_to_int(a.c * 1073741824.0)),
            int32_t(cmath::round_to_int(a.s * 1073741824.0))};
}

struct FixedRotations {
    Q30Pair quarter[32];  // pi (4i + 1)/256
    Q30Pair step[33];     // pi r/64
    Q30Pair downPre[32];  // pi 63.75 k/32
    Q30Pair downPost[64]; // pi (n - 63.75)/64
    Q30Pair lowPower[64]; // pi (k + 1/2) 191/128: real banks from the complex ones
};
constexpr FixedRotations make_fixed_rotations() {
    FixedRotations r{};
    for (int i = 0; i < 32; ++i) {
        r.quarter[i] = q30_turn(4 * i + 1, 512);
        r.downPre[i] = q30_turn(255 * i, 256);
    }
    for (int i = 0; i < 33; ++i)
        r.step[i] = q30_turn(i, 128);
    for (int n = 0; n < 64; ++n) {
        r.downPost[n] = q30_turn(4 * n - 255, 512);
        r.lowPower[n] = q30_turn((2 * n + 1) * 191, 512);
    }
    return r;
}
inline constexpr FixedRotations kFixedRotations = make_fixed_rotations();

// Rotations of n pairs (a, b) = (in[2i], in[2i + 1]) by per-pair factors stored as pairs too:
//   out[2i]     = (a pq[2i] + b pq[2i + 1] + 2^(shift - 1)) >> shift,
//   out[2i + 1] = (a rt[2i] + b rt[2i + 1] + 2^(shift - 1)) >> shift,
// the sums exact in 64 bits (factors within +-2^30) and the results wrapped to int32, for
// 1 <= shift <= 62. Every sign sits in the factors, so that no input needs negating. fold
// gathers the 64-band synthesis' pairs from a row of 64 interleaved complex values:
// (re[2j], re[63 - 2j]) to pairs[2j, 2j + 1] and (im[63 - 2j], im[2j]) to pairs[64 + 2j,
// 65 + 2j], for j < 32. Scalar, SSE2 and AVX2 give the same integers.
struct FixedRotationKernels {
    void (*rotate)(int32_t* out, const int32_t* in, const int32_t* pq, const int32_t* rt, int32_t n,
                   int shift);
    void (*fold)(int32_t* pairs, const int32_t* row);
};
extern const FixedRotationKernels kFixedRotationScalar;
extern const FixedRotationKernels kFixedRotationSse2;
#if defined(__x86_64__)
extern const FixedRotationKernels kFixedRotationAvx2;
#endif
const FixedRotationKernels& fixed_rotation_kernels();

// The factors of n rotations in the kernels' layout.
template <int N> struct FixedTurns {
    int32_t pq[2 * N];
    int32_t rt[2 * N];
};
template <int N>
constexpr void set_turn(FixedTurns<N>& t, int i, int32_t p, int32_t q, int32_t r, int32_t s) {
    t.pq[2 * i] = p;
    t.pq[2 * i + 1] = q;
    t.rt[2 * i] = r;
    t.rt[2 * i + 1] = s;
}

// The window stages' loops, all sums wrapping: accumulate adds hi32(w[i] x[i]) to acc[i] for
// i < n; sum_blocks sets acc[i] to the sum over b < blocks of hi32(w[b][i] x[b][i]), kept in
// registers. Scalar, SSE2 and AVX2 give the same integers.
struct FixedWindowKernels {
    void (*accumulate)(int32_t* acc, const int32_t* w, const int32_t* x, int32_t n);
    void (*sum_blocks)(int32_t* acc, const int32_t* const* w, const int32_t* const* x,
                       int32_t blocks, int32_t n);
};
extern const FixedWindowKernels kFixedWindowScalar;
extern const FixedWindowKernels kFixedWindowSse2;
#if defined(__x86_64__)
extern const FixedWindowKernels kFixedWindowAvx2;
#endif
// The set this process runs (core/cpu.hpp).
const FixedWindowKernels& fixed_window_kernels();

inline constexpr const FixedFftTable<5>& kFixedFft32 = kFixedFftTable<5>;
inline constexpr const FixedFftTable<6>& kFixedFft64 = kFixedFftTable<6>;

} // namespace zem::sbr
