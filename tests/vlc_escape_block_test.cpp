// Escape-block VLC coding with specs built from the AAC and MP3 code tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include "support/bit_builder.hpp"
#include "support/seed.hpp"
#include "support/vlc_builder.hpp"
#include "zemac.h"

namespace {

using zemtest::PairBook;
using zemtest::VlcSpecs;

// The record layout is interface: pointers as address words, the other words 32-bit.
static_assert(sizeof(void*) == 8
                  ? sizeof(ZemVlcEncSpec) == 24 && offsetof(ZemVlcEncSpec, tag) == 20
                  : sizeof(ZemVlcEncSpec) == 20 && offsetof(ZemVlcEncSpec, tag) == 16);
static_assert(sizeof(void*) == 8
                  ? sizeof(ZemVlcDecSpec) == 48 && offsetof(ZemVlcDecSpec, pTable) == 16
                  : sizeof(ZemVlcDecSpec) == 36 && offsetof(ZemVlcDecSpec, pTable) == 12);

enum class Decoder { Plain, Tuple };

struct Coded {
    std::vector<uint8_t> bytes;
    long bits;
};

// Encodes values (counting first) into an exactly sized buffer with 3 readable bytes after it;
// the record addresses handed over (here and in decode) are n % 32 bytes short of the records,
// which the functions round up to.
Coded encode(const std::vector<int16_t>& v, const VlcSpecs& specs, VlcSpecs::Kind kind,
             int linbits) {
    const bool aac = kind == VlcSpecs::Kind::Aac;
    const int32_t n = int32_t(v.size());
    const ZemVlcEncSpec* spec = specs.enc(n % 32);
    int32_t count = -1;
    EXPECT_EQ(aac ? zemsVLCCountEscBits_AAC_16s32s(v.data(), n, &count, spec)
                  : zemsVLCCountEscBits_MP3_16s32s(v.data(), n, linbits, &count, spec),
              zemStatusOk);
    std::vector<uint8_t> big(std::size_t(count) / 8 + 16, 0);
    uint8_t* p = big.data();
    int32_t pos = 0;
    EXPECT_EQ(aac ? zemsVLCEncodeEscBlock_AAC_16s1u(v.data(), n, &p, &pos, spec)
                  : zemsVLCEncodeEscBlock_MP3_16s1u(v.data(), n, linbits, &p, &pos, spec),
              zemStatusOk);
    const long bits = long(p - big.data()) * 8 + pos;
    EXPECT_EQ(bits, count);
    big.resize(std::size_t(bits + 7) / 8 + 3);
    return {big, bits};
}

std::vector<int16_t> decode(const Coded& c, std::size_t n, const VlcSpecs& specs,
                            VlcSpecs::Kind kind, int linbits, Decoder which) {
    std::vector<uint8_t> bytes = c.bytes;
    std::vector<int16_t> out(n, 0x7777);
    uint8_t* p = bytes.data();
    int32_t pos = 0;
    int16_t* o = out.data();
    const int32_t len = int32_t(n);
    const bool plain = which == Decoder::Plain;
    const ZemVlcDecSpec* spec = plain ? specs.plain(int(n % 32)) : specs.tuple(int(n % 32));
    EXPECT_EQ(kind == VlcSpecs::Kind::Aac
                  ? (plain ? zemsVLCDecodeEscBlock_AAC_1u16s(&p, &pos, o, len, spec)
                           : zemsVLCDecodeUTupleEscBlock_AAC_1u16s(&p, &pos, o, len, spec))
                  : (plain
                         ? zemsVLCDecodeEscBlock_MP3_1u16s(&p, &pos, linbits, o, len, spec)
                         : zemsVLCDecodeUTupleEscBlock_MP3_1u16s(&p, &pos, linbits, o, len, spec)),
              zemStatusOk);
    EXPECT_EQ(long(p - bytes.data()) * 8 + pos, c.bits);
    return out;
}

std::vector<int16_t> random_values(std::mt19937& rng, std::size_t n, int small, int large) {
    std::vector<int16_t> v(n);
    for (int16_t& x : v) {
        const int r = int(rng() % 10);
        const int m = r < 3   ? 0
                      : r < 8 ? int(rng() % uint32_t(small + 1))
                              : int(rng() % uint32_t(large + 1));
        x = int16_t(rng() & 1 ? -m : m);
    }
    return v;
}

// Random blocks of several lengths through count, encode and both decoders: AAC books with
// escapes (also with a narrow first level, so that codes run through several links), a signed
// book with 16-bit table elements, and MP3 tables with and without linbits.
TEST(VlcEscapeBlock, RoundTrips) {
    const PairBook t24 = zemtest::mp3_pair_book(24);
    const PairBook t13 = zemtest::mp3_pair_book(13); // 15 is a plain value here
    ASSERT_EQ(t24.codes.size(), 256u);
    const PairBook b11 = zemtest::aac_pair_book(11), b9 = zemtest::aac_pair_book(9),
                   b5 = zemtest::aac_pair_book(5);
    constexpr VlcSpecs::Kind kAac = VlcSpecs::Kind::Aac, kMp3 = VlcSpecs::Kind::Mp3;
    struct Case {
        const PairBook& book;
        VlcSpecs::Kind kind;
        int linbits, large;
        bool tuple;
        int elementBits, firstWidth;
    } const cases[] = {
        {b11, kAac, 0, 8191, true, 32, 6},       {b11, kAac, 0, 8191, true, 32, 2},
        {b9, kAac, 0, 12, true, 32, 6},          {b5, kAac, 0, 4, false, 16, 6},
        {t24, kMp3, 4, 15 + 15, true, 32, 6},    {t24, kMp3, 8, 15 + 255, true, 32, 6},
        {t24, kMp3, 13, 15 + 8191, true, 32, 6}, {t13, kMp3, 0, 15, true, 32, 6},
    };
    std::mt19937 rng(zemtest::seed());
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << &k - cases);
        const VlcSpecs specs(k.book, k.kind, k.elementBits, k.firstWidth);
        for (std::size_t n : {1, 2, 3, 64, 577}) {
            std::vector<int16_t> v = random_values(rng, n, std::min(k.book.limit, 14), k.large);
            const Coded c = encode(v, specs, k.kind, k.linbits);
            if (n % 2)
                v.back() = 0x7777; // an odd last value is left alone
            EXPECT_EQ(decode(c, n, specs, k.kind, k.linbits, Decoder::Plain), v) << "n " << n;
            if (k.tuple) {
                EXPECT_EQ(decode(c, n, specs, k.kind, k.linbits, Decoder::Tuple), v) << "n " << n;
            }
        }
    }
}

