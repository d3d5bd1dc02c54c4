/* zemac: other coding tools: the block FIR filter and the numeric helpers of quantisers. */
#ifndef ZEMAC_TOOLS_H
#define ZEMAC_TOOLS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Block FIR: y_n[i] = sum_k h[k] x_{n-k}[i], k < taps, over blocks of blockLen floats given one
   per call (zero before the first). The record: the delay buffer (taps rows of blockLen rounded
   up to 4 floats), then taps, blockLen, the row stride and the current row as int16, then the
   tag 58 (int32). */
typedef struct ZemFirBlockState_32f ZemFirBlockState_32f;

/* Statuses: zemStatusNullPointer; zemStatusBadFirLength (taps or blockLen below 1 or above
   32767); zemStatusNoMemory (nothing is left allocated). */
ZEM_API ZemStatus zemsFIRBlockInitAlloc_32f(ZemFirBlockState_32f** ppState, int32_t taps,
                                            int32_t blockLen);
/* One block from pSrc to pDst with the coefficients pTaps[0..taps) (pTaps[0] weighs the current
   block; they may change from call to call). Returns zemWarnMisaligned (2) with the complete
   result when pSrc, pDst or pTaps is not 16-byte aligned. Statuses, in check order:
   zemStatusNullPointer; zemStatusContextMismatch (tag not 58); zemStatusBadFirLength (a damaged
   record: lengths below 1 or the row outside 0..taps-1). Nothing is written on failure. */
ZEM_API ZemStatus zemsFIRBlockOne_32f(const float* pSrc, float* pDst, ZemFirBlockState_32f* pState,
                                      const float* pTaps);
/* Statuses: zemStatusNullPointer; zemStatusContextMismatch. */
ZEM_API ZemStatus zemsFIRBlockFree_32f(ZemFirBlockState_32f* pState);

/* The DTS coherent-acoustics 32-band synthesis bank: per call the 32 sub-band samples X_k of a
   slot become 32 samples y[32 m + n] = sum over the last 16 slots m' and the bands of
   X_k[m'] h[j] cos(pi (k + 1/2)(j - 255.5) / 32 + (-1)^k pi / 4), j = 32 (m - m') + n, with the
   prototype h chosen per call: filterSelect 0 the non-perfect, 1 the perfect-reconstruction
   interpolation filter of ETSI TS 102 114, both taken in that standard's listing order s as
   h[n] = (-1)^floor(n/64) s[n] / 4 (read so, both are linear phase and the perfect one
   reconstructs; the history is shared by both). The handle is the start of the caller's block;
   the state (tag 0x434D416B, the slot position, 15 after Init, ownedByLibrary, and the history of
   16 slots, cleared by Init) sits at its first 16-byte boundary. */
typedef struct ZemDtsSynthesisSpec_32f ZemDtsSynthesisSpec_32f;

/* 2923 bytes on every target. zemStatusNullPointer. */
ZEM_API ZemStatus zemsSynthesisFilterGetSize_DTS_32f(int32_t* pSize);
/* zemStatusNullPointer. */
ZEM_API ZemStatus zemsSynthesisFilterInit_DTS_32f(uint8_t* pMem);
/* zemStatusNullPointer; zemStatusNoMemory. */
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_DTS_32f(ZemDtsSynthesisSpec_32f** ppSpec);
/* Releases a block from InitAlloc. zemStatusNullPointer; zemStatusContextMismatch. */
ZEM_API ZemStatus zemsSynthesisFilterFree_DTS_32f(ZemDtsSynthesisSpec_32f* pSpec);
/* Statuses, in check order: zemStatusNullPointer; zemStatusBadArgument (filterSelect not 0 or 1);
   zemStatusContextMismatch; nothing is written on failure. */
ZEM_API ZemStatus zemsSynthesisFilter_DTS_32f(const float* pSrc, float* pDst, int32_t filterSelect,
                                              ZemDtsSynthesisSpec_32f* pSpec);

/* Vector quantisation with a weighted, sign-switchable, conjugate-structure codebook pair: a
   signal cut into sub-vectors of lengths pLength[j] (the source and the weights alike; sub-vector
   j uses the first pLength[j] components of a code vector), each approximated by the average of
   signed code vectors of two codebooks. A sign flag 0 keeps a code vector, 1 negates it; a sign
   mode 1 allows negation for a sub-vector. The record (H, S, valid, rows, four scratch arrays,
   allocated) lives in caller memory of (16 S + 208) H + 976 bytes; the searches use its scratch,
   so one record serves one thread at a time. Lengths outside 0..S, code-vector indices outside
   0..H-1 and fewer than two codebooks for the pair searches give zemStatusBadArgument before
   anything is written. */
