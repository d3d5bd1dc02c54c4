// Layer III Huffman decoding (big-values pairs with linbits, count1 quadruples) and encoding.
#include "zemac.h"

#include "core/bitstream.hpp"
#include "core/checks.hpp"
#include "mp3/huffman_tables.hpp"
#include "tables/mp3_bands.hpp"

using namespace zem;
using namespace zem::mp3;

namespace {

struct Regions {
    int end[3]; // region r covers [end[r - 1], end[r]); region 2 may be empty
};

int row_of(const ZemMp3HeaderRec& h) { return h.id * 3 + h.sampling_frequency; }

int clamp_to(int v, int limit) { return v < limit ? v : limit; }

// Region boundaries without window switching, from the long band table.
Regions long_regions(const ZemMp3GranuleRec& g, const int16_t* longRow, int bv2) {
    return {{clamp_to(longRow[g.region0_count + 1], bv2),
             clamp_to(longRow[g.region0_count + g.region1_count + 2], bv2), bv2}};
}

Regions switched_regions(int region1Start, int bv2) {
    return {{clamp_to(region1Start, bv2), bv2, bv2}};
}

bool table_ok(int t) { return t >= 0 && t <= 31; }

// Decodes one pair with pair table t: the codeword, then linbits and sign of x, then of y.
void decode_pair(BitCursor& bc, const PairTable& t, const PairCodeTable& c, int32_t* out) {
    int bits = 0;
    const uint32_t leaf = decode_codeword(c.first, c.tree, bc.window(), bits);
    bc.skip(bits);
    const int index = int(leaf >> 1);
    int32_t v[2] = {index / t.size, index % t.size};
    for (int32_t& x : v) {
        if (x == 15 && t.linbits > 0)
            x += int32_t(bc.read(t.linbits));
        if (x != 0 && bc.read(1))
            x = -x;
    }
    out[0] = v[0];
    out[1] = v[1];
}

// One count1 quadruple; returns the bits it used.
int decode_quad(BitCursor& bc, bool tableB, int32_t* out) {
    const uint8_t* start = bc.byte_ptr();
    const int startPos = bc.bit_pos();
    int index;
    if (tableB) {
        index = int(bc.read(4)) ^ 15;
    } else {
        int bits = 0;
        index = int(
            decode_codeword(kQuadDecoderA.first, kQuadDecoderA.tree.node, bc.window(), bits) >> 1);
        bc.skip(bits);
    }
    for (int k = 0; k < 4; ++k) {
        int32_t v = (index >> (3 - k)) & 1;
        if (v != 0 && bc.read(1))
            v = -v;
        out[k] = v;
    }
    return int(bc.bits_since(start, startPos));
}

struct DecodeArgs {
    uint8_t** ppStream;
    int32_t* pBitPos;
    int32_t* pSpectrum;
    int32_t* pNonZeroBound;
    const ZemMp3GranuleRec* g;
    const ZemMp3HeaderRec* h;
    int32_t huffmanBits;
};

// Big values, count1 and the zero tail, once the arguments and the regions are settled.
ZemStatus decode_regions(const DecodeArgs& a, const Regions& regions) {
    const ZemMp3GranuleRec& g = *a.g;
    int32_t* x = a.pSpectrum;
    const int bv2 = 2 * g.big_values;
    if (a.huffmanBits == 0) {
        for (int r = 0; r < 3; ++r)
            if (!table_ok(g.table_select[r]))
                return zemStatusMp3BadSideInfo;
        for (int i = 0; i < 576; ++i)
            x[i] = 0;
        *a.pNonZeroBound = 0;
        return zemStatusOk;
    }
    BitCursor bc(*a.ppStream, *a.pBitPos);
    const uint8_t* start = *a.ppStream;
    const int32_t startPos = *a.pBitPos;
    int at = 0;
    for (int r = 0; r < 3; ++r) {
        const int t = g.table_select[r];
        if (!table_ok(t)) {
            bc.store(a.ppStream, a.pBitPos);
            return zemStatusMp3BadSideInfo;
        }
        const PairTable& table = kPairTables[t];
        // Caller band tables are not trusted: a region ends on a pair boundary within bv2.
        const int end = regions.end[r] < bv2 ? regions.end[r] & ~1 : bv2;
        if (table.codes == 0) {
            for (; at < end; ++at)
                x[at] = 0;
            continue;
        }
        const PairCodeTable codes = pair_code_table(table.codes);
        for (; at < end; at += 2)
            decode_pair(bc, table, codes, x + at);
    }
    long remaining = long(a.huffmanBits) - long(bc.bits_since(start, startPos));
    if (remaining < 0) {
        bc.store(a.ppStream, a.pBitPos);
        return zemStatusFailed;
    }
    at = bv2;
    while (at < 574 && remaining > 0) {
        remaining -= decode_quad(bc, g.count1table_select == 1, x + at);
        at += 4;
    }
    if (remaining < 0) { // the last quadruple ran past the budget: it is discarded
        bc.rewind(int(-remaining));
        at -= 4;
    } else if (remaining > 0) {
        bc.skip(int(remaining));
    }
    for (int i = at; i < 576; ++i)
        x[i] = 0;
    int bound = at;
    while (bound > 0 && x[bound - 1] == 0)
        --bound;
    *a.pNonZeroBound = bound;
    bc.store(a.ppStream, a.pBitPos);
    return zemStatusOk;
}

ZemStatus check_pointers(const DecodeArgs& a) {
    if (any_null(a.ppStream, a.pBitPos, a.pSpectrum, a.pNonZeroBound, a.g, a.h) ||
        *a.ppStream == nullptr)
        return zemStatusNullPointer;
    return zemStatusOk;
}

bool budget_ok(const DecodeArgs& a) {
    return a.huffmanBits >= 0 && a.huffmanBits <= a.g->part2_3_length;
}

ZemStatus decode_sfb(const DecodeArgs& a, const int16_t* longTable) {
    if (const ZemStatus st = check_pointers(a); st != zemStatusOk)
        return st;
    if (longTable == nullptr)
        return zemStatusNullPointer;
    const ZemMp3GranuleRec& g = *a.g;
    const ZemMp3HeaderRec& h = *a.h;
    if (!valid_bit_pos(*a.pBitPos) || !budget_ok(a))
        return zemStatusBadArgument;
    const int bv2 = 2 * g.big_values;
    if (bv2 < 0 || bv2 > 576 || g.block_type < 0 || g.block_type > 3 ||
        (g.window_switching_flag != 0 && g.window_switching_flag != 1) ||
        (g.count1table_select != 0 && g.count1table_select != 1))
        return zemStatusMp3BadSideInfo;
    if ((h.id != 0 && h.id != 1) || h.layer != 1 || h.sampling_frequency < 0 ||
        h.sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    if (g.window_switching_flag) {
        if (g.block_type == 0)
            return zemStatusMp3BadSideInfo;
        return decode_regions(a, switched_regions(h.id == 1 || g.block_type == 2 ? 36 : 54, bv2));
    }
    if (g.region0_count < 0 || g.region1_count < 0 || g.region0_count + g.region1_count >= 21)
        return zemStatusMp3BadSideInfo;
    return decode_regions(a, long_regions(g, longTable + 23 * row_of(h), bv2));
}

// Region 1 of a mixed block: from the end of the long part, S short units further.
int mixed_region1(const int16_t* shortRow, int longEnd, int units) {
    int k = 0;
    while (k < 13 && 3 * shortRow[k] <= longEnd)
        ++k;
    int start = longEnd;
    int band = k - 1;
    for (int u = 1; u <= units; ++u) {
        if (band < 0 || band > 12)
            break;
        start += shortRow[band + 1] - shortRow[band];
        if (u % 3 == 2)
            ++band;
    }
    return start;
}

} // namespace

ZEM_API ZemStatus zemsHuffmanDecodeSfb_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos,
                                                 int32_t* pDst, int32_t* pNonZeroBound,
                                                 const ZemMp3GranuleRec* pGranule,
                                                 const ZemMp3HeaderRec* pHeader,
                                                 int32_t huffmanBits,
                                                 const int16_t* pSfbTableLong) {
    return decode_sfb({ppStream, pBitPos, pDst, pNonZeroBound, pGranule, pHeader, huffmanBits},
                      pSfbTableLong);
}

