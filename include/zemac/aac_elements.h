/* zemac: AAC raw data block elements and noiseless decoding. */
#ifndef ZEMAC_AAC_ELEMENTS_H
#define ZEMAC_AAC_ELEMENTS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Individual channel stream info. */
typedef struct ZemAacIcsRec {
    int32_t ics_reserved_bit;
    int32_t window_sequence; /* 0 only-long, 1 long-start, 2 eight-short, 3 long-stop */
    int32_t window_shape;
    int32_t max_sfb;
    int32_t scale_factor_grouping;        /* written only for eight-short */
    int32_t predictor_data_present;       /* 0 for eight-short */
    int32_t predictor_reset;              /* untouched for eight-short */
    int32_t predictor_reset_group_number; /* written only when predictor_reset is 1 */
    uint8_t prediction_used[41];
    int32_t num_window_groups;      /* 1..8 */
    int32_t window_group_length[8]; /* entries from num_window_groups on are untouched */
} ZemAacIcsRec;

/* Channel pair element: the M/S flags in rows of 60 bytes, one row per window group. */
typedef struct ZemAacCpeRec {
    int32_t common_window;
    int32_t ms_mask_present;
    uint8_t ms_used[8][60];
} ZemAacCpeRec;

/* TNS side data of one channel (256 bytes). Per-filter lists are in transmission order. */
typedef struct ZemAacTnsRec {
    int32_t tns_data_present;
    int32_t n_filt[8];    /* filters per window */
    int32_t coef_res[8];  /* 3 or 4, per window */
    int32_t length[8];    /* per filter */
    int32_t order[8];     /* per filter */
    int32_t direction[8]; /* per filter of non-zero order */
    int32_t reserved[8];
    int8_t coef[60]; /* coefficient indices of all filters, sign-extended */
} ZemAacTnsRec;

/* Long-term prediction side data of one channel (352 bytes). */
typedef struct ZemAacLtpRec {
    int32_t ltp_data_present;
    int32_t ltp_lag;
    uint16_t ltp_coef; /* Q14 */
    uint16_t reserved0;
    int32_t ltp_long_used[41]; /* entry 0 repeats ltp_data_present, then one flag per band */
    int32_t reserved1[20];
    int32_t ltp_short_used[8];
    int32_t ltp_short_lag_present[8];
    int32_t ltp_window_lag[8];
} ZemAacLtpRec;

/* Scalable layer main header; also receives the LTP data of the MPEG-4 element parsers. */
typedef struct ZemAacLayerMainRec {
    int32_t window_sequence;
    int32_t window_shape;
    int32_t max_sfb;
    int32_t scale_factor_grouping;
    int32_t num_window_groups;
    int32_t window_group_length[8];
    int32_t ms_mask_present;
    uint8_t* pMsUsed; /* caller's rows of 60 bytes for the M/S flags */
    ZemAacTnsRec tns[2];
    ZemAacLtpRec ltp[2];
} ZemAacLayerMainRec;

/* Scalable layer extension header. */
typedef struct ZemAacLayerExtRec {
    int32_t ms_mask_present;
    int32_t max_sfb;
    uint8_t* pMsUsed; /* caller's rows of 60 bytes for the M/S flags */
    ZemAacTnsRec tns[2];
    int32_t band_switch[2][51];
} ZemAacLayerExtRec;

/* Per-channel record of the noiseless decoders: the caller sets sampling_frequency_index,
   predSfbLimit and pIcsOfChan; the decoders write the rest. */
typedef struct ZemAacChanRec {
    int32_t reserved0[2];
    int32_t sampling_frequency_index;
    int32_t predSfbLimit;
    int32_t reserved1;
    int32_t frame_length; /* 1024, or 128 for eight-short */
    int32_t num_windows;
    int32_t num_swb;
    int32_t global_gain;
    int32_t pulse_data_present;
    int32_t tns_data_present;
    int32_t gain_control_data_present;
    ZemAacIcsRec* pIcsOfChan;
    int32_t reserved2;
    uint8_t sect_cb[120];  /* codebook per section, groups one after the other */
    uint8_t sect_end[120]; /* end band (exclusive) per section */
    int32_t num_sec[8];    /* sections per window group */
    int32_t n_filt[8];
    int32_t coef_res[8];
    int32_t length[8];
    int32_t order[8];
    int32_t direction[8];
} ZemAacChanRec;

/* Channel pair element after its element_instance_tag: common_window and, when it is 1, the
   shared ICS info (prediction data limited to predSfbLimit bands) and the M/S mask.
   Returns zemStatusNullPointer, zemStatusAacBadBitOffset, zemStatusAacBadPredictionLimit
   (predSfbLimit outside 0..41), zemStatusAacBadMaxSfb (long max_sfb above 51, cursor after it). */