typedef struct ZemVqCodebook_32f ZemVqCodebook_32f;

/* zemStatusNullPointer; zemStatusBadSize (S or H below 1). */
ZEM_API ZemStatus zemsVQCodeBookGetSize_32f(int32_t S, int32_t H, int32_t* pSize);
/* Copies the H code vectors of S floats (row by row) into a record built in pMem.
   zemStatusNullPointer; zemStatusBadSize. */
ZEM_API ZemStatus zemsVQCodeBookInit_32f(const float* pCodebook, ZemVqCodebook_32f** ppState,
                                         int32_t S, int32_t H, uint8_t* pMem);
/* The same in memory from zemMalloc. zemStatusNullPointer; zemStatusBadSize; zemStatusNoMemory. */
ZEM_API ZemStatus zemsVQCodeBookInitAlloc_32f(const float* pCodebook, ZemVqCodebook_32f** ppState,
                                              int32_t S, int32_t H);
/* Clears the valid flag; releases the memory of InitAlloc. zemStatusNullPointer. */
ZEM_API ZemStatus zemsVQCodeBookFree_32f(ZemVqCodebook_32f* pState);
/* The numCand code vectors of one codebook nearest to each sub-vector (weighted squared error,
   the nearer sign where allowed, ties to the negated one), ascending, the earlier of equal ones
   first; numCand = H gives 0..H-1 in order. pCandIndex/pCandSign: numSub rows of numCand.
   zemStatusNullPointer; numSub < 1 does nothing. */
ZEM_API ZemStatus zemsVQPreliminarySelect_32f(const float* pSrc, const float* pWeight,
                                              int32_t numSub, const int32_t* pLength,
                                              int32_t* pCandIndex, int32_t* pCandSign,
                                              int32_t numCand, const int32_t* pSignMode,
                                              const ZemVqCodebook_32f* pState);
/* The best pair of candidates of codebooks 0 and 1 per sub-vector, for the reconstruction
   (s_v v + s_u u) / divisor; the first of equal pairs wins. zemStatusNullPointer; numSub < 1
   does nothing. */
ZEM_API ZemStatus zemsVQMainSelect_32f(const float* pSrc, const float* pWeight,
                                       const int32_t* pLength, int32_t numSub, int32_t numCand,
                                       const int32_t** ppCandIndex, const int32_t** ppCandSign,
                                       int32_t** ppIndex, int32_t** ppSign,
                                       const ZemVqCodebook_32f** ppState, int32_t divisor);
/* The whole search: per codebook the numCand nearest (doubled weights, ties keep the vector
   unchanged), then the best pair for the average of the two. zemStatusNullPointer; numSub < 1
   does nothing. */
ZEM_API ZemStatus zemsVQIndexSelect_32f(const float* pSrc, const float* pWeight, int32_t numSub,
                                        const int32_t* pLength, int32_t numCand,
                                        const int32_t** ppSignMode, int32_t** ppIndex,
                                        int32_t** ppSign, const ZemVqCodebook_32f** ppState,
                                        int32_t numBooks);
/* pDst: the concatenated sub-vectors, each the sum over the codebooks of ppSign[b][j] (a
   multiplier, +-1) times its code vector, divided by numBooks. zemStatusNullPointer. */
ZEM_API ZemStatus zemsVQReconstruction_32f(const int32_t** ppIndex, const int32_t** ppSign,
                                           const int32_t* pLength, int32_t numSub, int32_t numBooks,
                                           float* pDst, const ZemVqCodebook_32f** ppState);

/* Numeric helpers of quantisers and psychoacoustic models, each over a vector in one call. Those
   that say so return zemWarnMisaligned (2), with the complete result, when a data pointer is not
   16-byte aligned (the 128-bit path was not taken). Statuses in check order as listed. */

/* pDst[i] = 2^((pSrc[i] - offset) / 4) from a 1024-entry table G[j] = 2^((j - 512) / 4):
   the index is the 16-bit difference of pSrc[i] and (offset + 512, saturated to 16 bits), its
   low 10 bits (so values beyond -512..511 of the offset wrap around the table).
   zemStatusNullPointer; zemStatusBadSize (len < 1). */
ZEM_API ZemStatus zemsCalcSF_16s32f(const int16_t* pSrc, int32_t offset, float* pDst, int32_t len);
/* pDst[i] = pMant[i] 2^(-15 - pExp[i]), the power of two built as a float with biased exponent
   112 - pExp[i] (exponents -142..111). zemStatusNullPointer; zemStatusBadSize (len < 1); 2. */
