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

#ifdef __cplusplus
}
#endif

#endif
