// Layer III frame header and side information, read and written field by field.
#include "zemac.h"

#include "core/bitstream.hpp"
#include "core/checks.hpp"

using namespace zem;

namespace {

int channels(const ZemMp3HeaderRec& h) { return h.mode == 3 ? 1 : 2; }

ZemStatus check_header(const ZemMp3HeaderRec& h) {
    if ((h.id != 0 && h.id != 1) || h.layer != 1 || h.mode < 0 || h.mode > 3)
        return zemStatusMp3BadFrameHeader;
    return zemStatusOk;
}

// Field widths of a granule record that differ between MPEG-1 and MPEG-2.
struct Layout {
    bool mpeg1;
    int mainDataBits, privateBits, scalefacCompressBits, granules;
};

Layout layout_of(const ZemMp3HeaderRec& h) {
    const bool mono = channels(h) == 1;
    if (h.id == 1)
        return {true, 9, mono ? 5 : 3, 4, 2};
    return {false, 8, mono ? 1 : 2, 9, 1};
}

// Reader and writer behind one template: Io::field(value, bits) moves one field either way.
struct Reader {
    static constexpr bool kWriting = false;
    BitCursor bc;
    void field(int32_t& v, int bits) { v = int32_t(bc.read(bits)); }
};

struct Writer {
    static constexpr bool kWriting = true;
    uint8_t* p;
    int32_t pos = 0;
    void field(int32_t& v, int bits) {
        zemWriteBits(p, pos, uint32_t(v) & ((1u << bits) - 1), bits);
    }
};

template <typename Io> ZemStatus granule_fields(Io& io, ZemMp3GranuleRec& g, const Layout& l) {
    io.field(g.part2_3_length, 12);
    io.field(g.big_values, 9);
    io.field(g.global_gain, 8);
    io.field(g.scalefac_compress, l.scalefacCompressBits);
    io.field(g.window_switching_flag, 1);
    if (g.window_switching_flag) {
        // A writer refuses block type 0 before writing it; a reader after the window fields.
        if (Io::kWriting && g.block_type == 0)
            return zemStatusMp3BadSideInfo;
        io.field(g.block_type, 2);
        io.field(g.mixed_block_flag, 1);
        io.field(g.table_select[0], 5);
        io.field(g.table_select[1], 5);
        for (int w = 0; w < 3; ++w)
            io.field(g.subblock_gain[w], 3);
        if (g.block_type == 0)
            return zemStatusMp3BadSideInfo;
        const bool pureShort = g.block_type == 2 && g.mixed_block_flag == 0;
        g.region0_count = pureShort ? 8 : 7;
        g.region1_count = 20 - g.region0_count;
    } else {
        for (int r = 0; r < 3; ++r)
            io.field(g.table_select[r], 5);
        io.field(g.region0_count, 4);
        io.field(g.region1_count, 3);
        g.block_type = 0;
        g.mixed_block_flag = 0;
    }
    if (l.mpeg1)
        io.field(g.preflag, 1);
    io.field(g.scalefac_scale, 1);
    io.field(g.count1table_select, 1);
    return zemStatusOk;
}

template <typename Io>
ZemStatus side_info_fields(Io& io, ZemMp3GranuleRec* records, int32_t& mainDataBegin,
                           int32_t& privateBits, int32_t* scfsi, const ZemMp3HeaderRec& h) {
    const Layout l = layout_of(h);
    const int nch = channels(h);
    io.field(mainDataBegin, l.mainDataBits);
    io.field(privateBits, l.privateBits);
    if (l.mpeg1)
        for (int i = 0; i < 4 * nch; ++i)
            io.field(scfsi[i], 1);
    for (int i = 0; i < l.granules * nch; ++i)
        if (const ZemStatus st = granule_fields(io, records[i], l); st != zemStatusOk)
            return st;
    return zemStatusOk;
}

} // namespace

