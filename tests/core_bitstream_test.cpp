#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/bitstream.hpp"
#include "support/bit_builder.hpp"
#include "support/seed.hpp"

namespace {

using zemtest::bits_at;

TEST(BitReader, MatchesBitModelAtEveryPositionAndWidth) {
    std::mt19937 rng(zemtest::seed());
    std::vector<uint8_t> data(64);
    for (auto& b : data)
        b = uint8_t(rng());
    for (int pos = 0; pos < 8; ++pos) {
        for (int n = 1; n <= 25; ++n) {
            for (std::size_t byte = 0; byte < 16; ++byte) {
                uint8_t* p = data.data() + byte;
                int32_t bitPos = pos;
                const uint32_t v = zem::read_bits(p, bitPos, n);
                const std::size_t start = byte * 8 + std::size_t(pos);
                ASSERT_EQ(v, bits_at(data.data(), start, n)) << "pos " << pos << " n " << n;
                ASSERT_EQ(std::size_t(p - data.data()) * 8 + std::size_t(bitPos),
                          start + std::size_t(n));
                ASSERT_LT(bitPos, 8);

                zem::BitCursor c(data.data() + byte, pos);
                ASSERT_EQ(c.peek(n), v);
                ASSERT_EQ(c.read(n), v);
                ASSERT_EQ(c.byte_ptr(), p);
                ASSERT_EQ(c.bit_pos(), bitPos);
            }
        }
    }
}

TEST(BitReader, AlignToByteMovesOnlyInsideAByte) {
    uint8_t data[4] = {};
    uint8_t* p = data + 1;
    int32_t pos = 1;
    zem::align_to_byte(p, pos);
    EXPECT_EQ(p, data + 2);
    EXPECT_EQ(pos, 0);
    zem::align_to_byte(p, pos);
    EXPECT_EQ(p, data + 2);
    EXPECT_EQ(pos, 0);
}

// The writer against the bit model: random field sequences (widths 0-31, values wider than their
// field) from a byte boundary produce the model's bytes, and the bits after the cursor stay zero.
TEST(BitWriter, RandomFieldSequencesMatchBitModel) {
    std::mt19937 rng(zemtest::seed());
    for (int round = 0; round < 200; ++round) {
        zemtest::BitBuilder model;
        std::vector<uint8_t> out(256, 0xEE);
        uint8_t* p = out.data();
        int32_t pos = 0;
        for (int field = 0; field < 40; ++field) {
            const int n = int(rng() % 32);
            const uint32_t value = rng();
            zem::write_bits(p, pos, value, n);
            model.put(n == 0 ? 0 : value & (0xFFFFFFFFu >> (32 - n)), n);
            ASSERT_EQ(std::size_t(p - out.data()) * 8 + std::size_t(pos), model.bit_count());
        }
        const std::vector<uint8_t> expect = model.bytes(0);
        const std::size_t written = (model.bit_count() + 7) / 8;
        for (std::size_t i = 0; i < written; ++i)
            ASSERT_EQ(out[i], expect[i]) << "byte " << i << " round " << round;
        ASSERT_EQ(out[written], 0xEE) << "wrote past the last started byte";
    }
}

} // namespace
