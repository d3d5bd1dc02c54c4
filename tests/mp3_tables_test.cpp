// Layer III band tables: known boundaries and the properties the decoders rely on.
#include <gtest/gtest.h>

#include "tables/mp3_sfb_bands.hpp"

namespace {

using namespace zem::mp3;

TEST(Mp3Tables, KnownBandBoundaries) {
    const int16_t row3[] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                            74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};
    for (int b = 0; b < kLongBoundaries; ++b)
        EXPECT_EQ(kSfbLong[sfb_row(1, 0)][b], row3[b]) << b;
    EXPECT_EQ(kSfbLong[sfb_row(0, 1)][18], 332);  // 24 kHz
    EXPECT_EQ(kSfbLong[sfb_row(1, 1)][20], 330);  // 48 kHz
    EXPECT_EQ(kSfbLong[sfb_row(1, 2)][21], 550);  // 32 kHz
    EXPECT_EQ(kSfbShort[sfb_row(0, 0)][12], 174); // 22.05 kHz
    EXPECT_EQ(kSfbShort[sfb_row(0, 2)][11], 134); // 16 kHz
    EXPECT_EQ(kSfbShort[sfb_row(1, 1)][12], 126); // 48 kHz
}

// A mixed block switches from long to short bands at line 36 at every rate: after 8 long bands
// in MPEG-1 and 6 in MPEG-2, which is where short band 3 starts in each window.
TEST(Mp3Tables, MixedBlockSwitchPointIs36Lines) {
    for (int row = 0; row < kSfbRows; ++row) {
        const int longBands = row >= 3 ? 8 : 6;
        EXPECT_EQ(kSfbLong[row][longBands], 36) << row;
        EXPECT_EQ(3 * kSfbShort[row][3], 36) << row;
    }
}

} // namespace