ZEM_API ZemStatus zemsUnpackFrameHeader_MP3(uint8_t** ppStream, ZemMp3HeaderRec* pHeader) {
    if (any_null(ppStream, pHeader) || *ppStream == nullptr)
        return zemStatusNullPointer;
    const uint8_t* b = *ppStream;
    ZemMp3HeaderRec& h = *pHeader;
    h.id = (b[1] >> 3) & 1;
    h.layer = (b[1] >> 1) & 3;
    h.protection_bit = b[1] & 1;
    h.bitrate_index = b[2] >> 4;
    h.sampling_frequency = (b[2] >> 2) & 3;
    h.padding_bit = (b[2] >> 1) & 1;
    h.private_bit = b[2] & 1;
    h.mode = b[3] >> 6;
    h.mode_extension = (b[3] >> 4) & 3;
    h.copyright = (b[3] >> 3) & 1;
    h.original_copy = (b[3] >> 2) & 1;
    h.emphasis = b[3] & 3;
    if (h.protection_bit == 0) {
        h.crc_check = b[4] * 256 + b[5];
        *ppStream += 6;
    } else {
        *ppStream += 4;
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsPackFrameHeader_MP3(const ZemMp3HeaderRec* pHeader, uint8_t** ppStream) {
    if (any_null(pHeader, ppStream) || *ppStream == nullptr)
        return zemStatusNullPointer;
    ZemMp3HeaderRec h = *pHeader;
    Writer w{*ppStream};
    int32_t sync = 0xFFF;
    w.field(sync, 12);
    w.field(h.id, 1);
    w.field(h.layer, 2);
    w.field(h.protection_bit, 1);
    w.field(h.bitrate_index, 4);
    w.field(h.sampling_frequency, 2);
    w.field(h.padding_bit, 1);
    w.field(h.private_bit, 1);
    w.field(h.mode, 2);
    w.field(h.mode_extension, 2);
    w.field(h.copyright, 1);
    w.field(h.original_copy, 1);
    w.field(h.emphasis, 2);
    if ((h.protection_bit & 1) == 0) {
        int32_t high = h.crc_check >> 8;
        w.field(high, 8);
        w.field(h.crc_check, 8);
    }
    *ppStream = w.p;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsUnpackSideInfo_MP3(uint8_t** ppStream, ZemMp3GranuleRec* pSideInfo,
                                         int32_t* pMainDataBegin, int32_t* pPrivateBits,
                                         int32_t* pScfsi, const ZemMp3HeaderRec* pHeader) {
    if (any_null(ppStream, pSideInfo, pMainDataBegin, pPrivateBits, pScfsi, pHeader) ||
        *ppStream == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = check_header(*pHeader); st != zemStatusOk)
        return st;
    Reader r{BitCursor(*ppStream, 0)};
    const ZemStatus st =
        side_info_fields(r, pSideInfo, *pMainDataBegin, *pPrivateBits, pScfsi, *pHeader);
    *ppStream = r.bc.byte_ptr() + (st == zemStatusOk && r.bc.bit_pos() != 0 ? 1 : 0);
    return st;
}

ZEM_API ZemStatus zemsPackSideInfo_MP3(const ZemMp3GranuleRec* pSideInfo, uint8_t** ppStream,
                                       int32_t mainDataBegin, int32_t privateBits,
                                       const int32_t* pScfsi, const ZemMp3HeaderRec* pHeader) {
    if (pSideInfo == nullptr || ppStream == nullptr || *ppStream == nullptr ||
        any_null(pScfsi, pHeader))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_header(*pHeader); st != zemStatusOk)
        return st;
    // The writer works on copies: packing never changes the caller's records.
    const int nch = channels(*pHeader);
    const int count = layout_of(*pHeader).granules * nch;
    ZemMp3GranuleRec records[4];
    int32_t scfsi[8];
    for (int i = 0; i < count; ++i)
        records[i] = pSideInfo[i];
    for (int i = 0; i < 4 * nch; ++i)
        scfsi[i] = pScfsi[i];
    Writer w{*ppStream};
    const ZemStatus st = side_info_fields(w, records, mainDataBegin, privateBits, scfsi, *pHeader);
    *ppStream = w.p + (st == zemStatusOk && w.pos != 0 ? 1 : 0);
    return st;
}
