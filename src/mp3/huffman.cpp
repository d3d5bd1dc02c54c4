// Layer III Huffman decoding and encoding of one granule and channel (ISO/IEC 11172-3 2.4.2.7
// huffmancodebits and 2.4.3.4): the big-values region in up to three regions of value pairs,
// the count1 region of quadruples, the implied zeros.
#include "core/bitstream.hpp"
#include "core/checks.hpp"
#include "mp3/frame.hpp"
#include "mp3/huffman_decoders.hpp"
#include "tables/mp3_sfb_bands.hpp"

namespace zem::mp3 {

namespace {

constexpr int kLines = 576;

// Decodes one code from the left-aligned window `win` (at least 19 valid bits, the longest
// code); returns its symbol and adds the code's length to `used`.
inline uint32_t decode_code(uint32_t win, PairDecoder d, int& used) {
    int bits = 0;
    const uint32_t symbol = d.decode(win, bits);
    used += bits;
    return symbol;
}

// The same for the codes the pre-signed lookups leave open, kept out of line so that the lookup
// loops keep their registers: the symbol in bits 0-7, the code's length from bit 16 on.
[[gnu::noinline]] uint32_t walk_code(uint32_t win, PairDecoder d) {
    int used = 0;
    const uint32_t symbol = decode_code(win, d, used);
    return symbol | uint32_t(used) << 16;
}

// The symbol and length of the code at the start of the window, as walk_code gives them: from
// the code lookup where the code fits its ten bits, from the tree otherwise.
inline uint32_t open_code(uint32_t win, const PairCodeLookup& codes, PairDecoder d) {
    const uint32_t e = codes.entry[win >> (32 - kSignedPairBits)];
    return e != 0 ? (e & 0xFF) | (e >> 8) << 16 : walk_code(win, d);
}

// The sign bit at `used` of the window applied to a magnitude that has one.
inline int32_t signed_from(uint32_t win, int32_t magnitude, int& used) {
    if (magnitude == 0)
        return 0;
    return ((win << used++) & 0x80000000u) != 0 ? -magnitude : magnitude;
}

// The pair loops keep up to 64 stream bits left-aligned in a register, so that consuming a code
// is a shift rather than a dependent load. Four-byte refills never start past byte `safe` of
// the granule's bits (the byte of its last bit), which keeps every read within the three bytes
// callers keep readable past the data; the rest of a region then goes bit cursor by cursor.
class PairBits {
  public:
    PairBits(const BitCursor& bs, const uint8_t* start, int32_t startPos, int64_t budget)
        : start_(start), startPos_(startPos), safe_((int64_t(startPos) + budget - 1) >> 3),
          end_(int64_t(startPos) + budget), q_(bs.byte_ptr() - start) {
        acc_ = uint64_t(load_be32(start + q_)) << (32 + bs.bit_pos());
        n_ = 32 - bs.bit_pos();
        q_ += 4;
    }
    // Room for two refills, enough for one pair: one before its code (at most 19 bits, so at
    // least 14 stay) and one for a value (linbits and sign, at most 14 bits).
    bool room() const { return q_ + 4 <= safe_; }
    void refill(int needed = 33) {
        if (n_ < needed) {
            acc_ |= uint64_t(load_be32(start_ + q_)) << (32 - n_);
            q_ += 4;
            n_ += 32;
        }
    }
    // The same while a four-byte read stays within the bound (one refill per step suffices when
    // a step takes at most 32 bits).
    void refill_within_bound() {
        if (q_ <= safe_)
            refill();
    }
    uint32_t window() const { return uint32_t(acc_ >> 32); }
    // The next k bits (1 <= k <= 32), straight from the register.
    uint32_t peek(int k) const { return uint32_t(acc_ >> (64 - k)); }
    void skip(int k) {
        acc_ <<= k;
        n_ -= k;
    }
    uint32_t take(int k) {
        const uint32_t v = uint32_t(acc_ >> (64 - k));
        skip(k);
        return v;
    }
    int64_t consumed() const { return q_ * 8 - startPos_ - n_; }
    // More than the budget consumed.
    bool over_budget() const { return q_ * 8 - n_ > end_; }
    BitCursor cursor() const {
        const int64_t at = startPos_ + consumed();
        return BitCursor(const_cast<uint8_t*>(start_) + (at >> 3), int32_t(at & 7));
    }

