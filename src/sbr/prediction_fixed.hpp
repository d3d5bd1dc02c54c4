// The fixed-point HF-generation prediction's limits: the rows it reads and the headroom shift of
// its input.
#pragma once

#include <cstdint>

namespace zem::sbr {

// The fixed-point predictor reads rows 0 .. 39 at most: len is capped at 38.
inline constexpr int32_t kFixedRows = 40;

// Right shift that leaves two bits of headroom in the samples of a band whose largest magnitude
// is m (0 <= m <= 2^31): 0 below 2^29, 1 at 2^29, 2 from 2^30, 3 at 2^31. Never a left shift.
int32_t headroom_shift(int64_t m);

} // namespace zem::sbr