// The escape words of 16 and 8191 (AAC) and the linbits of 18 (MP3, table 24) bit for bit after
// the codeword; escape widths in the bit count; an odd value count counts nothing.
TEST(VlcEscapeBlock, EscapeWordsAndLinbitsBitForBit) {
    const VlcSpecs specs(zemtest::aac_pair_book(11), VlcSpecs::Kind::Aac);
    const VlcSpecs mp3(zemtest::mp3_pair_book(24), VlcSpecs::Kind::Mp3);
    struct Case {
        const VlcSpecs& specs;
        VlcSpecs::Kind kind;
        int16_t x;
        uint32_t tail; // the last bits written
        int tailBits;
    } const cases[] = {{specs, VlcSpecs::Kind::Aac, 16, 0b00000, 5},
                       {specs, VlcSpecs::Kind::Aac, 8191, 0b111111110111111111111, 21},
                       {mp3, VlcSpecs::Kind::Mp3, 18, 0b00110, 5}}; // linbits 3, sign +
    for (const Case& c : cases) {
        const Coded coded = encode({c.x, 0}, c.specs, c.kind, 4);
        EXPECT_EQ(
            zemtest::bits_at(coded.bytes.data(), std::size_t(coded.bits - c.tailBits), c.tailBits),
            c.tail)
            << c.x;
    }
    int32_t bits = 0;
    const int16_t wide[2] = {20, -300}, clamped[2] = {16, -16};
    ASSERT_EQ(zemsVLCCountEscBits_AAC_16s32s(clamped, 2, &bits, specs.enc()), zemStatusOk);
    const int32_t entry = bits - 5 - 5; // two escape words of 16
    ASSERT_EQ(zemsVLCCountEscBits_AAC_16s32s(wide, 2, &bits, specs.enc()), zemStatusOk);
    EXPECT_EQ(bits, entry + 5 + 13);
    ASSERT_EQ(zemsVLCCountEscBits_AAC_16s32s(wide, 1, &bits, specs.enc()), zemStatusOk);
    EXPECT_EQ(bits, 0);
}

