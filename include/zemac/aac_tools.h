/* zemac: AAC inverse quantisation, stereo tools, TNS and filter bank. */
#ifndef ZEMAC_AAC_TOOLS_H
#define ZEMAC_AAC_TOOLS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Spectral tools. Dequantised values carry 3 fractional bits (y stands for y / 8). The grouped
   spectrum of the noiseless decoder holds group after group, band b of a group of L windows
   spanning (offset[b+1] - offset[b]) * L values from L * offset[b]. Per-band arrays hold one
   row of maxSfb entries per group (pSf 16-bit, pSfbCb one byte per band); M/S flags are rows
   of 60 bytes per group. Window lengths: 1024 (one group of one window) or 128 (1..8 groups of at
   least one window, eight windows in all); other groupings fail with
   zemStatusAacBadWindowGroupCount. */

/* Inverse quantisation in place: every value x of a band whose codebook is not 0, 13, 14 or 15
   becomes sign(x) |x|^(4/3) 2^((sf - 100) / 4) * 8. Statuses: zemStatusNullPointer;
   zemStatusAacBadWindowGroupCount, zemStatusAacBadWindowLength; zemStatusAacBadMaxSfb (0..51,
   then within the band count); zemStatusAacBadSampleRateIndex; zemStatusAacBadSpectralValue for
   a magnitude above 8191 (values before it are already converted). */
ZEM_API ZemStatus zemsQuantInv_AAC_32s_I(int32_t* pSrcDst, const int16_t* pSf, int32_t numWinGrp,
                                         const int32_t* pWinGrpLen, int32_t maxSfb,
                                         const uint8_t* pSfbCb, int32_t sfIndex, int32_t winLen);

/* Mid/side in place: L' = L + R, R' = L - R on bands with the flag set (msMaskPresent 1) or on
   all bands (2), skipping noise bands; on intensity bands with the flag set (mode 1) the
   codebook in pSfbCb switches between 14 and 15 instead. msMaskPresent must be 1 or 2
   (zemStatusAacBadMsMaskPresent). */
ZEM_API ZemStatus zemsDecodeMsStereo_AAC_32s_I(int32_t* pSrcDstL, int32_t* pSrcDstR,
                                               int32_t msMaskPresent, const uint8_t* pMsUsedRows,
                                               uint8_t* pSfbCb, int32_t numWinGrp,
                                               const int32_t* pWinGrpLen, int32_t maxSfb,
                                               int32_t sfIndex, int32_t winLen);

/* Intensity stereo: on bands of codebook 15 (14: out of phase) R = +-L 2^(-p/4), p the band's
   intensity position in pSf. Other right-channel values are not written. Statuses:
   zemStatusNullPointer, then the band checks of zemsQuantInv_AAC_32s_I in its order. */
ZEM_API ZemStatus zemsDecodeIsStereo_AAC_32s(const int32_t* pSrcL, int32_t* pDstR,
                                             const int16_t* pSf, const uint8_t* pSfbCb,
                                             int32_t numWinGrp, const int32_t* pWinGrpLen,
                                             int32_t maxSfb, int32_t sfIndex, int32_t winLen);

/* Noise substitution on the window-ordered spectrum (windows winLen values apart): every band of
   codebook 13 receives noise of energy about 2^(sf/2), drawn from the generator state *pSeed.
   pSfbCb has one row per group, pSf one row of maxSfb entries per window. With one group,
   pLtpUsed[b + 1] (the layout of ltp_long_used) is cleared for each noise band b. Statuses:
   zemStatusNullPointer, zemStatusAacBadMaxSfb (0..51), zemStatusAacBadWindowGroupCount,
   zemStatusAacBadSampleRateIndex, zemStatusAacBadWindowLength, then the group lengths
   (zemStatusAacBadWindowGroupCount) and maxSfb within the band count (zemStatusAacBadMaxSfb). */
ZEM_API ZemStatus zemsDecodePNS_AAC_32s(int32_t* pSrcDst, int32_t* pLtpUsed, const uint8_t* pSfbCb,
                                        const int16_t* pSf, int32_t maxSfb, int32_t numWinGrp,
                                        const int32_t* pWinGrpLen, int32_t sfIndex, int32_t winLen,
                                        uint32_t* pSeed);

/* The same with noise correlation in a channel pair. channel 0 stores the generator state of each
   noise band in pNoiseSeeds (8 rows of 60 states, row per group); channel 1 replays the stored
   state on bands whose M/S flag is 1, so both channels get the same noise there. Both arrays are
   required; after the checks above, channel must be 0 or 1 (zemStatusBadArgument). */
ZEM_API ZemStatus zemsDecodeMsPNS_AAC_32s(int32_t* pSrcDst, int32_t* pLtpUsed,
                                          const uint8_t* pSfbCb, const int16_t* pSf, int32_t maxSfb,
                                          int32_t numWinGrp, const int32_t* pWinGrpLen,
                                          int32_t sfIndex, int32_t winLen, uint32_t* pSeed,
                                          int32_t channel, const uint8_t* pMsUsedRows,
                                          uint32_t* pNoiseSeeds);

