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
                const uint32_t v = zem::zemReadBits(p, bitPos, n);
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

TEST(BitReader, DocumentedBoundaryCases) {
    uint8_t data[8] = {0x01, 0xAB, 0xCD, 0xEF, 0x77, 0, 0, 0};
    uint8_t* p = data;
    int32_t pos = 7;
    EXPECT_EQ(zem::zemReadBits(p, pos, 25), 0x1ABCDEFu);
    EXPECT_EQ(p, data + 4);
    EXPECT_EQ(pos, 0);

    p = data + 1;
    pos = 6;
    EXPECT_EQ(zem::zemReadBits(p, pos, 3), 0x7u); // "11" of 0xAB, then "1" of 0xCD
    EXPECT_EQ(p, data + 2);
    EXPECT_EQ(pos, 1);

    zem::zemAlignToByte(p, pos);
    EXPECT_EQ(p, data + 3);
    EXPECT_EQ(pos, 0);
    zem::zemAlignToByte(p, pos);
    EXPECT_EQ(p, data + 3);
}

// The writer against the bit model: random field sequences from a byte boundary produce the
// model's bytes, and the bits after the cursor stay zero.
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
            zem::zemWriteBits(p, pos, value, n);
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

TEST(BitWriter, DocumentedBoundaryCases) {
    uint8_t buf[4] = {0xFF, 0x55, 0x55, 0x55};
    uint8_t* p = buf;
    int32_t pos = 0;
    zem::zemWriteBits(p, pos, 5, 3);
    EXPECT_EQ(buf[0], 0xA0);
    EXPECT_EQ(pos, 3);
    zem::zemWriteBits(p, pos, 0xFFFFFFFF, 2); // only the low two bits reach the stream
    EXPECT_EQ(buf[0], 0xB8);
    EXPECT_EQ(pos, 5);
    zem::zemWriteBits(p, pos, 0x1234, 0);
    EXPECT_EQ(buf[0], 0xB8);
    EXPECT_EQ(p, buf);

    // 12 bits at position 4: the low nibble, one whole byte, the byte after untouched.
    uint8_t buf2[4] = {0x90, 0x00, 0x77, 0x77};
    p = buf2;
    pos = 4;
    zem::zemWriteBits(p, pos, 0xABC, 12);
    EXPECT_EQ(buf2[0], 0x9A);
    EXPECT_EQ(buf2[1], 0xBC);
    EXPECT_EQ(buf2[2], 0x77);
    EXPECT_EQ(p, buf2 + 2);
    EXPECT_EQ(pos, 0);
}

} // namespace
