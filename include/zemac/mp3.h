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

/* Frame header and side information. The cursor is a pointer to the caller's byte pointer;
   these four start and end on byte boundaries. Statuses: zemStatusOk, zemStatusNullPointer,
   and for the side information zemStatusMp3BadFrameHeader (id not 0/1, layer not 1, mode
   outside 0..3) and zemStatusMp3BadSideInfo (window switching with block_type 0; the records
   before it, and the stream or fields up to it, are already processed). */

/* Reads a 4-byte header, then the 16-bit CRC word when protection_bit is 0 (otherwise
   crc_check is left unchanged); advances by 4 or 6 bytes. The sync word is not checked. */
ZEM_API ZemStatus zemsUnpackFrameHeader_MP3(uint8_t** ppStream, ZemMp3HeaderRec* pHeader);

/* Writes twelve sync ones and the header fields, each cut to its width, then the CRC word when
   protection_bit is 0; advances by 4 or 6 bytes. */
ZEM_API ZemStatus zemsPackFrameHeader_MP3(const ZemMp3HeaderRec* pHeader, uint8_t** ppStream);

/* Reads the side information of one frame: 2 * nch records (MPEG-1) or nch (MPEG-2) into
   pSideInfo, granule-major; scfsi flags into pScfsi[4 * nch] (MPEG-1 only, never written for
   MPEG-2). Fields that the stream does not carry keep their contents, except block_type,
   mixed_block_flag and the region counts, which are set. Advances by 17/32 (MPEG-1) or 9/17
   (MPEG-2) bytes for one/two channels; the buffer must stay readable 3 bytes beyond. */
ZEM_API ZemStatus zemsUnpackSideInfo_MP3(uint8_t** ppStream, ZemMp3GranuleRec* pSideInfo,
                                         int32_t* pMainDataBegin, int32_t* pPrivateBits,
                                         int32_t* pScfsi, const ZemMp3HeaderRec* pHeader);

/* Writes the side information that zemsUnpackSideInfo_MP3 reads, every value cut to its field
   width (a flag is judged by its transmitted bit). */
ZEM_API ZemStatus zemsPackSideInfo_MP3(const ZemMp3GranuleRec* pSideInfo, uint8_t** ppStream,
                                       int32_t mainDataBegin, int32_t privateBits,
                                       const int32_t* pScfsi, const ZemMp3HeaderRec* pHeader);

/* Scale factors of one granule and channel, at the bit cursor (*ppStream, *pBitPos), which
   both functions advance. pScfsi points to this channel's four scfsi flags (read for MPEG-1
   long blocks of granule 1 only). The array holds up to 39 entries: 22 (MPEG-1 long: band
   order), 24 (MPEG-2 long), 39 (short: band * 3 + window), 38 (MPEG-1 mixed: 8 long bands then
   short bands 3-11) or 36 (MPEG-2 mixed: 6 long bands, then short bands 3-11); the entries
   after the transmitted ones are set to 0. For MPEG-2 the values follow the four partitions in
   order; on the intensity-stereo right channel (bit 0 of mode_extension, channel 1) the largest
   value of a partition is stored negated. MPEG-2 sets preflag in *pGranule from
   scalefac_compress, and unpacking reduces mixed_block_flag of a short granule to its low bit.
   The buffer must stay readable 3 bytes past the last bit. Statuses, in check order:
   zemStatusNullPointer; zemStatusBadArgument (bit offset outside 0..7, granule or channel
   outside 0..1); zemStatusMp3BadFrameHeader (id not 0/1); MPEG-2: zemStatusMp3BadSideInfo
   (scalefac_compress outside 0..511), zemStatusMp3BadFrameHeader (mode_extension outside 0..3);
   MPEG-1: zemStatusMp3BadSideInfo (scalefac_compress outside 0..15). Unpacking for granule 1 keeps
   the entries of the groups whose scfsi flag is set, so pass the channel's granule-0 array there.
 */
ZEM_API ZemStatus zemsUnpackScaleFactors_MP3_1u8s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int8_t* pScaleFactor, ZemMp3GranuleRec* pGranule,
                                                  const int32_t* pScfsi,
                                                  const ZemMp3HeaderRec* pHeader, int32_t granule,
                                                  int32_t channel);

/* Writes the scale factors that zemsUnpackScaleFactors_MP3_1u8s reads, each as the low slen
   bits of its value; MPEG-1 granule 1 long blocks skip the groups whose scfsi flag is set.
   Statuses as the unpacker's, in its order. */
ZEM_API ZemStatus zemsPackScaleFactors_MP3_8s1u(const int8_t* pScaleFactor, uint8_t** ppStream,
                                                int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                                ZemMp3GranuleRec* pGranule, const int32_t* pScfsi,
                                                int32_t granule, int32_t channel);

