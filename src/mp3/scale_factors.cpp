// Layer III scale factors: MPEG-1 slen1/slen2 with scale-factor reuse (scfsi), MPEG-2
// partitions with the intensity-stereo scheme of the right channel.
#include "zemac.h"

#include "core/bitstream.hpp"
#include "core/checks.hpp"

using namespace zem;

namespace {

constexpr uint8_t kSlen1[16] = {0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4};
constexpr uint8_t kSlen2[16] = {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3};

// Scale factors per partition, [row][long, short, mixed][partition].
constexpr uint8_t kPartitionBands[6][3][4] = {
    {{6, 5, 5, 5}, {9, 9, 9, 9}, {6, 9, 9, 9}},
    {{6, 5, 7, 3}, {9, 9, 12, 6}, {6, 9, 12, 6}},
    {{11, 10, 0, 0}, {18, 18, 0, 0}, {15, 18, 0, 0}},
    {{7, 7, 7, 0}, {12, 12, 12, 0}, {6, 15, 12, 0}},
    {{6, 6, 6, 3}, {12, 9, 9, 6}, {6, 12, 9, 6}},
    {{8, 8, 5, 0}, {15, 12, 9, 0}, {6, 18, 9, 0}},
};

// The long-block groups of MPEG-1 that scfsi can carry over: first band, end band.
constexpr int kGroupStart[5] = {0, 6, 11, 16, 21};

// MPEG-2 partition widths, partition-table row, and the preflag they imply.
struct Partitions {
    int slen[4];
    int row;
    int preflag;
};

Partitions mpeg2_partitions(int compress, bool intensityRight) {
    if (intensityRight) {
        const int i = compress / 2;
        if (i < 180)
            return {{i / 36, (i % 36) / 6, i % 6, 0}, 3, 0};
        if (i < 244) {
            const int j = i - 180;
            return {{j / 16, (j % 16) / 4, j % 4, 0}, 4, 0};
        }
        const int j = i - 244;
        return {{j / 3, j % 3, 0, 0}, 5, 0};
    }
    if (compress < 400)
        return {
            {(compress / 16) / 5, (compress / 16) % 5, (compress % 16) / 4, compress % 4}, 0, 0};
    if (compress < 500) {
        const int j = compress - 400;
        return {{(j / 4) / 5, (j / 4) % 5, j % 4, 0}, 1, 0};
    }
    const int j = compress - 500;
    return {{j / 3, j % 3, 0, 0}, 2, 1};
}

// Reads or writes one value of `bits` bits (0 bits: the value is 0, nothing moves).
struct Reader {
    BitCursor bc;
    void value(int8_t& v, int bits) { v = bits > 0 ? int8_t(bc.read(bits)) : 0; }
};

struct Writer {
    uint8_t* p;
    int32_t pos;
    void value(int8_t& v, int bits) {
        if (bits > 0)
            zemWriteBits(p, pos, uint32_t(uint8_t(v)) & ((1u << bits) - 1), bits);
    }
};

template <typename Io> void run(Io& io, int8_t* sf, int first, int count, int bits) {
    for (int i = first; i < first + count; ++i)
        io.value(sf[i], bits);
}

// MPEG-1; unpacking also clears the entries after the last value.
template <typename Io>
void mpeg1(Io& io, int8_t* sf, const ZemMp3GranuleRec& g, const int32_t* scfsi, int granule,
           bool unpacking) {
    const int slen1 = kSlen1[g.scalefac_compress], slen2 = kSlen2[g.scalefac_compress];
    if (unpacking)
        sf[21] = 0;
    if (g.block_type == 2) {
        const int firstRun = g.mixed_block_flag ? 8 + 9 : 18;
        run(io, sf, 0, firstRun, slen1);
        run(io, sf, firstRun, 18, slen2);
        if (unpacking)
            for (int i = firstRun + 18; i < firstRun + 21; ++i)
                sf[i] = 0;
        return;
    }
    for (int group = 0; group < 4; ++group) {
        if (granule == 1 && scfsi[group] != 0)
            continue;
        run(io, sf, kGroupStart[group], kGroupStart[group + 1] - kGroupStart[group],
            group < 2 ? slen1 : slen2);
    }
}

int block_column(ZemMp3GranuleRec& g, bool unpacking) {
    if (g.block_type != 2)
        return 0;
    if (unpacking) {
        g.mixed_block_flag &= 1;
        return 1 + g.mixed_block_flag;
    }
    return g.mixed_block_flag == 0 ? 1 : g.mixed_block_flag == 1 ? 2 : 0;
}

template <typename Io>
void mpeg2(Io& io, int8_t* sf, ZemMp3GranuleRec& g, const ZemMp3HeaderRec& h, int channel,
           bool unpacking) {
    const int column = block_column(g, unpacking);
    const bool intensityRight = (h.mode_extension & 1) != 0 && channel == 1;
    const Partitions parts = mpeg2_partitions(g.scalefac_compress, intensityRight);
    g.preflag = parts.preflag;
    int at = 0;
    for (int p = 0; p < 4; ++p) {
        const int n = kPartitionBands[parts.row][column][p];
        run(io, sf, at, n, parts.slen[p]);
        if (unpacking && intensityRight && parts.slen[p] > 0)
            for (int i = at; i < at + n; ++i)
                if (sf[i] == (1 << parts.slen[p]) - 1)
                    sf[i] = int8_t(-sf[i]); // an intensity position that may not be used
        at += n;
    }
    if (unpacking)
        for (int i = at; i < at + 3; ++i)
            sf[i] = 0;
}

ZemStatus check_compress(const ZemMp3GranuleRec& g, const ZemMp3HeaderRec& h) {
    if (h.id == 1)
        return g.scalefac_compress < 0 || g.scalefac_compress > 15 ? zemStatusMp3BadSideInfo
                                                                   : zemStatusOk;
    if (g.scalefac_compress < 0 || g.scalefac_compress > 511)
        return zemStatusMp3BadSideInfo;
    return h.mode_extension < 0 || h.mode_extension > 3 ? zemStatusMp3BadFrameHeader : zemStatusOk;
}

} // namespace

