/* zemac: MP3 (MPEG-1 and MPEG-2 Layer III) frame header, side information, scale factors
   and Huffman coding. */
#ifndef ZEMAC_MP3_H
#define ZEMAC_MP3_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One frame header; every field right-aligned, exactly as transmitted. */
typedef struct ZemMp3HeaderRec {
    int32_t id;             /* 1 = MPEG-1, 0 = MPEG-2 lower sampling frequencies */
    int32_t layer;          /* 1 = Layer III */
    int32_t protection_bit; /* 0 = a CRC word follows */
    int32_t bitrate_index;
    int32_t sampling_frequency;
    int32_t padding_bit;
    int32_t private_bit;
    int32_t mode;           /* 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel */
    int32_t mode_extension; /* joint stereo: 2 = M/S on, 1 = intensity on */
    int32_t copyright;
    int32_t original_copy;
    int32_t emphasis;
    int32_t crc_check;
} ZemMp3HeaderRec;

/* Side information of one granule of one channel. A frame's records are stored
   granule-major: granule g, channel c at index g * nch + c. */
typedef struct ZemMp3GranuleRec {
    int32_t part2_3_length;
    int32_t big_values;
    int32_t global_gain;
    int32_t scalefac_compress;
    int32_t window_switching_flag;
    int32_t block_type;
    int32_t mixed_block_flag;
    int32_t table_select[3];
    int32_t subblock_gain[3];
    int32_t region0_count;
    int32_t region1_count;
    int32_t preflag;
    int32_t scalefac_scale;
    int32_t count1table_select;
} ZemMp3GranuleRec;

/* Unpacks the 4-byte header (6 with the CRC word) at *ppStream and advances past it; the
   syncword is not checked. Returns zemStatusNullPointer or zemStatusOk. */
ZEM_API ZemStatus zemsUnpackFrameHeader_MP3(uint8_t** ppStream, ZemMp3HeaderRec* pHeader);
/* Writes the syncword and the header fields (each cut to its width), and the CRC word when
   protection_bit is 0. */
ZEM_API ZemStatus zemsPackFrameHeader_MP3(const ZemMp3HeaderRec* pHeader, uint8_t** ppStream);

/* Side information of a frame from a byte boundary: main_data_begin, private_bits, the scfsi
   flags (MPEG-1, four per channel) and the granule records (2 x nch for MPEG-1, nch for
   MPEG-2). Statuses: zemStatusNullPointer; zemStatusMp3BadFrameHeader (id, layer not 1, mode);
   zemStatusMp3BadSideInfo for window switching with block_type 0 (fields before it stored). */
ZEM_API ZemStatus zemsUnpackSideInfo_MP3(uint8_t** ppStream, ZemMp3GranuleRec* pSideInfo,
                                         int32_t* pMainDataBegin, int32_t* pPrivateBits,
                                         int32_t* pScfsi, const ZemMp3HeaderRec* pHeader);
ZEM_API ZemStatus zemsPackSideInfo_MP3(const ZemMp3GranuleRec* pSideInfo, uint8_t** ppStream,
                                       int32_t mainDataBegin, int32_t privateBits,
                                       const int32_t* pScfsi, const ZemMp3HeaderRec* pHeader);

/* Scale factors of one granule and channel at the cursor (up to 39 signed bytes; layouts by
   block type and MPEG version, intensity-stereo right channel marks in MPEG-2 negated). For
   MPEG-1 granule 1, pass the granule-0 values: groups with scfsi set are kept. MPEG-2 updates
   preflag (and reduces mixed_block_flag to a bit) in the record. Statuses: zemStatusNullPointer,
   zemStatusBadArgument (bit offset, granule, channel), zemStatusMp3BadSideInfo
   (scalefac_compress), zemStatusMp3BadFrameHeader (mode_extension). */
ZEM_API ZemStatus zemsUnpackScaleFactors_MP3_1u8s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int8_t* pScaleFactor, ZemMp3GranuleRec* pGranule,
                                                  const int32_t* pScfsi,
                                                  const ZemMp3HeaderRec* pHeader, int32_t granule,
                                                  int32_t channel);
ZEM_API ZemStatus zemsPackScaleFactors_MP3_8s1u(const int8_t* pScaleFactor, uint8_t** ppStream,
                                                int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                                ZemMp3GranuleRec* pGranule, const int32_t* pScfsi,
                                                int32_t granule, int32_t channel);

/* Huffman decoding of one granule and channel into 576 values; *pNonZeroBound receives one past
   the last non-zero value. huffmanBits is part2_3_length minus the scale-factor bits; the cursor
   ends exactly that many bits on. Band tables: six rows (id * 3 + sampling_frequency) of 23 long
   or 14 short boundaries; the mixed-block table holds per row the long bands of the long part
   and the short units region 0 takes of the short part. Statuses: zemStatusNullPointer,
   zemStatusBadArgument, zemStatusMp3BadSideInfo, zemStatusMp3BadFrameHeader, zemStatusFailed
   (the big values used more bits than given). */
ZEM_API ZemStatus zemsHuffmanDecode_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst,
                                              int32_t* pNonZeroBound,
                                              const ZemMp3GranuleRec* pGranule,
                                              const ZemMp3HeaderRec* pHeader, int32_t huffmanBits);
ZEM_API ZemStatus zemsHuffmanDecodeSfb_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos,
                                                 int32_t* pDst, int32_t* pNonZeroBound,
                                                 const ZemMp3GranuleRec* pGranule,
                                                 const ZemMp3HeaderRec* pHeader,
                                                 int32_t huffmanBits, const int16_t* pSfbTableLong);
ZEM_API ZemStatus zemsHuffmanDecodeSfbMbp_MP3_1u32s(
    uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst, int32_t* pNonZeroBound,
    const ZemMp3GranuleRec* pGranule, const ZemMp3HeaderRec* pHeader, int32_t huffmanBits,
    const int16_t* pSfbTableLong, const int16_t* pSfbTableShort, const int16_t* pMbpTable);
/* MPEG-1 Huffman encoding of 576 values: big values by the record's tables and regions,
   count1Values values of count1 quadruples, then 1 bits up to huffmanBits. */
ZEM_API ZemStatus zemsHuffmanEncode_MP3_32s1u(const int32_t* pSrc, uint8_t** ppStream,
                                              int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                              const ZemMp3GranuleRec* pGranule,
                                              int32_t count1Values, int32_t huffmanBits);

#ifdef __cplusplus
}
#endif

#endif