ZEM_API ZemStatus zemsDecodeChanPairElt_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                            ZemAacIcsRec* pIcs, ZemAacCpeRec* pCpe,
                                            int32_t predSfbLimit);

/* MPEG-4 variant: objectType 1 reads prediction data, other object types read LTP data for both
   channels into pMain->ltp (pMain is needed then). predSfbLimit outside 0..51 fails with
   zemStatusAacBadMaxSfb, outside 0..41 on the prediction path with zemStatusAacBadPredictionLimit.
 */
ZEM_API ZemStatus zemsDecodeChanPairElt_MP4_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                                ZemAacIcsRec* pIcs, ZemAacCpeRec* pCpe,
                                                ZemAacLayerMainRec* pMain, int32_t predSfbLimit,
                                                int32_t objectType);

/* Data stream element after its element_id: tag, byte count and up to 510 bytes into pData.
   Statuses: zemStatusNullPointer (pTag, pCount, pData, then the cursor);
   zemStatusAacBadBitOffset. */
ZEM_API ZemStatus zemsDecodeDatStrElt_AAC(uint8_t** ppStream, int32_t* pBitPos, int32_t* pTag,
                                          int32_t* pCount, uint8_t* pData);

/* Fill element after its element_id: byte count and up to 269 bytes into pData (not interpreted).
   Statuses: zemStatusNullPointer (pCount, pData, then the cursor); zemStatusAacBadBitOffset. */
ZEM_API ZemStatus zemsDecodeFillElt_AAC(uint8_t** ppStream, int32_t* pBitPos, int32_t* pCount,
                                        uint8_t* pData);

/* Scalable layer main header for numChannels 1 or 2 (zemStatusAacBadLayerChannels); modeFlag 0
   or 1 (zemStatusAacBadLayerFlag); two channels need pMain->pMsUsed (zemStatusNullPointer, after
   the flags); with modeFlag 1 it parses everything, then returns zemStatusModeUnsupported. */
ZEM_API ZemStatus zemsDecodeMainHeader_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                           ZemAacLayerMainRec* pMain, int32_t numChannels,
                                           int32_t modeFlag);

/* Scalable layer extension header; the flags select what is read, bands sfbStart..sfbLimit.
   Statuses, in check order: zemStatusNullPointer (pExt, then the cursor);
   zemStatusAacBadBitOffset; zemStatusAacBadLayerFlag (readTns not 0/1);
   zemStatusAacBadStereoLayerFlag; zemStatusAacBadBandSwitchFlag; zemStatusAacBadMaxSfb (sfbStart
   or sfbLimit outside 0..51); zemStatusAacBadWindowSequence; zemStatusNullPointer (pExt->pMsUsed
   for a stereo layer); then while parsing zemStatusAacBadMaxSfb (long max_sfb above 60) and
   zemStatusAacBadTnsOrder, the cursor after the value. */
ZEM_API ZemStatus zemsDecodeExtensionHeader_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                                ZemAacLayerExtRec* pExt, int32_t readTns,
                                                int32_t stereoLayer, int32_t readBandSwitch,
                                                int32_t sfbStart, int32_t sfbLimit,
                                                int32_t windowSequence);

/* One low-complexity individual channel stream up to quantised values: 16-bit scale factors
   (pSf, group g at g * max_sfb), codebook per band (pSfbCb), 1024 values in bit-stream order
   (pCoef), TNS coefficient indices (pTnsCoef, at most 56). Noise bands fail with
   zemStatusAacBadCodebook: MPEG-4 streams with noise substitution need zemsNoiselessDecode_AAC. */
ZEM_API ZemStatus zemsNoiselessDecoder_LC_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                              int32_t commonWindow, ZemAacChanRec* pChan,
                                              int16_t* pSf, int32_t* pCoef, uint8_t* pSfbCb,
                                              int8_t* pTnsCoef);

/* General individual channel stream decoder: prediction (objectType 1) or LTP side data, noise
   substitution, and scalable layers (headerSource 1 takes windowSequence and maxSfb from the
   arguments and the window groups from pMain, and reads no pulse, TNS or gain-control data). */
ZEM_API ZemStatus zemsNoiselessDecode_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                          ZemAacLayerMainRec* pMain, int16_t* pSf, int32_t* pCoef,
                                          uint8_t* pSfbCb, int8_t* pTnsCoef, ZemAacChanRec* pChan,
                                          int32_t windowSequence, int32_t maxSfb,
                                          int32_t commonWindow, int32_t headerSource,
                                          int32_t objectType);

#ifdef __cplusplus
}
#endif

#endif