ZEM_API ZemStatus zemsUnpackScaleFactors_MP3_1u8s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int8_t* pScaleFactor, ZemMp3GranuleRec* pGranule,
                                                  const int32_t* pScfsi,
                                                  const ZemMp3HeaderRec* pHeader, int32_t granule,
                                                  int32_t channel) {
    if (any_null(ppStream, pBitPos, pScaleFactor, pGranule, pScfsi, pHeader) ||
        *ppStream == nullptr)
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos) || granule < 0 || granule > 1 || channel < 0 || channel > 1)
        return zemStatusBadArgument;
    if (const ZemStatus st = check_compress(*pGranule, *pHeader); st != zemStatusOk)
        return st;
    Reader r{BitCursor(*ppStream, *pBitPos)};
    if (pHeader->id == 1)
        mpeg1(r, pScaleFactor, *pGranule, pScfsi, granule, true);
    else
        mpeg2(r, pScaleFactor, *pGranule, *pHeader, channel, true);
    r.bc.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsPackScaleFactors_MP3_8s1u(const int8_t* pScaleFactor, uint8_t** ppStream,
                                                int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                                ZemMp3GranuleRec* pGranule, const int32_t* pScfsi,
                                                int32_t granule, int32_t channel) {
    if (pScaleFactor == nullptr || ppStream == nullptr || *ppStream == nullptr ||
        any_null(pBitPos, pHeader, pGranule, pScfsi))
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusBadArgument;
    if (const ZemStatus st = check_compress(*pGranule, *pHeader); st != zemStatusOk)
        return st;
    int8_t* sf = const_cast<int8_t*>(pScaleFactor); // only read when packing
    Writer w{*ppStream, *pBitPos};
    if (pHeader->id == 1)
        mpeg1(w, sf, *pGranule, pScfsi, granule, false);
    else
        mpeg2(w, sf, *pGranule, *pHeader, channel, false);
    *ppStream = w.p;
    *pBitPos = w.pos;
    return zemStatusOk;
}
