// Integer pieces of the fixed-point HF-generation prediction: the headroom shift of the input and
// the division by a normalised Newton-Raphson reciprocal.
#pragma once

#include <cstdint>

namespace zem::sbr {

// The fixed-point predictor reads rows 0 .. 39 at most: len is capped at 38.
inline constexpr int32_t kFixedRows = 40;

// Right shift that leaves two bits of headroom in the samples of a band whose largest magnitude
// is m (0 <= m <= 2^31): 0 below 2^29, 1 at 2^29, 2 from 2^30, 3 at 2^31. Never a left shift.
int32_t headroom_shift(int64_t m);

// Values at or beyond this magnitude stand for "too large" (any |alpha| >= 4 in Q29).
inline constexpr int64_t kRatioHuge = int64_t(1) << 40;

// num / den * 2^q for den > 0, to within a unit or two of the last place, with results beyond
// kRatioHuge clamped to +-kRatioHuge. Both operands are normalised to 31 bits; 1/den comes from
// five Newton-Raphson steps y <- y (2 - d y) seeded with 4/3 (0x15555555 in Q28).
int64_t fixed_ratio(int64_t num, int64_t den, int32_t q);

} // namespace zem::sbr
