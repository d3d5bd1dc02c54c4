/* zemac: AAC stream headers (ADTS, ADIF) and the program config element. */
#ifndef ZEMAC_AAC_STREAM_H
#define ZEMAC_AAC_STREAM_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ADTS frame header; every field holds the bit-stream value unchanged. */
typedef struct ZemAacAdtsRec {
    int32_t id;
    int32_t layer;
    int32_t protection_absent;
    int32_t profile;
    int32_t sampling_frequency_index;
    int32_t private_bit;
    int32_t channel_configuration;
    int32_t original_copy;
    int32_t home;
    int32_t reserved; /* never written by the unpacker */
    int32_t copyright_identification_bit;
    int32_t copyright_identification_start;
    int32_t aac_frame_length; /* bytes, header included */
    int32_t adts_buffer_fullness;
    int32_t raw_data_block_count; /* number_of_raw_data_blocks_in_frame + 1 */
    int32_t crc_check;            /* written only when protection_absent is 0 */
} ZemAacAdtsRec;

/* ADIF header. */
typedef struct ZemAacAdifRec {
    int32_t adif_id;
    int32_t copyright_id_present;
    int32_t original_copy;
    int32_t home;
    int32_t bitstream_type;
    int32_t bitrate;
    int32_t pce_count;                /* num_program_config_elements + 1 */
    int32_t adif_buffer_fullness[16]; /* written only when bitstream_type is 0 */
    uint8_t copyright_id[9];          /* written only when copyright_id_present is 1 */
} ZemAacAdifRec;

/* Program config element; arrays hold as many valid entries as their counts. */
typedef struct ZemAacPceRec {
    int32_t element_instance_tag;
    int32_t object_type;
    int32_t sampling_frequency_index;
    int32_t num_front_channel_elements;
    int32_t num_side_channel_elements;
    int32_t num_back_channel_elements;
    int32_t num_lfe_channel_elements;
    int32_t num_assoc_data_elements;
    int32_t num_valid_cc_elements;
    int32_t mono_mixdown_present;
    int32_t mono_mixdown_element_number;
    int32_t stereo_mixdown_present;
    int32_t stereo_mixdown_element_number;
    int32_t matrix_mixdown_idx_present;
    int32_t matrix_mixdown_idx;
    int32_t pseudo_surround_enable;
    int32_t front_element_is_cpe[16];
    int32_t front_element_tag_select[16];
    int32_t side_element_is_cpe[16];
    int32_t side_element_tag_select[16];
    int32_t back_element_is_cpe[16];
    int32_t back_element_tag_select[16];
    int32_t lfe_element_tag_select[4];
    int32_t assoc_data_element_tag_select[8];
    int32_t cc_element_is_ind_sw[16];
    int32_t valid_cc_element_tag_select[16];
    int32_t comment_field_bytes;
    uint8_t comment_field_data[256]; /* no terminator is added */
} ZemAacPceRec;

/* Unpacks the 7-byte ADTS header (9 with CRC) at *ppStream, which must be on a byte
   boundary, and advances *ppStream past it. The syncword is skipped, not compared.
   Returns zemStatusNullPointer, or zemStatusOk. */
ZEM_API ZemStatus zemsUnpackADTSFrameHeader_AAC(uint8_t** ppStream, ZemAacAdtsRec* pAdts);

/* Unpacks an ADIF header with its program config elements into pAdif and pPce[0..maxPce-1],
   leaving *ppStream on the first byte after the header.
   Returns zemStatusNullPointer; zemStatusAacBadPceCount when maxPce is outside 1..16 (nothing
   read) or the stream declares more than maxPce elements (fields up to pce_count written). */
ZEM_API ZemStatus zemsUnpackADIFHeader_AAC(uint8_t** ppStream, ZemAacAdifRec* pAdif,
                                           ZemAacPceRec* pPce, int32_t maxPce);

/* Decodes one program config element (without its element_id) at the cursor.
   Returns zemStatusNullPointer, zemStatusAacBadBitOffset, or zemStatusOk. */
ZEM_API ZemStatus zemsDecodePrgCfgElt_AAC(uint8_t** ppStream, int32_t* pBitPos, ZemAacPceRec* pPce);

#ifdef __cplusplus
}
#endif

#endif