/* Huffman decoding of one granule and channel into pDst[576] (stream order; zeros after the
   last decoded value), from the bit cursor at the first Huffman bit. hufSize is part2_3_length
   minus the scale-factor bits; the cursor ends exactly hufSize bits on (a count1 quadruple that
   runs past the budget is dropped). *pNonZeroBound receives one past the last non-zero value.
   Region 0/1/2 ends come from the long band table (six rows of 23 boundaries, row = id * 3 +
   sampling_frequency); with window switching, region 1 starts at line 36 (MPEG-1 or short
   blocks) or 54. The buffer must stay readable 3 bytes past the last bit read; a broken
   stream is read at most one pair past the budget. Statuses, in check order:
   zemStatusNullPointer; zemStatusBadArgument (bit offset outside 0..7, hufSize outside
   0..part2_3_length); zemStatusMp3BadSideInfo (big_values above 288, block_type outside 0..3,
   window_switching_flag or count1table_select not 0/1); zemStatusMp3BadFrameHeader (id not
   0/1, layer not 1, sampling_frequency outside 0..2); zemStatusMp3BadSideInfo (window switching
   with block_type 0, region counts negative or summing to 21 or more, a table number outside
   0..31); zemStatusFailed (the big values used more than hufSize bits). */
ZEM_API ZemStatus zemsHuffmanDecodeSfb_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos,
                                                 int32_t* pDst, int32_t* pNonZeroBound,
                                                 const ZemMp3GranuleRec* pGranule,
                                                 const ZemMp3HeaderRec* pHeader, int32_t hufSize,
                                                 const int16_t* pSfbTableLong);

/* zemsHuffmanDecodeSfb_MP3_1u32s with the built-in long band table. */
ZEM_API ZemStatus zemsHuffmanDecode_MP3_1u32s(uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst,
                                              int32_t* pNonZeroBound,
                                              const ZemMp3GranuleRec* pGranule,
                                              const ZemMp3HeaderRec* pHeader, int32_t hufSize);

/* As zemsHuffmanDecodeSfb_MP3_1u32s, with region 0 of window-switching granules taken from the
   caller's tables: long[8] for block types 1 and 3, three short bands for short blocks, and for
   mixed blocks L long bands plus S short-window units, (L, S) = pMbpTable[2 * row + 0..1].
   pSfbTableShort: six rows of 14 boundaries. Check order: pointers; bit offset
   (zemStatusBadArgument); id (zemStatusMp3BadFrameHeader); big_values, block_type,
   window_switching_flag, window switching with block_type 0 (zemStatusMp3BadSideInfo); layer,
   sampling_frequency (zemStatusMp3BadFrameHeader); count1table_select, hufSize
   (zemStatusMp3BadSideInfo); then region counts, table numbers and the overrun as above. */
ZEM_API ZemStatus zemsHuffmanDecodeSfbMbp_MP3_1u32s(
    uint8_t** ppStream, int32_t* pBitPos, int32_t* pDst, int32_t* pNonZeroBound,
    const ZemMp3GranuleRec* pGranule, const ZemMp3HeaderRec* pHeader, int32_t hufSize,
    const int16_t* pSfbTableLong, const int16_t* pSfbTableShort, const int16_t* pMbpTable);

/* Huffman encoding of one MPEG-1 granule and channel from pSrc[576]: the big values with the
   granule's tables (region 1 at line 36 with window switching and a non-zero block_type), then
   count1Len values (a multiple of 4) as quadruples, then 1 bits up to hufSize bits in all.
   Values must fit the chosen tables (larger magnitudes are written cut). Statuses:
   zemStatusNullPointer; zemStatusBadArgument (bit offset outside 0..7); zemStatusMp3BadSideInfo
   (big_values outside 0..288, region counts negative or summing to 21 or more,
   count1table_select not 0/1); zemStatusMp3BadFrameHeader (id or layer not 1,
   sampling_frequency outside 0..2); zemStatusBadArgument (count1Len outside
   0..576 - 2 * big_values, hufSize negative); zemStatusMp3BadSideInfo (a table number outside
   0..31, after the regions before it are written). */
ZEM_API ZemStatus zemsHuffmanEncode_MP3_32s1u(const int32_t* pSrc, uint8_t** ppStream,
                                              int32_t* pBitPos, const ZemMp3HeaderRec* pHeader,
                                              const ZemMp3GranuleRec* pGranule, int32_t count1Len,
                                              int32_t hufSize);

#ifdef __cplusplus
}
#endif

#endif
