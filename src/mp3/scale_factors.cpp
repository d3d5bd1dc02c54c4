// Layer III scale factors of one granule and channel (ISO/IEC 11172-3 2.4.2.7 with scfsi
// reuse; ISO/IEC 13818-3 2.4.3.2 with its four partitions and the intensity-stereo right
// channel, whose largest value per partition marks an illegal intensity position).
#include "core/bitstream.hpp"
#include "core/checks.hpp"
#include "mp3/frame.hpp"

namespace zem::mp3 {

namespace {

// nr_of_sfb: bands per partition by partition table (row), block column (long, short, mixed).
// Short and mixed counts are scale factors, three per short band.
constexpr uint8_t kNrOfSfb[6][3][4] = {
    {{6, 5, 5, 5}, {9, 9, 9, 9}, {6, 9, 9, 9}},
    {{6, 5, 7, 3}, {9, 9, 12, 6}, {6, 9, 12, 6}},
    {{11, 10, 0, 0}, {18, 18, 0, 0}, {15, 18, 0, 0}},
    {{7, 7, 7, 0}, {12, 12, 12, 0}, {6, 15, 12, 0}},
    {{6, 6, 6, 3}, {12, 9, 9, 6}, {6, 12, 9, 6}},
    {{8, 8, 5, 0}, {15, 12, 9, 0}, {6, 18, 9, 0}},
};

constexpr bool partitions_cover_all_bands() {
    for (const auto& row : kNrOfSfb) {
        const int want[3] = {21, 36, 33};
        for (int c = 0; c < 3; ++c)
            if (row[c][0] + row[c][1] + row[c][2] + row[c][3] != want[c])
                return false;
    }
    return true;
}
static_assert(partitions_cover_all_bands());

// The four groups of long bands that scfsi lets granule 1 reuse: first band and band count.
constexpr int kScfsiFirst[5] = {0, 6, 11, 16, 21};

struct Mpeg2Widths {
    int slen[4];
    int row;
    int32_t preflag;
};

// scalefac_compress of a lower-sampling-frequency granule split into the four partition
// widths; the intensity right channel codes half of it in its own scheme.
constexpr Mpeg2Widths mpeg2_widths(int32_t c, bool intensityRight) {
    if (intensityRight) {
        const int i = c >> 1;
        if (i < 180)
            return {{i / 36, (i % 36) / 6, i % 6, 0}, 3, 0};
        if (i < 244) {
            const int j = i - 180;
            return {{j / 16, (j % 16) / 4, j % 4, 0}, 4, 0};
        }
        const int j = i - 244;
        return {{j / 3, j % 3, 0, 0}, 5, 0};
    }
    if (c < 400)
        return {{(c / 16) / 5, (c / 16) % 5, (c % 16) / 4, c % 4}, 0, 0};
    if (c < 500) {
        const int j = c - 400;
        return {{(j / 4) / 5, (j / 4) % 5, j % 4, 0}, 1, 0};
    }
    const int j = c - 500;
    return {{j / 3, j % 3, 0, 0}, 2, 1};
}

bool intensity_right(const ZemMp3HeaderRec& h, int32_t channel) {
    return (h.mode_extension & 1) != 0 && channel == 1;
}

ZemStatus check_scalars(const ZemMp3HeaderRec& h, const ZemMp3GranuleRec& g) {
    if (h.id != 0 && h.id != 1)
        return zemStatusMp3BadFrameHeader;
    if (h.id == 0) {
        if (g.scalefac_compress < 0 || g.scalefac_compress > 511)
            return zemStatusMp3BadSideInfo;
        if (h.mode_extension < 0 || h.mode_extension > 3)
            return zemStatusMp3BadFrameHeader;
    } else if (g.scalefac_compress < 0 || g.scalefac_compress > 15) {
        return zemStatusMp3BadSideInfo;
    }
    return zemStatusOk;
}

class Reader {
  public:
    Reader(uint8_t* p, int32_t pos) : p_(p), pos_(pos) {}
    // Reads n values of `width` bits (0 bits: zeros) into out.
    void run(int8_t* out, int n, int width) {
        for (int i = 0; i < n; ++i)
            out[i] = width == 0 ? int8_t(0) : int8_t(read_bits(p_, pos_, width));
    }
    void store(uint8_t** pp, int32_t* pos) const {
        *pp = p_;
        *pos = pos_;
    }

