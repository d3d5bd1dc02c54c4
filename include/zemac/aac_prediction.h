/* zemac: AAC long-term prediction and main-profile frequency-domain prediction. */
#ifndef ZEMAC_AAC_PREDICTION_H
#define ZEMAC_AAC_PREDICTION_H

#include "aac_elements.h"
#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Long-term prediction at the filter bank's scale (8 times the 16-bit PCM scale). The history
   (int32[3072] per channel, zero at the start): the reconstruction of the frame before the
   previous one, of the previous one, and the windowed second half of the previous frame's
   inverse transform. */

/* The 2048-sample prediction: long sequences pPred[i] = the low 32 bits of (history[2048 - lag +
   i] c) >> 14 (c = ltp_coef read as signed Q14) for i < min(lag + 1024, 2048), 0 after; eight
   short windows: window w with ltp_short_used[w] from history[2816 - ltp_window_lag[w] ..], 256
   samples (past the history's end 0), other windows untouched. Statuses: zemStatusNullPointer;
   zemStatusAacBadWindowSequence. */
ZEM_API ZemStatus zemsLongTermPredict_AAC_32s(const int32_t* pHistory, int32_t* pPred,
                                              const ZemAacLtpRec* pLtp, int32_t windowSequence);
/* Adds the transformed prediction pEst to pSrcDst (wrapping) in the long bands whose flag
   pFlags[band + 1] is set (ltp_long_used), or in the windows whose flag pFlags[w] is set
   (ltp_short_used, all of the first 8 short bands). Statuses: zemStatusNullPointer;
   zemStatusAacBadWindowSequence; zemStatusAacBadSampleRateIndex. */
ZEM_API ZemStatus zemsLongTermReconstruct_AAC_32s(const int32_t* pEst, int32_t* pSrcDst,
                                                  const int32_t* pFlags, int32_t windowSequence,
                                                  int32_t samplingFreqIndex);
/* Shifts the history by a frame and adds the current frame: its spectrum pSpec through the
   filter bank's normalised inverse core, windowed as hi(w (2 y)) with the sequence's window
   halves; the first half overlap-added (saturating) to the previous frame's tail, the second
   kept as the new tail (short windows: from history[1472 + 128 w], the tail cleared first).
   pWorkBuf: 6144 int32. Statuses: zemStatusNullPointer; zemStatusAacBadWindowSequence;
   zemStatusAacBadWindowShape. */
ZEM_API ZemStatus zemsLtpUpdate_AAC_32s(const int32_t* pSpec, int32_t* pHistory,
                                        int32_t windowSequence, int32_t windowShape,
                                        int32_t prevWindowShape, int32_t* pWorkBuf);

/* The backward-adaptive second-order lattice predictor of every spectral line of a long window,
   in single precision with the state kept to 16 significant bits (truncated after every update,
   the prediction rounded), so that the encoder and the decoder stay in lock-step. The record:
   six per-line arrays COR0, COR1, VAR0, VAR1, r0, r1 (pointers, then the line count, the tag 59
   and the allocated flag) at the start of the caller's memory, the arrays from byte 64, each
   4 L bytes rounded up to 32. A reset line has its correlations and r values 0 and its variances
   1.0 (so it predicts 0). */
typedef struct ZemFdpState_32f ZemFdpState_32f;

/* 6 A(L) + 96 bytes, A(L) = 4 L rounded up to 32. zemStatusNullPointer; zemStatusBadSize. */
ZEM_API ZemStatus zemsFDPGetSize_32f(int32_t len, int32_t* pSize);
/* Builds the record in pMem with every line reset. zemStatusNullPointer; zemStatusBadSize. */
ZEM_API ZemStatus zemsFDPInit_32f(ZemFdpState_32f** ppState, int32_t len, uint8_t* pMem);
/* The same in memory from zemMalloc. zemStatusNullPointer; zemStatusBadSize; zemStatusNoMemory. */
ZEM_API ZemStatus zemsFDPInitAlloc_32f(ZemFdpState_32f** ppState, int32_t len);
/* Clears the tag; releases memory from InitAlloc. zemStatusNullPointer;
   zemStatusContextMismatch. */
ZEM_API ZemStatus zemsFDPFree_32f(ZemFdpState_32f* pState);
/* Resets every line. zemStatusNullPointer; zemStatusContextMismatch. */
ZEM_API ZemStatus zemsFDPReset_32f(ZemFdpState_32f* pState);
/* Resets lines start, start + step, ... below the line count (the cyclic reset groups).
   zemStatusNullPointer; zemStatusBadSize (start < 0); zemStatusBadStep (step < 1);
   zemStatusContextMismatch. */
ZEM_API ZemStatus zemsFDPResetGroup_32f(int32_t step, int32_t start, ZemFdpState_32f* pState);
/* Resets the lines of every band b < numBands whose flag byte is non-zero (pBandOffsets: numBands
   + 1 line offsets). zemStatusNullPointer; zemStatusBadSize (numBands < 1);
   zemStatusContextMismatch. */
ZEM_API ZemStatus zemsFDPResetSfb_32f(const int32_t* pBandOffsets, int32_t numBands,
                                      const uint8_t* pResetFlags, ZemFdpState_32f* pState);
/* Encoder: pDst = pSrc minus the prediction for every line, the state updated with pSrc.
   Returns zemWarnMisaligned (2) with the complete result when pSrc or pDst is not 16-byte
   aligned. zemStatusNullPointer; zemStatusContextMismatch. */
ZEM_API ZemStatus zemsFDPFwd_32f(const float* pSrc, float* pDst, ZemFdpState_32f* pState);
/* Decoder: the prediction added to the lines of the bands whose flag byte is non-zero, the state
   of every line of bands 0..numBands-1 updated with the reconstructed value. Returns 2 when
   pSrcDst is not 16-byte aligned. zemStatusNullPointer; zemStatusBadSize (numBands < 1);
   zemStatusContextMismatch; bands beyond the line count give zemStatusBadArgument, with nothing
   changed. */
ZEM_API ZemStatus zemsFDPInv_32f_I(float* pSrcDst, const int32_t* pBandOffsets, int32_t numBands,
                                   const uint8_t* pPredFlags, ZemFdpState_32f* pState);

#ifdef __cplusplus
}
#endif

#endif