/* Temporal noise shaping in place on one channel (1024 values, or 8 windows of 128 in window
   order): the decoder's all-pole filter, or the encoder's all-zero filter (mode must be 1,
   zemStatusAacTnsModeUnsupported). Side data per window (pNumFilt, pCoefRes) and per filter
   (pRegionLen, pOrder; pCoef and pDirection packed for filters of non-zero order). Statuses in
   order: zemStatusNullPointer, zemStatusAacBadWindowLength, the mode,
   zemStatusAacBadSampleRateIndex, zemStatusAacBadMaxSfb; then while filtering
   zemStatusAacBadTnsFilterCount, ...Length, ...Order,
   ...CoefRes, ...Coef, ...Direction (earlier regions stay filtered). */
ZEM_API ZemStatus zemsDecodeTNS_AAC_32s_I(int32_t* pSrcDst, const int32_t* pNumFilt,
                                          const int32_t* pRegionLen, const int32_t* pOrder,
                                          const int32_t* pCoefRes, const int8_t* pCoef,
                                          const int32_t* pDirection, int32_t maxSfb,
                                          int32_t reserved, int32_t samplingFreqIndex,
                                          int32_t winLen);
ZEM_API ZemStatus zemsEncodeTNS_AAC_32s_I(int32_t* pSrcDst, const int32_t* pNumFilt,
                                          const int32_t* pRegionLen, const int32_t* pOrder,
                                          const int32_t* pCoefRes, const int8_t* pCoef,
                                          const int32_t* pDirection, int32_t maxSfb, int32_t mode,
                                          int32_t samplingFreqIndex, int32_t winLen);

/* Filter bank. Window sequences: 0 only long, 1 long start, 2 eight short, 3 long stop; window
   shapes: 0 sine, 1 Kaiser-Bessel derived. The overlap buffer (int32[1024] per channel) holds
   the second half of the previous frame's windowed IMDCT; zero it before the first frame.
   Statuses: zemStatusNullPointer, zemStatusAacBadWindowSequence, zemStatusAacBadWindowShape,
   then the function's own size or stride check. */

/* Inverse MDCT, windowing and overlap-add of 1024 coefficients (eight short blocks of 128 in
   window order for sequence 2) into 1024 16-bit samples at pDst[n * dstStep]. The spectrum is
   expected at 8 times the PCM scale. pSrc is used as scratch. dstStep must be 1 or 2
   (zemStatusAacBadOutputStride). */
ZEM_API ZemStatus zemsMDCTInv_AAC_32s16s(int32_t* pSrc, int16_t* pDst, int32_t* pOverlap,
                                         int32_t windowSequence, int32_t windowShape,
                                         int32_t prevWindowShape, int32_t dstStep);

/* The same in 32 bits, in place, without rounding or saturation (len must be 1024). */
ZEM_API ZemStatus zemsMDCTInv_AAC_32s_I(int32_t* pSrcDst, int32_t* pOverlap, int32_t windowSequence,
                                        int32_t windowShape, int32_t prevWindowShape, int32_t len);

/* Windowing and forward MDCT: 2048 samples to 1024 coefficients, or for sequence 2 one short
   block of 256 samples to 128 coefficients. pWorkBuf: int32[2048] scratch; pReserved must be
   non-null and is not read. */
ZEM_API ZemStatus zemsMDCTFwd_AAC_32s(const int32_t* pSrc, int32_t* pDst, int32_t* pReserved,
                                      int32_t windowSequence, int32_t windowShape,
                                      int32_t prevWindowShape, int32_t* pWorkBuf);

/* The same in place on 2048 samples (len must be 2048), normalised by 1/(2N) and without the
   doubling; the coefficients occupy the first 1024 (or 128) elements. */
ZEM_API ZemStatus zemsMDCTFwd_AAC_32s_I(int32_t* pSrcDst, int32_t windowSequence,
                                        int32_t windowShape, int32_t prevWindowShape, int32_t len);

/* Reorders an eight-short-window spectrum from grouped, band-interleaved order into window
   order, zero-filling each window above the top of band maxSfb. len must be 128
   (zemStatusAacBadWindowLength); numWindowGroups 1..8, each group length at least 1 and all of
   them together at most 8 windows (zemStatusAacBadWindowGroupCount); maxSfb 0..51 and within
   the short-window band count (zemStatusAacBadMaxSfb); samplingFreqIndex 0..11
   (zemStatusAacBadSampleRateIndex). */
ZEM_API ZemStatus zemsDeinterleaveSpectrum_AAC_32s(const int32_t* pSrc, int32_t* pDst,
                                                   int32_t numWindowGroups,
                                                   const int32_t* pWindowGroupLen, int32_t maxSfb,
                                                   int32_t samplingFreqIndex, int32_t len);

#ifdef __cplusplus
}
#endif

#endif