  private:
    uint8_t* p_;
    int32_t pos_;
};

class Writer {
  public:
    Writer(uint8_t* p, int32_t pos) : p_(p), pos_(pos) {}
    void run(const int8_t* in, int n, int width) {
        for (int i = 0; i < n; ++i)
            write_bits(p_, pos_, uint32_t(in[i]), width);
    }
    void store(uint8_t** pp, int32_t* pos) const {
        *pp = p_;
        *pos = pos_;
    }

  private:
    uint8_t* p_;
    int32_t pos_;
};

void zero(int8_t* p, int n) {
    for (int i = 0; i < n; ++i)
        p[i] = 0;
}

// MPEG-1 layouts share one walk: `io` is a Reader or a Writer.
template <typename Io, typename Sf>
void mpeg1_walk(Io& io, Sf* sf, const ZemMp3GranuleRec& g, const int32_t* scfsi, int32_t granule) {
    const int slen1 = kSlen1[g.scalefac_compress];
    const int slen2 = kSlen2[g.scalefac_compress];
    if (g.block_type == 2) {
        // Short: bands 0-5 and 6-11, three windows each. Mixed: 8 long bands, then short
        // bands 3-5 with slen1 and 6-11 with slen2.
        const int first = g.mixed_block_flag != 0 ? 8 + 9 : 18;
        io.run(sf, first, slen1);
        io.run(sf + first, 18, slen2);
        return;
    }
    for (int group = 0; group < 4; ++group) {
        if (granule == 1 && scfsi[group] != 0)
            continue;
        const int from = kScfsiFirst[group];
        io.run(sf + from, kScfsiFirst[group + 1] - from, group < 2 ? slen1 : slen2);
    }
}

int mpeg2_column(const ZemMp3GranuleRec& g) {
    if (g.block_type != 2)
        return 0;
    return g.mixed_block_flag == 0 ? 1 : g.mixed_block_flag == 1 ? 2 : 0;
}

} // namespace

} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

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
    const ZemMp3HeaderRec& h = *pHeader;
    ZemMp3GranuleRec& g = *pGranule;
    if (const ZemStatus st = check_scalars(h, g); st != zemStatusOk)
        return st;

    int8_t* sf = pScaleFactor;
    Reader in(*ppStream, *pBitPos);
    if (h.id == 1) {
        sf[21] = 0;
        mpeg1_walk(in, sf, g, pScfsi, granule);
        if (g.block_type == 2)
            zero(sf + (g.mixed_block_flag != 0 ? 35 : 36), 3);
    } else {
        if (g.block_type == 2)
            g.mixed_block_flag &= 1;
        const int column = g.block_type == 2 ? 1 + g.mixed_block_flag : 0;
        const bool right = intensity_right(h, channel);
        const Mpeg2Widths w = mpeg2_widths(g.scalefac_compress, right);
        g.preflag = w.preflag;
        int n = 0;
        for (int part = 0; part < 4; ++part) {
            const int count = kNrOfSfb[w.row][column][part];
            in.run(sf + n, count, w.slen[part]);
            if (right && w.slen[part] > 0) {
                const int illegal = (1 << w.slen[part]) - 1;
                for (int i = n; i < n + count; ++i)
                    if (sf[i] == illegal)
                        sf[i] = int8_t(-illegal);
            }
            n += count;
        }
        zero(sf + n, 3);
    }
    in.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsPackScaleFactors_MP3_8s1u(const int8_t* pScaleFactor, uint8_t** ppStream,
                                                int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                                ZemMp3GranuleRec* pGranule, const int32_t* pScfsi,
                                                int32_t granule, int32_t channel) {
    if (pScaleFactor == nullptr || ppStream == nullptr || *ppStream == nullptr ||
        any_null(pBitPos, pHeader, pGranule, pScfsi))
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos) || granule < 0 || granule > 1 || channel < 0 || channel > 1)
        return zemStatusBadArgument;
    const ZemMp3HeaderRec& h = *pHeader;
    ZemMp3GranuleRec& g = *pGranule;
    if (const ZemStatus st = check_scalars(h, g); st != zemStatusOk)
        return st;

    Writer out(*ppStream, *pBitPos);
    if (h.id == 1) {
        mpeg1_walk(out, pScaleFactor, g, pScfsi, granule);
    } else {
        const int column = mpeg2_column(g);
        const Mpeg2Widths w = mpeg2_widths(g.scalefac_compress, intensity_right(h, channel));
        g.preflag = w.preflag;
        int n = 0;
        for (int part = 0; part < 4; ++part) {
            const int count = kNrOfSfb[w.row][column][part];
            out.run(pScaleFactor + n, count, w.slen[part]);
            n += count;
        }
    }
    out.store(ppStream, pBitPos);
    return zemStatusOk;
}