// Nine leading ones: the pairs before are stored, the cursor does not move.
TEST(VlcEscapeBlock, OverlongEscape) {
    const PairBook book = zemtest::aac_pair_book(11);
    const VlcSpecs specs(book, VlcSpecs::Kind::Aac);
    const std::vector<int16_t> good{3, -2};
    const Coded first = encode(good, specs, VlcSpecs::Kind::Aac, 0);
    const Coded esc = encode({16, 0}, specs, VlcSpecs::Kind::Aac, 0);
    zemtest::BitBuilder b;
    b.put(zemtest::bits_at(first.bytes.data(), 0, int(first.bits)), int(first.bits));
    b.put(zemtest::bits_at(esc.bytes.data(), 0, int(esc.bits) - 5), int(esc.bits) - 5)
        .put(0x1FF, 9)
        .put(0, 13);
    std::vector<uint8_t> bytes = b.bytes(3);
    uint8_t* p = bytes.data() + 0;
    int32_t pos = 0;
    int16_t out[4] = {9, 9, 9, 9};
    EXPECT_EQ(zemsVLCDecodeEscBlock_AAC_1u16s(&p, &pos, out, 4, specs.plain()),
              zemStatusVlcBadEscape);
    EXPECT_EQ(out[0], 3);
    EXPECT_EQ(out[1], -2);
    EXPECT_EQ(out[2], 9);
    EXPECT_EQ(p, bytes.data());
    EXPECT_EQ(pos, 0);
}

// Encoders keep the bits before the cursor and after the new cursor in the last byte.
TEST(VlcEscapeBlock, EncoderKeepsNeighbouringBits) {
    const VlcSpecs specs(zemtest::aac_pair_book(11), VlcSpecs::Kind::Aac);
    const std::vector<int16_t> v{1, 0};
    const Coded alone = encode(v, specs, VlcSpecs::Kind::Aac, 0);
    std::vector<uint8_t> buf(8, 0xFF);
    uint8_t* p = buf.data();
    int32_t pos = 3;
    ASSERT_EQ(zemsVLCEncodeEscBlock_AAC_16s1u(v.data(), 2, &p, &pos, specs.enc()), zemStatusOk);
    const long end = long(p - buf.data()) * 8 + pos;
    EXPECT_EQ(end, 3 + alone.bits);
    EXPECT_EQ(zemtest::bits_at(buf.data(), 0, 3), 7u);
    EXPECT_EQ(zemtest::bits_at(buf.data(), 3, int(alone.bits)),
              zemtest::bits_at(alone.bytes.data(), 0, int(alone.bits)));
    for (long i = end; i < 64; ++i)
        EXPECT_EQ(zemtest::bit_at(buf.data(), std::size_t(i)), 1u) << i;
}

// Books with holes are refused by the builder; a table that loops (with or without consuming
// bits) stops every decoder with zemStatusFailed, cursor unchanged, instead of hanging.
TEST(VlcEscapeBlock, IncompleteTables) {
    EXPECT_EQ(VlcSpecs(PairBook{{}, true, 15}, VlcSpecs::Kind::Mp3).status(), zemStatusBadArgument);
    PairBook holed = zemtest::mp3_pair_book(24);
    holed.codes.pop_back();
    EXPECT_EQ(VlcSpecs(holed, VlcSpecs::Kind::Mp3).status(), zemStatusBadArgument);
    EXPECT_EQ(VlcSpecs(zemtest::mp3_pair_book(24), VlcSpecs::Kind::Mp3).status(), zemStatusOk);
    const int32_t loops[2][3] = {{1, 0, 0}, {0, 0, 0}}; // width 1 back to the root; width 0
    for (const auto& table : loops) {
        ZemVlcDecSpec spec[2]{}; // the functions read the record at the next 32-byte boundary
        ZemVlcDecSpec& d = *reinterpret_cast<ZemVlcDecSpec*>(
            (reinterpret_cast<std::uintptr_t>(&spec[0]) + 31) & ~std::uintptr_t(31));
        d.tag = 0x434D4160;
        d.windowBits = 23;
        d.pTable = table;
        d.elementBits = 32;
        d.lengthBits = 4;
        d.valueBits = 5;
        d.valuesBits = 10;
        uint8_t data[16] = {0xA5, 0x5A, 0xFF};
        uint8_t* p = data;
        int32_t pos = 1;
        int16_t v[4] = {};
        EXPECT_EQ(zemsVLCDecodeEscBlock_AAC_1u16s(&p, &pos, v, 4, &d), zemStatusFailed);
        EXPECT_EQ(zemsVLCDecodeUTupleEscBlock_AAC_1u16s(&p, &pos, v, 4, &d), zemStatusFailed);
        EXPECT_EQ(zemsVLCDecodeEscBlock_MP3_1u16s(&p, &pos, 3, v, 4, &d), zemStatusFailed);
        EXPECT_EQ(zemsVLCDecodeUTupleEscBlock_MP3_1u16s(&p, &pos, 3, v, 4, &d), zemStatusFailed);
        EXPECT_EQ(p, data);
        EXPECT_EQ(pos, 1);
    }
}

} // namespace
