// State-block helpers, allocation wrappers and zero fill.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/state.hpp"
#include "zemac.h"
#include "zemcore_testing.h"

namespace {

// Every misalignment of a block start lands the state on the next 16-byte boundary, within
// the 15 bytes of slack the size formulas include.
TEST(StateBlock, AlignsForAllSixteenMisalignments) {
    alignas(64) uint8_t arena[128];
    for (int offset = 0; offset < 16; ++offset) {
        uint8_t* block = arena + offset;
        uint8_t* state = zem::align_up<16>(block);
        EXPECT_TRUE(zem::is_aligned16(state));
        EXPECT_EQ(state - block, (16 - offset) % 16) << "offset " << offset;
        EXPECT_EQ(zem::align_up<16>(state), state);
        uint8_t* spec = zem::align_up<32>(block);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(spec) % 32, 0u);
        EXPECT_LT(spec - block, 32);
    }
    EXPECT_EQ(zem::round_up<16>(0), 0u);
    EXPECT_EQ(zem::round_up<16>(17), 32u);
}

TEST(Allocation, WrappersAndFaultInjection) {
    const long before = zemcoreOutstandingBlocks();
    const long calls = zemcoreAllocationCount();
    EXPECT_EQ(zem::alloc_bytes(0), nullptr);
    EXPECT_EQ(zem::alloc_words(-3), nullptr);
    EXPECT_EQ(zemcoreAllocationCount(), calls) << "a count below 1 must not reach zemMalloc";

    void* a = zem::alloc_bytes(10);
    void* b = zem::alloc_words(10);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before + 2);
    std::memset(b, 0xAB, 40); // four bytes per word
    zem::release_block(a);
    zem::release_block(b);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);

    zemcoreFailAllocation(2);
    void* first = zem::alloc_bytes(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(zem::alloc_bytes(8), nullptr);
    void* third = zem::alloc_bytes(8);
    EXPECT_NE(third, nullptr);
    zem::release_block(first);
    zem::release_block(third);
    EXPECT_EQ(zemcoreOutstandingBlocks(), before);
}

TEST(ZeroFill, ChecksThenClears) {
    std::vector<uint8_t> buf(40, 0x5A);
    EXPECT_EQ(zem::zero_bytes(nullptr, 4), zemStatusNullPointer);
    EXPECT_EQ(zem::zero_bytes(buf.data(), 0), zemStatusBadSize);
    EXPECT_EQ(zem::zero_words(buf.data(), -1), zemStatusBadSize);
    EXPECT_EQ(buf[0], 0x5A);
    EXPECT_EQ(zem::zero_bytes(buf.data() + 1, 3), zemStatusOk);
    EXPECT_EQ(buf[0], 0x5A);
    EXPECT_EQ(buf[3], 0);
    EXPECT_EQ(buf[4], 0x5A);
    EXPECT_EQ(zem::zero_words(buf.data() + 8, 3), zemStatusOk);
    EXPECT_EQ(buf[19], 0);
    EXPECT_EQ(buf[20], 0x5A);
}

} // namespace
