// Layer III frame header and side information (ISO/IEC 11172-3 2.4.1.3, 2.4.1.7; ISO/IEC
// 13818-3 2.4.1.7). The routines copy fields; they neither synchronise nor check the CRC.
#include "core/bitstream.hpp"
#include "core/checks.hpp"
#include "mp3/frame.hpp"

namespace zem::mp3 {

namespace {

// Field widths that differ between MPEG-1 (two granules) and MPEG-2 (one granule).
struct Layout {
    int granules;
    int mainDataBeginBits;
    int privateBits;
    int scalefacCompressBits;
    bool preflag;
    bool scfsi;
};

constexpr Layout layout_of(const ZemMp3HeaderRec& h) {
    const bool mono = channels(h) == 1;
    if (h.id == 1)
        return {2, 9, mono ? 5 : 3, 4, true, true};
    return {1, 8, mono ? 1 : 2, 9, false, false};
}

// A window-switching granule signals its region split implicitly: 36 lines of region 0 for a
// short block (8 short bands' worth), the first 8 long bands otherwise.
void set_implicit_regions(ZemMp3GranuleRec& g) {
    g.region0_count = (g.block_type == 2 && g.mixed_block_flag == 0) ? 8 : 7;
    g.region1_count = 20 - g.region0_count;
}

class Reader {
  public:
    explicit Reader(uint8_t* p) : p_(p) {}
    int32_t operator()(int n) { return int32_t(read_bits(p_, pos_, n)); }
    uint8_t* byte_ptr() const { return p_; }

  private:
    uint8_t* p_;
    int32_t pos_ = 0;
};

class Writer {
  public:
    explicit Writer(uint8_t* p) : p_(p) {}
    void operator()(int32_t value, int n) { write_bits(p_, pos_, uint32_t(value), n); }
    uint8_t* byte_ptr() const { return p_; }

