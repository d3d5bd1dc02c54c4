// Layer III scale-factor band boundaries (ISO/IEC 11172-3 Table 3-B.8, ISO/IEC 13818-3 Table B.2).
// Row = id * 3 + sampling_frequency: rows 0-2 are MPEG-2 at 22.05, 24 and 16 kHz, rows 3-5
// MPEG-1 at 44.1, 48 and 32 kHz. Band b spans [row[b], row[b + 1]); short boundaries count the
// lines of one window. 24 kHz long boundary 18 is 332, the value of the standard's text.
#pragma once

#include <cstdint>

namespace zem::mp3 {

constexpr int kSfbRows = 6;
constexpr int kLongBoundaries = 23;  // 22 bands, 0..576
constexpr int kShortBoundaries = 14; // 13 bands, 0..192

constexpr int16_t kSfbLong[kSfbRows][kLongBoundaries] = {
    {0,   6,   12,  18,  24,  30,  36,  44,  54,  66,  80, 96,
     116, 140, 168, 200, 238, 284, 336, 396, 464, 522, 576},
    {0,   6,   12,  18,  24,  30,  36,  44,  54,  66,  80, 96,
     114, 136, 162, 194, 232, 278, 332, 394, 464, 540, 576},
    {0,   6,   12,  18,  24,  30,  36,  44,  54,  66,  80, 96,
     116, 140, 168, 200, 238, 284, 336, 396, 464, 522, 576},
    {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
     74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576},
    {0,  4,  8,   12,  16,  20,  24,  30,  36,  42,  50, 60,
     72, 88, 106, 128, 156, 190, 230, 276, 330, 384, 576},
    {0,  4,   8,   12,  16,  20,  24,  30,  36,  44,  54, 66,
     82, 102, 126, 156, 194, 240, 296, 364, 448, 550, 576},
};

// The long bands' pre-emphasis (ISO/IEC 11172-3 Table 3-B.6), added to the scale factors when
// preflag is set.
constexpr int kPretab[22] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 3, 3, 3, 2, 0};

constexpr int16_t kSfbShort[kSfbRows][kShortBoundaries] = {
    {0, 4, 8, 12, 18, 24, 32, 42, 56, 74, 100, 132, 174, 192},
    {0, 4, 8, 12, 18, 26, 36, 48, 62, 80, 104, 136, 180, 192},
    {0, 4, 8, 12, 18, 26, 36, 48, 62, 80, 104, 134, 174, 192},
    {0, 4, 8, 12, 16, 22, 30, 40, 52, 66, 84, 106, 136, 192},
    {0, 4, 8, 12, 16, 22, 28, 38, 50, 64, 80, 100, 126, 192},
    {0, 4, 8, 12, 16, 22, 30, 42, 58, 78, 104, 138, 180, 192},
};

constexpr int sfb_row(int32_t id, int32_t samplingFrequency) {
    return int(id) * 3 + int(samplingFrequency);
}

namespace detail {
template <int N> constexpr bool rows_increase(const int16_t (&t)[kSfbRows][N], int16_t last) {
    for (const auto& row : t) {
        if (row[0] != 0 || row[N - 1] != last)
            return false;
        for (int b = 1; b < N; ++b)
            if (row[b] <= row[b - 1] || (row[b] & 1) != 0)
                return false;
    }
    return true;
}
} // namespace detail

static_assert(detail::rows_increase(kSfbLong, 576) && detail::rows_increase(kSfbShort, 192));

} // namespace zem::mp3
