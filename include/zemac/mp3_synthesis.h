/* zemac: MP3 requantisation and hybrid synthesis. */
#ifndef ZEMAC_MP3_SYNTHESIS_H
#define ZEMAC_MP3_SYNTHESIS_H

#include "core.h"
#include "mp3.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Requantises one granule of nch channels in place (channel c at value 576 c; quantised
   magnitudes up to 8206) into Q26, with the stereo tools of the header, and reorders short
   blocks into sub-band order. Scale factors of channel c start at byte 40 c; pSideInfo holds the
   granule's records of channel 0 and 1; pNonZeroBound (two values) is updated; pWorkBuf holds
   576 values. Band tables: six rows (id * 3 + sampling_frequency) of 23 long and 14 short
   boundaries. The top band (long 21, short 12), which has no scale factor, takes the intensity
   position of the band below when that is an intensity band; otherwise position 0 (MPEG-2) or
   the illegal position (MPEG-1). With M/S or intensity stereo both channels must have the same
   block_type, and for short blocks the same mixed_block_flag. Statuses: zemStatusNullPointer,
   zemStatusMp3BadFrameHeader, zemStatusMp3BadSideInfo, zemStatusBadArgument (a bound outside
   0..576), zemStatusFailed (sub-block gain, magnitude or MPEG-1 intensity position out of
   range). */
ZEM_API ZemStatus zemsReQuantizeSfb_MP3_32s_I(int32_t* pSrcDst, int32_t* pNonZeroBound,
                                              const int8_t* pScaleFactor,
                                              const ZemMp3GranuleRec* pSideInfo,
                                              const ZemMp3HeaderRec* pHeader, int32_t* pWorkBuf,
                                              const int16_t* pSfbTableLong,
                                              const int16_t* pSfbTableShort);
ZEM_API ZemStatus zemsReQuantize_MP3_32s_I(int32_t* pSrcDst, int32_t* pNonZeroBound,
                                           const int8_t* pScaleFactor,
                                           const ZemMp3GranuleRec* pSideInfo,
                                           const ZemMp3HeaderRec* pHeader, int32_t* pWorkBuf);

/* Alias reduction, inverse MDCT with the block type's window (Q26 in, Q24 out), overlap-add
   and frequency inversion of one granule of one channel: 576 sub-band samples out, time slot
   major (sub-band sb of slot t at 32 t + sb). With mixedBlock 1, sub-bands 0 and 1 take the
   normal window whatever the block type; only short blocks are mixed otherwise. pOverlap (576)
   and *pPrevNumOfImdct (0..32) carry state between granules. Statuses: zemStatusNullPointer,
   zemStatusBadArgument. */
ZEM_API ZemStatus zemsMDCTInv_MP3_32s(int32_t* pSrcXr, int32_t* pDstY, int32_t* pOverlap,
                                      int32_t nonZeroBound, int32_t* pPrevNumOfImdct,
                                      int32_t blockType, int32_t mixedBlock);
/* The windowed inverse transform of one sub-band: 18 lines to 36 values. Statuses:
   zemStatusNullPointer, zemStatusBadArgument (blockType outside 0..3). */
ZEM_API ZemStatus zemsMDCTInvWindow_MP3_32s(const int32_t* pSrc, int32_t* pDst, int32_t blockType);
/* Polyphase synthesis of one time slot: 32 sub-band samples (Q24) to 32 PCM samples written
   at stride mode (1 or 2). pVBuffer (512 values) and *pVPosition (0..15) carry the history.
   Statuses: zemStatusNullPointer, zemStatusBadArgument (mode or *pVPosition out of range). */
ZEM_API ZemStatus zemsSynthPQMF_MP3_32s16s(const int32_t* pSrcY, int16_t* pDstAudioOut,
                                           int32_t* pVBuffer, int32_t* pVPosition, int32_t mode);

#ifdef __cplusplus
}
#endif

#endif