  private:
    uint8_t* p_;
    int32_t pos_ = 0;
};

// False when window switching comes with block type 0; the fields read so far stay stored.
bool read_granule(Reader& get, ZemMp3GranuleRec& g, const Layout& l) {
    g.part2_3_length = get(12);
    g.big_values = get(9);
    g.global_gain = get(8);
    g.scalefac_compress = get(l.scalefacCompressBits);
    g.window_switching_flag = get(1);
    if (g.window_switching_flag != 0) {
        g.block_type = get(2);
        g.mixed_block_flag = get(1);
        for (int r = 0; r < 2; ++r)
            g.table_select[r] = get(5);
        for (int w = 0; w < 3; ++w)
            g.subblock_gain[w] = get(3);
        if (g.block_type == 0)
            return false;
        set_implicit_regions(g);
    } else {
        for (int r = 0; r < 3; ++r)
            g.table_select[r] = get(5);
        g.region0_count = get(4);
        g.region1_count = get(3);
        g.block_type = 0;
        g.mixed_block_flag = 0;
    }
    if (l.preflag)
        g.preflag = get(1);
    g.scalefac_scale = get(1);
    g.count1table_select = get(1);
    return true;
}

// Writes what the stream would carry: a flag or field is judged by its transmitted low bits, so
// the stream written is always one that read_granule accepts.
bool write_granule(Writer& put, const ZemMp3GranuleRec& g, const Layout& l) {
    put(g.part2_3_length, 12);
    put(g.big_values, 9);
    put(g.global_gain, 8);
    put(g.scalefac_compress, l.scalefacCompressBits);
    put(g.window_switching_flag, 1);
    if ((g.window_switching_flag & 1) != 0) {
        if ((g.block_type & 3) == 0)
            return false;
        put(g.block_type, 2);
        put(g.mixed_block_flag, 1);
        for (int r = 0; r < 2; ++r)
            put(g.table_select[r], 5);
        for (int w = 0; w < 3; ++w)
            put(g.subblock_gain[w], 3);
    } else {
        for (int r = 0; r < 3; ++r)
            put(g.table_select[r], 5);
        put(g.region0_count, 4);
        put(g.region1_count, 3);
    }
    if (l.preflag)
        put(g.preflag, 1);
    put(g.scalefac_scale, 1);
    put(g.count1table_select, 1);
    return true;
}

} // namespace

} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

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
        h.crc_check = (int32_t(b[4]) << 8) | b[5];
        *ppStream += 6;
    } else {
        *ppStream += 4;
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsPackFrameHeader_MP3(const ZemMp3HeaderRec* pHeader, uint8_t** ppStream) {
    if (any_null(pHeader, ppStream) || *ppStream == nullptr)
        return zemStatusNullPointer;
    const ZemMp3HeaderRec& h = *pHeader;
    Writer put(*ppStream);
    put(0xFFF, 12);
    put(h.id, 1);
    put(h.layer, 2);
    put(h.protection_bit, 1);
    put(h.bitrate_index, 4);
    put(h.sampling_frequency, 2);
    put(h.padding_bit, 1);
    put(h.private_bit, 1);
    put(h.mode, 2);
    put(h.mode_extension, 2);
    put(h.copyright, 1);
    put(h.original_copy, 1);
    put(h.emphasis, 2);
    if ((h.protection_bit & 1) == 0) {
        put(h.crc_check >> 8, 8);
        put(h.crc_check, 8);
    }
    *ppStream = put.byte_ptr();
    return zemStatusOk;
}

ZEM_API ZemStatus zemsUnpackSideInfo_MP3(uint8_t** ppStream, ZemMp3GranuleRec* pSideInfo,
                                         int32_t* pMainDataBegin, int32_t* pPrivateBits,
                                         int32_t* pScfsi, const ZemMp3HeaderRec* pHeader) {
    if (any_null(ppStream, pSideInfo, pMainDataBegin, pPrivateBits, pScfsi, pHeader) ||
        *ppStream == nullptr)
        return zemStatusNullPointer;
    if (!side_info_header_ok(*pHeader))
        return zemStatusMp3BadFrameHeader;
    const Layout l = layout_of(*pHeader);
    const int nch = channels(*pHeader);
    Reader get(*ppStream);
    *pMainDataBegin = get(l.mainDataBeginBits);
    *pPrivateBits = get(l.privateBits);
    if (l.scfsi)
        for (int i = 0; i < 4 * nch; ++i)
            pScfsi[i] = get(1);
    ZemStatus status = zemStatusOk;
    for (int i = 0; i < l.granules * nch && status == zemStatusOk; ++i)
        if (!read_granule(get, pSideInfo[i], l))
            status = zemStatusMp3BadSideInfo;
    *ppStream = get.byte_ptr();
    return status;
}

ZEM_API ZemStatus zemsPackSideInfo_MP3(const ZemMp3GranuleRec* pSideInfo, uint8_t** ppStream,
                                       int32_t mainDataBegin, int32_t privateBits,
                                       const int32_t* pScfsi, const ZemMp3HeaderRec* pHeader) {
    if (pSideInfo == nullptr || ppStream == nullptr || *ppStream == nullptr ||
        any_null(pScfsi, pHeader))
        return zemStatusNullPointer;
    if (!side_info_header_ok(*pHeader))
        return zemStatusMp3BadFrameHeader;
    const Layout l = layout_of(*pHeader);
    const int nch = channels(*pHeader);
    Writer put(*ppStream);
    put(mainDataBegin, l.mainDataBeginBits);
    put(privateBits, l.privateBits);
    if (l.scfsi)
        for (int i = 0; i < 4 * nch; ++i)
            put(pScfsi[i], 1);
    ZemStatus status = zemStatusOk;
    for (int i = 0; i < l.granules * nch && status == zemStatusOk; ++i)
        if (!write_granule(put, pSideInfo[i], l))
            status = zemStatusMp3BadSideInfo;
    *ppStream = put.byte_ptr();
    return status;
}