  private:
    const uint8_t* start_;
    int32_t startPos_;
    int64_t safe_, end_, q_;
    uint64_t acc_ = 0;
    int n_ = 0;
};

// One value of a pair from the register: linbits escape above 15, then the sign.
inline int32_t escaped_value(PairBits& b, int32_t magnitude, int linbits) {
    b.refill(linbits + 1);
    if (magnitude == 15)
        magnitude += int32_t(b.take(linbits));
    if (magnitude == 0)
        return 0;
    return b.take(1) ? -magnitude : magnitude;
}

// One value of a pair: linbits escape above 15, then the sign.
inline int32_t escaped_value(BitCursor& bs, int32_t magnitude, int linbits) {
    if (magnitude == 15)
        magnitude += int32_t(bs.read(linbits));
    if (magnitude == 0)
        return 0;
    return bs.read_bit() ? -magnitude : magnitude;
}

// Decodes pairs into out[from, to); false as soon as more than `budget` bits (counted from
// start) are used, which bounds how far a broken stream is read. Without linbits a code and
// its two sign bits (at most 21 bits) come from one window.
bool decode_pairs(BitCursor& bs, int32_t* out, int from, int to, const PairTable& t,
                  const uint8_t* start, int32_t startPos, int64_t budget) {
    const PairDecoder d = pair_decoder(t);
    int i = from;
    if (i < to) {
        PairBits b(bs, start, startPos, budget);
        bool over = false;
        // Most pairs come out of the pre-signed lookup whole; most of the rest from the code
        // lookup, with their signs and escapes read after it; the longest codes walk the tree.
        const SignedPairLookup& s = kSignedPairLookups[t.decoder];
        const PairCodeLookup& codes = kPairCodeLookups[t.decoder];
        if (t.linbits == 0) {
            for (; i < to && b.room() && !over; i += 2) {
                b.refill();
                const uint32_t e = s.entry[b.peek(kSignedPairBits)];
                if (e != 0) {
                    out[i] = signed_pair_x(e);
                    out[i + 1] = signed_pair_y(e);
                    b.skip(int(e & 63)); // bits 4-5 are clear: one shift by the entry itself
                } else {
                    const uint32_t win = b.window();
                    const uint32_t walked = open_code(win, codes, d);
                    int used = int(walked >> 16);
                    out[i] = signed_from(win, symbol_x(walked & 0xFF), used);
                    out[i + 1] = signed_from(win, symbol_y(walked), used);
                    b.skip(used);
                }
                over = b.over_budget();
            }
        } else {
            for (; i < to && b.room() && !over; i += 2) {
                b.refill();
                const uint32_t e = s.entry[b.peek(kSignedPairBits)];
                if (e != 0) {
                    out[i] = signed_pair_x(e);
                    out[i + 1] = signed_pair_y(e);
                    b.skip(int(e & 63));
                } else {
                    const uint32_t walked = open_code(b.window(), codes, d);
                    b.skip(int(walked >> 16));
                    out[i] = escaped_value(b, symbol_x(walked & 0xFF), t.linbits);
                    out[i + 1] = escaped_value(b, symbol_y(walked), t.linbits);
                }
                over = b.over_budget();
            }
        }
        bs = b.cursor();
        if (over)
            return false;
    }
    if (t.linbits == 0) {
        for (; i < to; i += 2) {
            const uint32_t win = bs.window();
            int used = 0;
            const uint32_t w = decode_code(win, d, used);
            out[i] = signed_from(win, symbol_x(w), used);
            out[i + 1] = signed_from(win, symbol_y(w), used);
            bs.skip(used);
            if (bs.bits_since(start, startPos) > budget)
                return false;
        }
        return true;
    }
    for (; i < to; i += 2) {
        int used = 0;
        const uint32_t w = decode_code(bs.window(), d, used);
        bs.skip(used);
        out[i] = escaped_value(bs, symbol_x(w), t.linbits);
        out[i + 1] = escaped_value(bs, symbol_y(w), t.linbits);
        if (bs.bits_since(start, startPos) > budget)
            return false;
    }
    return true;
}

// Bits of one count1 quadruple (at most 10) from the next ten bits of the stream, with v, w, x,
// y stored at out[0..3].
inline int quad_from(uint32_t next, int32_t* out, const SignedQuadLookup& q) {
    const uint32_t e = q.entry[next];
    for (int k = 0; k < 4; ++k)
        out[k] = int32_t(e << (26 - 2 * k)) >> 30; // the field at bits 4 + 2k, sign-extended
    return int(e & 15);
}

struct Regions {
    int end[3]; // region r covers [end[r - 1], end[r]), region 0 from 0
    int count;  // 2 with window switching, else 3
};

// A region end within 0..bv2 and even, whatever the caller's band table holds, so that pairs
// never run past the spectrum.
int region_end(int boundary, int bv2) {
    const int end = boundary < 0 ? 0 : boundary < bv2 ? boundary : bv2;
    return end & ~1;
}

// Without window switching the region ends follow the long bands.
Regions long_regions(const ZemMp3GranuleRec& g, const int16_t* longRow, int bv2) {
    const int r1 = longRow[g.region0_count + 1];
    const int r2 = longRow[g.region0_count + g.region1_count + 2];
    return {{region_end(r1, bv2), region_end(r2, bv2), bv2}, 3};
}

Regions switched_regions(int start1, int bv2) { return {{region_end(start1, bv2), bv2, bv2}, 2}; }

constexpr bool valid_table(int32_t t) { return t >= 0 && t <= 31; }

// Common body of the decoders once the arguments and the region layout are checked.
ZemStatus decode_granule(uint8_t** ppStream, int32_t* pBitPos, int32_t* out, int32_t* pNonZero,
                         const ZemMp3GranuleRec& g, int32_t hufSize, const Regions& regions) {
    const int bv2 = 2 * g.big_values;
    if (hufSize == 0) {
        for (int r = 0; r < regions.count; ++r)
            if (!valid_table(g.table_select[r]))
                return zemStatusMp3BadSideInfo;
        for (int i = 0; i < kLines; ++i)
            out[i] = 0;
        *pNonZero = 0;
        return zemStatusOk;
    }

    uint8_t* const start = *ppStream;
    const int32_t startPos = *pBitPos;
    BitCursor bs(start, startPos);
    int from = 0;
    for (int r = 0; r < regions.count; ++r) {
        const int32_t t = g.table_select[r];
        if (!valid_table(t)) {
            bs.store(ppStream, pBitPos);
            return zemStatusMp3BadSideInfo;
        }
        const int to = regions.end[r];
        const PairTable& table = kPairTables[t];
        if (table.codes == nullptr) {
            for (int i = from; i < to; ++i)
                out[i] = 0;
        } else if (!decode_pairs(bs, out, from, to, table, start, startPos, hufSize)) {
            bs.store(ppStream, pBitPos);
            return zemStatusFailed;
        }
        from = to > from ? to : from;
    }

    // count1: quadruples while bits remain, never one that would run past line 575.
    int64_t remaining = hufSize - bs.bits_since(start, startPos);
    int end = bv2;
    const SignedQuadLookup& quads = kSignedQuadLookups[g.count1table_select];
    if (end < kLines - 2 && remaining > 0) {
        // All from the register: past the last refill the read bound allows, it still holds
        // every bit of the budget, and a quadruple that reaches past them runs past the budget
        // with any bits that follow.
        PairBits b(bs, start, startPos, hufSize);
        for (; end < kLines - 2 && remaining > 0; end += 4) {
            b.refill_within_bound();
            const int used = quad_from(b.peek(kSignedQuadBits), out + end, quads);
            b.skip(used);
            remaining -= used;
        }
    }
    if (remaining < 0) { // the last quadruple ran past the budget: it was not coded
        end -= 4;
        for (int k = 0; k < 4; ++k)
            out[end + k] = 0;
    }
    // Leaves the cursor exactly hufSize bits on, over stuffing or back from the overrun.
    const int64_t target = int64_t(startPos) + hufSize;
    *ppStream = start + (target >> 3);
    *pBitPos = int32_t(target & 7);

    for (int i = end; i < kLines; ++i)
        out[i] = 0;
    int nz = end;
    while (nz > 0 && out[nz - 1] == 0)
        --nz;
    *pNonZero = nz;
    return zemStatusOk;
}

// Sfb decoder checks, in order, shared with the plain decoder.
ZemStatus check_sfb(uint8_t** ppStream, const int32_t* pBitPos, const int32_t* out,
                    const int32_t* pNonZero, const ZemMp3GranuleRec* pGranule,
                    const ZemMp3HeaderRec* pHeader, const int16_t* pLong, int32_t hufSize) {
    if (any_null(ppStream, pBitPos, out, pNonZero, pGranule, pHeader, pLong) ||
        *ppStream == nullptr)
        return zemStatusNullPointer;
    const ZemMp3GranuleRec& g = *pGranule;
    const ZemMp3HeaderRec& h = *pHeader;
    if (!valid_bit_pos(*pBitPos) || hufSize < 0 || hufSize > g.part2_3_length)
        return zemStatusBadArgument;
    if (g.big_values < 0 || g.big_values > kLines / 2 || g.block_type < 0 || g.block_type > 3 ||
        (g.window_switching_flag != 0 && g.window_switching_flag != 1) ||
        (g.count1table_select != 0 && g.count1table_select != 1))
        return zemStatusMp3BadSideInfo;
    if ((h.id != 0 && h.id != 1) || h.layer != 1 || h.sampling_frequency < 0 ||
        h.sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    return zemStatusOk;
}

bool region_counts_ok(const ZemMp3GranuleRec& g) {
    return g.region0_count >= 0 && g.region1_count >= 0 && g.region0_count + g.region1_count < 21;
}

ZemStatus decode_sfb(uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst, int32_t* pNonZero,
                     const ZemMp3GranuleRec* pGranule, const ZemMp3HeaderRec* pHeader,
                     int32_t hufSize, const int16_t* pLong) {
    if (const ZemStatus st =
            check_sfb(ppStream, pBitPos, pDst, pNonZero, pGranule, pHeader, pLong, hufSize);
        st != zemStatusOk)
        return st;
    const ZemMp3GranuleRec& g = *pGranule;
    const int bv2 = 2 * g.big_values;
    Regions regions;
    if (g.window_switching_flag) {
        if (g.block_type == 0)
            return zemStatusMp3BadSideInfo;
        // Region 0 is the first 36 lines, except in MPEG-2 long-window switching (54).
        regions = switched_regions(pHeader->id == 1 || g.block_type == 2 ? 36 : 54, bv2);
    } else {
        if (!region_counts_ok(g))
            return zemStatusMp3BadSideInfo;
        const int row = sfb_row(pHeader->id, pHeader->sampling_frequency);
        regions = long_regions(g, pLong + row * kLongBoundaries, bv2);
    }
    return decode_granule(ppStream, pBitPos, pDst, pNonZero, g, hufSize, regions);
}

// Region 0 of a mixed block: L long bands, then S short units, each unit one window's width
// of the current short band, moving to the next band after units 2, 5, 8, ...
int mixed_region0(const int16_t* longRow, const int16_t* shortRow, int L, int S) {
    if (L < 0)
        L = 0;
    if (L > kLongBoundaries - 1)
        L = kLongBoundaries - 1;
    int b = longRow[L];
    int k = 0;
    while (k < kShortBoundaries - 1 && 3 * shortRow[k] <= b)
        ++k;
    int band = k > 0 ? k - 1 : 0;
    for (int u = 1; u <= S && band < kShortBoundaries - 1; ++u) {
        b += shortRow[band + 1] - shortRow[band];
        if (u % 3 == 2)
            ++band;
    }
    return b;
}

class Writer {
  public:
    Writer(uint8_t* p, int32_t pos) : p_(p), pos_(pos), start_(p), startPos_(pos) {}
    void put(uint32_t value, int n) { write_bits(p_, pos_, value, n); }
    int64_t written() const { return (p_ - start_) * 8 + (pos_ - startPos_); }
    void store(uint8_t** pp, int32_t* pos) const {
        *pp = p_;
        *pos = pos_;
    }

  private:
    uint8_t* p_;
    int32_t pos_;
    const uint8_t* start_;
    int32_t startPos_;
};

inline uint32_t magnitude(int32_t v) { return v < 0 ? 0u - uint32_t(v) : uint32_t(v); }

// One pair: the code of the magnitudes (escaped ones as 15), then for x and for y its linbits
// and its sign. Magnitudes beyond the table are cut to what it can code.
void encode_pair(Writer& w, int32_t x, int32_t y, const PairTable& t) {
    const uint32_t top = uint32_t(t.width - 1);
    uint32_t ax = magnitude(x), ay = magnitude(y);
    const uint32_t cx = ax < top ? ax : top, cy = ay < top ? ay : top;
    const HuffCode c = t.codes[cx * uint32_t(t.width) + cy];
    w.put(c.code, c.length);
    const uint32_t escape = (1u << t.linbits) - 1;
    if (t.linbits > 0 && cx == 15)
        w.put(ax - 15 < escape ? ax - 15 : escape, t.linbits);
    if (cx != 0)
        w.put(x < 0, 1);
    if (t.linbits > 0 && cy == 15)
        w.put(ay - 15 < escape ? ay - 15 : escape, t.linbits);
    if (cy != 0)
        w.put(y < 0, 1);
}

void encode_quad(Writer& w, const int32_t* v, bool tableB) {
    unsigned index = 0;
    for (int k = 0; k < 4; ++k)
        index = (index << 1) | (v[k] != 0);
    if (tableB)
        w.put(15 - index, 4);
    else
        w.put(kQuadCodesA[index].code, kQuadCodesA[index].length);
    for (int k = 0; k < 4; ++k)
        if (v[k] != 0)
            w.put(v[k] < 0, 1);
}

} // namespace

} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsHuffmanDecodeSfb_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos,
                                                 int32_t* pDst, int32_t* pNonZeroBound,
                                                 const ZemMp3GranuleRec* pGranule,
                                                 const ZemMp3HeaderRec* pHeader, int32_t hufSize,
                                                 const int16_t* pSfbTableLong) {
    return decode_sfb(ppStream, pBitPos, pDst, pNonZeroBound, pGranule, pHeader, hufSize,
                      pSfbTableLong);
}