ZEM_API ZemStatus zemsMakeFloat_16s32f(const int16_t* pMant, const int16_t* pExp, float* pDst,
                                       int32_t len);
/* pDst[i] = |x| r r' with r the processor's reciprocal-square-root estimate of |x| and r' that
   of r: |x|^(3/4) to about 11 bits; |x| <= 1e-37 gives 0. zemStatusNullPointer;
   zemStatusBadSize; 2 when pSrc or pDst is misaligned. */
ZEM_API ZemStatus zemsPow34_32f(const float* pSrc, float* pDst, int32_t len);
/* The same power for |x| <= 1e6 (31623 above), rounded to the nearest integer (ties to even).
   zemStatusNullPointer; zemStatusBadSize; 2. */
ZEM_API ZemStatus zemsPow34_32f16s(const float* pSrc, int16_t* pDst, int32_t len);
/* pDst[i] = min(32767, round((|x| 2^inScale)^(3/4) 2^-scaleFactor)), ties to even; 0 for 0.
   zemStatusBadSize (len < 1, checked first); zemStatusNullPointer. */
ZEM_API ZemStatus zemsPow34_16s_Sfs(const int16_t* pSrc, int32_t inScale, int16_t* pDst,
                                    int32_t scaleFactor, int32_t len);
/* pDst[i] = sign(x) P[|x|], P[j] = j^(4/3) rounded to single precision for j = 0..8206 (larger
   magnitudes take P[8206]); 0 gives +0. zemStatusNullPointer; zemStatusBadSize (len < 0). */
ZEM_API ZemStatus zemsPow43_16s32f(const int16_t* pSrc, float* pDst, int32_t len);
/* Fixed-point AAC dequantisation: for band b < numBands, the elements groupLen pBandOffsets[b]
   .. groupLen pBandOffsets[b + 1] - 1 become sign(x) |x|^(4/3) 2^(g/4) as int32, with
   g = pScaleFactors[b] - sfOffset - 4 scaleFactor, in the inverse quantiser's arithmetic (rounded
   tables below 129, the polynomial above; magnitudes above 16383 are taken as 16383).
   zemStatusNullPointer; zemStatusBadSize (numBands or groupLen negative); numBands 0 does
   nothing. */
ZEM_API ZemStatus zemsPow43Scale_16s32s_Sf(const int16_t* pSrc, int32_t* pDst,
                                           const int16_t* pScaleFactors,
                                           const int32_t* pBandOffsets, int32_t sfOffset,
                                           int32_t numBands, int32_t groupLen, int32_t scaleFactor);
/* pSrcDst[k] *= pFactors[b] for k in pBandOffsets[b] .. pBandOffsets[b + 1] - 1, b < numBands.
   zemStatusNullPointer; zemStatusBadSize (numBands < 1). */
ZEM_API ZemStatus zemsScale_32f_I(float* pSrcDst, const float* pFactors,
                                  const int32_t* pBandOffsets, int32_t numBands);
/* The spreading function of psychoacoustic model two (ISO/IEC 11172-3) from Bark position zA to
   zB (2^scaleFactor Bark per unit) in Q15: 32767 at 0 dB and above, 0 beyond +12 and -6 of the
   scaled distance. zemStatusNullPointer. */
ZEM_API ZemStatus zemsSpread_16s_Sfs(int16_t zA, int16_t zB, int32_t scaleFactor, int16_t* pDst);
/* ppDst[c][i] = pSrc[i numCh + c], and the reverse. zemStatusNullPointer (the array or the
   interleaved side); zemStatusBadChannelCount (numCh < 1); zemStatusBadSize (len < 1);
   zemStatusNullPointer (a channel pointer); 2 when the interleaved buffer or a channel is
   misaligned. */
ZEM_API ZemStatus zemsDeinterleave_16s(const int16_t* pSrc, int32_t numCh, int32_t len,
                                       int16_t** ppDst);
ZEM_API ZemStatus zemsDeinterleave_32f(const float* pSrc, int32_t numCh, int32_t len,
                                       float** ppDst);
ZEM_API ZemStatus zemsInterleave_16s(const int16_t** ppSrc, int32_t numCh, int32_t len,
                                     int16_t* pDst);
ZEM_API ZemStatus zemsInterleave_32f(const float** ppSrc, int32_t numCh, int32_t len, float* pDst);

#ifdef __cplusplus
}
#endif

#endif
