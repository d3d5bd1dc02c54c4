/* zemac: SBR fixed-point QMF banks (complex high-quality and real low-power). */
#ifndef ZEMAC_SBR_FIXED_H
#define ZEMAC_SBR_FIXED_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The SBR QMF banks in 32-bit integers, one time slot per call, with the prototype kept in the
   library (Q30 of the 640-coefficient window c; the 32-band banks take c[2i]). Same data paths as
   the floating-point banks (delay lines, window indexing, band limit); the outputs, with the sums
   evaluated exactly, to within 16 units:
     analysis (complex HQ / real LP):  X[k] / 128 of the float bank's X;
     64-band synthesis: y from v[n] = 1/64 sum_k Re{X[k] e^(i pi (k + 1/2)(2n - 255)/128)} (HQ) or
       1/64 sum_k X[k] cos(pi (k + 1/2)(2n - 64)/128) (LP), window c;
     32-band synthesis: v[n] = 1/64 sum_k Re{X[k] e^(i pi (k + 1/2)(2n - 127.5)/64)} (HQ) or
       1/64 sum_k X[k] cos(pi (k + 1/2)(2n - 32)/64) (LP), window c[2i];
   the delay line holding V = 4 v, and y[n] = sum_i hi32(w V) with the Q30 window. No saturation:
   analysis input needs magnitudes below 2^30, synthesis input below 2^26. The handle is the
   start of the caller's block; the record (tag, offsets of the two-word delay descriptor,
   ownedByLibrary, the delay line 32 bytes after the record) sits at its first 16-byte boundary.
   A 64-band synthesis state may also be driven by the 32-band function of its form, which keeps
   its 640-value history in the first part of that line. */
typedef struct ZemSbrAnalysisSpec_32s ZemSbrAnalysisSpec_32s;
typedef struct ZemSbrSynthesisSpec_32s ZemSbrSynthesisSpec_32s;
typedef struct ZemSbrSynthesisDownSpec_32s ZemSbrSynthesisDownSpec_32s;

/* 1327, 5167 and 2607 bytes on every target (the HQ and LP names are one function).
   zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBRHQ_32s32sc(int32_t* pSize);
ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBRLP_32s(int32_t* pSize);
ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBRHQ_32sc32s(int32_t* pSize);
ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBRLP_32s(int32_t* pSize);
ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s(int32_t* pSize);
ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBRLP_32s(int32_t* pSize);

/* Builds a silent record in pMem; pMem is then the handle. zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterInit_SBRHQ_32s32sc(uint8_t* pMem);
ZEM_API ZemStatus zemsAnalysisFilterInit_SBRLP_32s(uint8_t* pMem);
ZEM_API ZemStatus zemsSynthesisFilterInit_SBRHQ_32sc32s(uint8_t* pMem);
ZEM_API ZemStatus zemsSynthesisFilterInit_SBRLP_32s(uint8_t* pMem);
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBRHQ_32sc32s(uint8_t* pMem);
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBRLP_32s(uint8_t* pMem);

/* The same in memory from zemMalloc. zemStatusNullPointer; zemStatusNoMemory. */
ZEM_API ZemStatus zemsAnalysisFilterInitAlloc_SBRHQ_32s32sc(ZemSbrAnalysisSpec_32s** ppSpec);
ZEM_API ZemStatus zemsAnalysisFilterInitAlloc_SBRLP_32s(ZemSbrAnalysisSpec_32s** ppSpec);
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_SBRHQ_32sc32s(ZemSbrSynthesisSpec_32s** ppSpec);
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_SBRLP_32s(ZemSbrSynthesisSpec_32s** ppSpec);
ZEM_API ZemStatus
zemsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s(ZemSbrSynthesisDownSpec_32s** ppSpec);
ZEM_API ZemStatus zemsSynthesisDownFilterInitAlloc_SBRLP_32s(ZemSbrSynthesisDownSpec_32s** ppSpec);

/* Releases a block from InitAlloc; a record made by Init is left to its owner.
   zemStatusNullPointer; zemStatusContextMismatch (a record of another kind). */
ZEM_API ZemStatus zemsAnalysisFilterFree_SBRHQ_32s32sc(ZemSbrAnalysisSpec_32s* pSpec);
ZEM_API ZemStatus zemsAnalysisFilterFree_SBRLP_32s(ZemSbrAnalysisSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisFilterFree_SBRHQ_32sc32s(ZemSbrSynthesisSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisFilterFree_SBRLP_32s(ZemSbrSynthesisSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisDownFilterFree_SBRHQ_32sc32s(ZemSbrSynthesisDownSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisDownFilterFree_SBRLP_32s(ZemSbrSynthesisDownSpec_32s* pSpec);

/* Analysis: 32 samples to 32 sub-band values, bands numBands .. 31 zero. Statuses, in check
   order: zemStatusNullPointer; zemStatusContextMismatch; zemStatusBadSize (numBands outside
   0..32). */
ZEM_API ZemStatus zemsAnalysisFilter_SBRHQ_32s32sc(const int32_t* pSrc, Zem32sc* pDst,
                                                   int32_t numBands, ZemSbrAnalysisSpec_32s* pSpec);
ZEM_API ZemStatus zemsAnalysisFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst, int32_t numBands,
                                               ZemSbrAnalysisSpec_32s* pSpec);
/* Synthesis: 64 (or 32) sub-band values to as many samples. Statuses: zemStatusNullPointer;
   zemStatusContextMismatch (the 32-band functions also take a 64-band state of their form). */
ZEM_API ZemStatus zemsSynthesisFilter_SBRHQ_32sc32s(const Zem32sc* pSrc, int32_t* pDst,
                                                    ZemSbrSynthesisSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst,
                                                ZemSbrSynthesisSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisDownFilter_SBRHQ_32sc32s(const Zem32sc* pSrc, int32_t* pDst,
                                                        ZemSbrSynthesisDownSpec_32s* pSpec);
ZEM_API ZemStatus zemsSynthesisDownFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst,
                                                    ZemSbrSynthesisDownSpec_32s* pSpec);

#ifdef __cplusplus
}
#endif

#endif