ZEM_API ZemStatus zemsHuffmanDecode_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst,
                                              int32_t* pNonZeroBound,
                                              const ZemMp3GranuleRec* pGranule,
                                              const ZemMp3HeaderRec* pHeader, int32_t hufSize) {
    return decode_sfb(ppStream, pBitPos, pDst, pNonZeroBound, pGranule, pHeader, hufSize,
                      &kSfbLong[0][0]);
}

ZEM_API ZemStatus zemsHuffmanDecodeSfbMbp_MP3_1u32s(
    uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst, int32_t* pNonZeroBound,
    const ZemMp3GranuleRec* pGranule, const ZemMp3HeaderRec* pHeader, int32_t hufSize,
    const int16_t* pSfbTableLong, const int16_t* pSfbTableShort, const int16_t* pMbpTable) {
    if (any_null(ppStream, pBitPos, pDst, pNonZeroBound, pGranule, pHeader, pSfbTableLong,
                 pSfbTableShort, pMbpTable) ||
        *ppStream == nullptr)
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusBadArgument;
    const ZemMp3GranuleRec& g = *pGranule;
    const ZemMp3HeaderRec& h = *pHeader;
    if (h.id != 0 && h.id != 1)
        return zemStatusMp3BadFrameHeader;
    const int bv2 = 2 * g.big_values;
    if (g.big_values < 0 || g.big_values > kLines / 2 || g.block_type < 0 || g.block_type > 3)
        return zemStatusMp3BadSideInfo;
    if ((g.window_switching_flag != 0 && g.window_switching_flag != 1) ||
        (g.window_switching_flag == 1 && g.block_type == 0))
        return zemStatusMp3BadSideInfo;
    if (h.layer != 1 || h.sampling_frequency < 0 || h.sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    if ((g.count1table_select != 0 && g.count1table_select != 1) || hufSize < 0 ||
        hufSize > g.part2_3_length)
        return zemStatusMp3BadSideInfo;

    const int row = sfb_row(h.id, h.sampling_frequency);
    const int16_t* longRow = pSfbTableLong + row * kLongBoundaries;
    const int16_t* shortRow = pSfbTableShort + row * kShortBoundaries;
    Regions regions;
    if (g.window_switching_flag == 0) {
        if (!region_counts_ok(g))
            return zemStatusMp3BadSideInfo;
        regions = long_regions(g, longRow, bv2);
    } else if (g.block_type != 2) {
        regions = switched_regions(longRow[8], bv2);
    } else if (g.mixed_block_flag == 0) {
        regions = switched_regions(3 * (shortRow[3] - shortRow[0]), bv2);
    } else {
        regions = switched_regions(
            mixed_region0(longRow, shortRow, pMbpTable[2 * row], pMbpTable[2 * row + 1]), bv2);
    }
    return decode_granule(ppStream, pBitPos, pDst, pNonZeroBound, g, hufSize, regions);
}

ZEM_API ZemStatus zemsHuffmanEncode_MP3_32s1u(const int32_t* pSrc, uint8_t** ppStream,
                                              int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                              const ZemMp3GranuleRec* pGranule, int32_t count1Len,
                                              int32_t hufSize) {
    if (pSrc == nullptr || ppStream == nullptr || *ppStream == nullptr ||
        any_null(pBitPos, pHeader, pGranule))
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusBadArgument;
    const ZemMp3GranuleRec& g = *pGranule;
    const ZemMp3HeaderRec& h = *pHeader;
    const int bv2 = 2 * g.big_values;
    if (g.big_values < 0 || bv2 > kLines || !region_counts_ok(g) ||
        (g.count1table_select != 0 && g.count1table_select != 1))
        return zemStatusMp3BadSideInfo;
    if (h.id != 1 || h.layer != 1 || h.sampling_frequency < 0 || h.sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    // The count1 region must lie inside the granule: checked so that nothing past it is read.
    if (count1Len < 0 || count1Len > kLines - bv2 || hufSize < 0)
        return zemStatusBadArgument;

    const Regions regions =
        g.window_switching_flag != 0 && g.block_type != 0
            ? switched_regions(36, bv2)
            : long_regions(g, kSfbLong[sfb_row(h.id, h.sampling_frequency)], bv2);
    Writer w(*ppStream, *pBitPos);
    int from = 0;
    for (int r = 0; r < regions.count; ++r) {
        const int32_t t = g.table_select[r];
        if (!valid_table(t)) {
            w.store(ppStream, pBitPos);
            return zemStatusMp3BadSideInfo;
        }
        const int to = regions.end[r];
        const PairTable& table = kPairTables[t];
        if (table.codes != nullptr)
            for (int i = from; i < to; i += 2)
                encode_pair(w, pSrc[i], pSrc[i + 1], table);
        from = to > from ? to : from;
    }
    const bool tableB = g.count1table_select == 1;
    for (int i = bv2; i + 4 <= bv2 + count1Len; i += 4)
        encode_quad(w, pSrc + i, tableB);
    // Stuffing: ones up to the budget; the last partial byte is stored whole, low bits 0.
    for (int64_t left = hufSize - w.written(); left > 0; left -= 24)
        w.put(0xFFFFFFu, left < 24 ? int(left) : 24);
    w.store(ppStream, pBitPos);
    return zemStatusOk;
}