ZEM_API ZemStatus zemsHuffmanDecode_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst,
                                              int32_t* pNonZeroBound,
                                              const ZemMp3GranuleRec* pGranule,
                                              const ZemMp3HeaderRec* pHeader, int32_t huffmanBits) {
    return decode_sfb({ppStream, pBitPos, pDst, pNonZeroBound, pGranule, pHeader, huffmanBits},
                      &kLongBands[0][0]);
}

ZEM_API ZemStatus zemsHuffmanDecodeSfbMbp_MP3_1u32s(
    uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst, int32_t* pNonZeroBound,
    const ZemMp3GranuleRec* pGranule, const ZemMp3HeaderRec* pHeader, int32_t huffmanBits,
    const int16_t* pSfbTableLong, const int16_t* pSfbTableShort, const int16_t* pMbpTable) {
    const DecodeArgs a{ppStream, pBitPos, pDst, pNonZeroBound, pGranule, pHeader, huffmanBits};
    if (const ZemStatus st = check_pointers(a); st != zemStatusOk)
        return st;
    if (any_null(pSfbTableLong, pSfbTableShort, pMbpTable))
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusBadArgument;
    const ZemMp3GranuleRec& g = *pGranule;
    const ZemMp3HeaderRec& h = *pHeader;
    if (h.id != 0 && h.id != 1)
        return zemStatusMp3BadFrameHeader;
    const int bv2 = 2 * g.big_values;
    if (bv2 < 0 || bv2 > 576 || g.block_type < 0 || g.block_type > 3)
        return zemStatusMp3BadSideInfo;
    const int blockType = g.window_switching_flag == 0 ? 0 : g.block_type;
    if ((g.window_switching_flag != 0 && g.window_switching_flag != 1) ||
        (g.window_switching_flag == 1 && g.block_type == 0))
        return zemStatusMp3BadSideInfo;
    if (h.layer != 1 || h.sampling_frequency < 0 || h.sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    if ((g.count1table_select != 0 && g.count1table_select != 1) || !budget_ok(a))
        return zemStatusMp3BadSideInfo;
    const int row = row_of(h);
    const int16_t* longRow = pSfbTableLong + 23 * row;
    const int16_t* shortRow = pSfbTableShort + 14 * row;
    if (blockType == 0) {
        if (g.region0_count < 0 || g.region1_count < 0 || g.region0_count + g.region1_count >= 21)
            return zemStatusMp3BadSideInfo;
        return decode_regions(a, long_regions(g, longRow, bv2));
    }
    int region1;
    if (blockType != 2)
        region1 = longRow[8];
    else if (g.mixed_block_flag == 0)
        region1 = 3 * (shortRow[3] - shortRow[0]);
    else
        region1 = mixed_region1(shortRow, longRow[pMbpTable[2 * row]], pMbpTable[2 * row + 1]);
    return decode_regions(a, switched_regions(region1, bv2));
}

ZEM_API ZemStatus zemsHuffmanEncode_MP3_32s1u(const int32_t* pSrc, uint8_t** ppStream,
                                              int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                              const ZemMp3GranuleRec* pGranule,
                                              int32_t count1Values, int32_t huffmanBits) {
    if (pSrc == nullptr || ppStream == nullptr || *ppStream == nullptr ||
        any_null(pBitPos, pHeader, pGranule))
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusBadArgument;
    const ZemMp3GranuleRec& g = *pGranule;
    const ZemMp3HeaderRec& h = *pHeader;
    const int bv2 = 2 * g.big_values;
    if (bv2 < 0 || bv2 > 576 || g.region0_count + g.region1_count >= 21 ||
        (g.count1table_select != 0 && g.count1table_select != 1))
        return zemStatusMp3BadSideInfo;
    if (h.id != 1 || h.layer != 1 || h.sampling_frequency < 0 || h.sampling_frequency > 2)
        return zemStatusMp3BadFrameHeader;
    const Regions regions = g.window_switching_flag && g.block_type != 0
                                ? switched_regions(36, bv2)
                                : long_regions(g, kLongBands[row_of(h)], bv2);
    uint8_t* p = *ppStream;
    int32_t pos = *pBitPos;
    long written = 0;
    auto put = [&](uint32_t v, int n) {
        zemWriteBits(p, pos, v, n);
        written += n;
    };
    int at = 0;
    for (int r = 0; r < 3; ++r) {
        const int t = g.table_select[r];
        if (t < 0) {
            *ppStream = p;
            *pBitPos = pos;
            return zemStatusMp3BadSideInfo;
        }
        const PairTable& table = kPairTables[t > 31 ? 0 : t];
        if (table.codes == 0) {
            at = regions.end[r];
            continue;
        }
        const HuffCode* codes = pair_code_table(table.codes).codes;
        for (; at < regions.end[r]; at += 2) {
            int32_t m[2];
            for (int k = 0; k < 2; ++k) {
                const int32_t v = pSrc[at + k] < 0 ? -pSrc[at + k] : pSrc[at + k];
                m[k] = table.linbits > 0 && v > 15 ? 15 : v;
            }
            const HuffCode& c = codes[m[0] * table.size + m[1]];
            put(c.code, c.length);
            for (int k = 0; k < 2; ++k) {
                const int32_t v = pSrc[at + k];
                const int32_t mag = v < 0 ? -v : v;
                if (table.linbits > 0 && mag >= 15)
                    put(uint32_t(mag - 15), table.linbits);
                if (v != 0)
                    put(v < 0, 1);
            }
        }
    }
    for (int i = bv2; i + 3 < bv2 + count1Values && i + 3 < 576; i += 4) {
        int index = 0;
        for (int k = 0; k < 4; ++k)
            index = index * 2 + (pSrc[i + k] != 0);
        const HuffCode& c = g.count1table_select ? kQuadCodesB[index] : kQuadCodesA[index];
        put(c.code, c.length);
        for (int k = 0; k < 4; ++k)
            if (pSrc[i + k] != 0)
                put(pSrc[i + k] < 0, 1);
    }
    for (long stuffing = long(huffmanBits) - written;
         stuffing > 0;) { // ones, byte-wise after the boundary
        const int n = pos != 0 ? (8 - pos < stuffing ? 8 - pos : int(stuffing))
                               : (stuffing >= 8 ? 8 : int(stuffing));
        put((1u << n) - 1, n);
        stuffing -= n;
    }
    *ppStream = p;
    *pBitPos = pos;
    return zemStatusOk;
}
